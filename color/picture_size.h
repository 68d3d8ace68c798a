// How many bytes a decoded picture has in each linear layout: checked before a converter reads it.
#pragma once

#include <cstdint>

namespace zem {

// All are 0 for a size below 1, for which the converters do nothing, and never wrap. Odd heights
// count the chroma row that the last picture row uses.

/// From the first byte of the first row to the last of the last: `rows` rows of `rowBytes` bytes that
/// start `stride` bytes apart. For strides of at least 0.
constexpr uint64_t planeBytes(int rows, int stride, int rowBytes) {
    if (rows < 1 || rowBytes < 1) {
        return 0;
    }
    return static_cast<uint64_t>(rows - 1) * static_cast<uint64_t>(stride) + static_cast<uint64_t>(rowBytes);
}

/// Rows of a chroma plane.
constexpr int chromaRowsOf(int height) {
    return height < 1 ? 0 : (height - 1) / 2 + 1;
}

/// NV12 with rows of `width + remainder` bytes, chroma right behind the last luma row.
constexpr uint64_t paddedNv12Bytes(int width, int remainder, int height) {
    if (width < 1 || height < 1 || remainder < 0) {
        return 0;
    }
    const uint64_t row = static_cast<uint64_t>(width) + static_cast<uint64_t>(remainder);
    return row * (static_cast<uint64_t>(height) + static_cast<uint64_t>(chromaRowsOf(height)));
}

/// Planes without gaps: Y of w * h bytes, the first chroma plane of w * h / 4, the second behind it.
constexpr uint64_t i420Bytes(int width, int height) {
    if (width < 1 || height < 1) {
        return 0;
    }
    const uint64_t pixels = static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
    const uint64_t read = pixels + pixels / 4 + planeBytes(chromaRowsOf(height), width / 2, width / 2);
    return read > pixels * 3 / 2 ? read : pixels * 3 / 2;
}

/// RGB565 without gaps: what the 565 converters write when their rows are width * 2 bytes apart.
constexpr uint64_t rgb565Bytes(int width, int height) {
    return width < 1 || height < 1 ? 0 : 2 * static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
}

}  // namespace zem
