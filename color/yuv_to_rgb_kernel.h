// The pixel loop of the YUV-to-RGB converters: one call a frame, so that it can be exchanged as a whole.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zem {

/// The pixel (0, 0) of the result goes to `start`; everything else is counted from it.
struct RgbTarget {
    uint8_t* start;
    ptrdiff_t pixelStep;  // bytes from a pixel to the one on its right in the source; negative when turned
    ptrdiff_t secondRow;  // bytes from the first row of a pair to the second
    ptrdiff_t nextPair;   // bytes from the first row of a pair to the first of the next
    bool is565;           // words of 5 blue, 6 green, 5 red bits; else bytes B, G, R, 255
};

/// One frame to convert. All pointers are borrowed and valid; nothing overlaps. Strides are bytes from
/// row to row and may be negative.
struct YuvToRgbFrame {
    int width;   // pixels a row; the last one of an odd width is left out
    int height;  // rows
    const uint8_t* y;
    const uint8_t* cb;  // first Cb byte
    const uint8_t* cr;  // first Cr byte
    ptrdiff_t yStride;
    ptrdiff_t cbStride;
    ptrdiff_t crStride;
    bool interleaved;  // chroma pairs in one plane (cb = cr + 1); else planes of their own
    RgbTarget target;

    // The tables of Yuv420ToBgr32.
    const uint8_t* rangeLimit;
    const int32_t* crR;
    const int32_t* cbB;
    const int32_t* crG;
    const int32_t* cbG;
};

/// One or two rows that share a row of chroma.
struct RowPair {
    const uint8_t* y;
    const uint8_t* cb;
    const uint8_t* cr;
    uint8_t* out;
    int rows;
};

/// How many of them `frame`, of at least one row, has.
inline int rowPairs(const YuvToRgbFrame& frame) {
    return (frame.height - 1) / 2 + 1;
}

/// From the top; the last one of an odd height has one row, so that nothing beyond the planes is touched.
inline RowPair rowPair(const YuvToRgbFrame& frame, int index) {
    return {frame.y + ptrdiff_t{2} * index * frame.yStride, frame.cb + index * frame.cbStride,
            frame.cr + index * frame.crStride, frame.target.start + index * frame.target.nextPair,
            frame.height - 2 * index > 1 ? 2 : 1};
}

/// Converts `frame`; a size below 1, or a width of 1, converts nothing.
void convertYuvToRgb(const YuvToRgbFrame& frame);

/// The same, pixel by pixel from the tables: what convertYuvToRgb must equal to the last byte, and does
/// where there are no vectors.
void convertYuvToRgbTable(const YuvToRgbFrame& frame);

}  // namespace zem
