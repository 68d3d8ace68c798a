// How the chips' decoders lay out a decoded picture in their output buffers.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/linux/chip/chip_profile.h"

namespace zem {

/// Of the longest side of a picture that the decoders give.
constexpr uint32_t kMaxDecodedSide = 4096;

/// A decoded 4:2:0 picture of even sizes. A view: rows lie `stride` bytes apart, which may be negative.
struct PlanarPicture {
    struct Plane {
        const uint8_t* data = nullptr;
        ptrdiff_t stride = 0;

        const uint8_t* row(uint32_t number) const { return data + static_cast<ptrdiff_t>(number) * stride; }
    };
    uint32_t width = 0;
    uint32_t height = 0;
    Plane y, cb, cr;
};

/// Sizes are those of pictures of at most kMaxDecodedSide a side.
class DecodedLayout {
  public:
    DecodedLayout(DecoderOutput output, uint32_t width, uint32_t height);

    /// Bytes of one picture, planes and what the layout leaves between them.
    size_t size() const { return mSize; }
    /// Bytes from one row to the next, and rows from the first luma row to the chroma. In tiles, of the grid.
    uint32_t stride() const { return mStride; }
    uint32_t sliceHeight() const { return mSliceHeight; }

    /// Writes `picture`, which has this layout's size, to `destination`, size() bytes. Bytes that belong to
    /// no pixel are left as they are.
    void write(const PlanarPicture& picture, uint8_t* destination) const;

  private:
    void writeRows(const PlanarPicture& picture, uint8_t* destination) const;
    void writeTiles(const PlanarPicture& picture, uint8_t* destination) const;
    void writePlanes(const PlanarPicture& picture, uint8_t* destination) const;

    const DecoderOutput mOutput;
    uint32_t mStride = 0;
    uint32_t mSliceHeight = 0;
    size_t mChromaOffset = 0;
    size_t mSize = 0;
};

}  // namespace zem
