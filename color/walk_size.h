// How many bytes the RGB-to-YUV converters read and write, which for odd sizes is more than the picture has.
#pragma once

#include <cstdint>

namespace zem {

/// Pixel pairs that the first row of each pass has: the width in pairs, rounded up. 0 below 1.
constexpr int walkPairs(int width) {
    return width < 1 ? 0 : (width - 1) / 2 + 1;
}

/// Passes over a picture, two rows each: the height in pairs of rows, rounded up. 0 below 1.
constexpr int walkPasses(int height) {
    return height < 1 ? 0 : (height - 1) / 2 + 1;
}

/// Bytes that a conversion touches, counted from the start of each plane. All 0 for a size below 1.
struct YuvWalkBytes {
    uint64_t source;       // read from a source without gaps between the rows
    uint64_t luma;         // written to the Y plane
    uint64_t chromaPlane;  // written to the U plane, and as many to the V plane
    uint64_t chromaPairs;  // written to the interleaved plane instead
};

/// What the converters of color/rgb_to_yuv.h touch for a picture of `width` x `height`.
constexpr YuvWalkBytes yuvWalkBytes(int width, int height) {
    if (width < 1 || height < 1) {
        return {0, 0, 0, 0};
    }
    const uint64_t pairs = static_cast<uint64_t>(walkPairs(width));
    const uint64_t passes = static_cast<uint64_t>(walkPasses(height));
    const uint64_t pixels = passes * (2 * pairs + static_cast<uint64_t>(width));
    return {4 * pixels, pixels, passes * pairs, 2 * passes * pairs};
}

/// Source bytes that Bgr32ToNV12 reads when rows are `srcStride` bytes apart, from the start of the
/// source to the last byte read. For strides of at least width * 4 bytes, which all callers have:
/// a smaller one makes rows overlap, a negative one reads before the source.
constexpr uint64_t yuvWalkSourceBytes(int width, int height, int srcStride) {
    const uint64_t packed = yuvWalkBytes(width, height).source;
    const int64_t gap = (static_cast<int64_t>(srcStride / 4) - width) * 4;
    if (packed == 0 || gap <= 0) {
        return packed;
    }
    const uint64_t gaps = 2 * static_cast<uint64_t>(walkPasses(height)) - 1;
    return packed + gaps * static_cast<uint64_t>(gap);
}

}  // namespace zem
