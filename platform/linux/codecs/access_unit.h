// An encoded picture in Annex B form, as the components hand it out.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zem {

/// A picture's NAL units without leading supplemental information. A view: the bytes belong to the
/// encoder and last until its next frame.
class AccessUnit {
  public:
    AccessUnit() = default;
    /// Of the Annex B bytes of one coded picture; empty when they hold nothing but supplemental information.
    AccessUnit(const uint8_t* data, size_t size);

    /// Bytes that copyTo writes; 0 for an empty unit.
    size_t size() const { return mBodySize == 0 ? 0 : kStartCodeSize + mBodySize; }
    /// Writes a 4-byte start code (whatever the encoder used) and the NAL units to `destination`,
    /// size() bytes.
    void copyTo(uint8_t* destination) const;

  private:
    static constexpr size_t kStartCodeSize = 4;

    const uint8_t* mBody = nullptr;  // behind the first start code
    size_t mBodySize = 0;
};

}  // namespace zem
