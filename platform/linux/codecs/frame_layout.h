// Where the planes of a raw 4:2:0 frame stand in an encoder's input buffer.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/linux/chip/chip_profile.h"

namespace zem {

/// Offsets and sizes in bytes. Luma rows are `width` bytes long and stand at offset 0.
struct FrameLayout {
    uint32_t lumaSize;
    uint32_t chromaOffset;     // of the CbCr plane, or of the Cb plane
    uint32_t crOffset;         // of the Cr plane; 0 where Cb and Cr are interleaved
    uint32_t chromaRowLength;  // of one row of one chroma plane
    uint32_t frameSize;        // all planes and the gap between them

    bool interleaved() const { return crOffset == 0; }
};

/// The layout of a frame of even sizes of at most kMaxFrameSide.
FrameLayout frameLayoutOf(EncoderInput input, uint32_t width, uint32_t height);

constexpr uint32_t kMinFrameSide = 16;
constexpr uint32_t kMaxFrameSide = 4096;

/// Whether the encoder takes frames of this size: both sides even (4:2:0 has whole chroma samples) and within
/// the limits.
bool frameSizeIsUsable(uint32_t width, uint32_t height);

/// `size` rounded up to the next multiple of `step`.
constexpr uint32_t roundedUp(uint32_t size, uint32_t step) {
    return (size + step - 1) / step * step;
}

}  // namespace zem
