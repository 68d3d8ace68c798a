// The memory that the converters are measured in: one frame that stays in the cache, or more than it can
// hold.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zem::bench {

/// Places for source and result of frames, one behind the other in one block that lives as long as the
/// program.
class FrameRing {
  public:
    /// `warm`: one frame; else as many as are larger than the caches. The sources are filled anew with bytes
    /// from 16 to 235, as pictures have them: converters may treat the ends of the range apart.
    FrameRing(size_t sourceBytes, size_t targetBytes, bool warm);

    /// Of the call `number`, in turn.
    const uint8_t* source(size_t number) const { return place(number); }
    uint8_t* target(size_t number) const { return place(number) + mTargetAt; }

    /// Bytes that the frames of a ring fill at least: the machine's caches and a quarter.
    static size_t ringBytes();

  private:
    uint8_t* place(size_t number) const { return mBlock + number % mCount * mFrameBytes; }

    size_t mTargetAt;    // from the start of a place
    size_t mFrameBytes;  // from place to place
    size_t mCount;
    uint8_t* mBlock;
};

}  // namespace zem::bench
