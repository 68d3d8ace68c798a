// The pixel loop of the RGB-to-YUV converters: one call a frame, so that it can be exchanged as a whole.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zem {

/// One frame to convert. All pointers are borrowed and valid; nothing overlaps.
struct RgbToYuvFrame {
    const uint8_t* source;      // packed pixels of four bytes
    int64_t pixelsBetweenRows;  // source pixels to skip after each row; negative for overlapping rows
    bool redFirst;              // bytes R, G, B, x; else B, G, R, x
    int width;                  // pixels a row
    int height;                 // rows
    uint8_t* y;                 // luma plane, without gaps
    uint8_t* cb;                // next Cb byte
    uint8_t* cr;                // next Cr byte
    bool interleaved;           // chroma pairs in one plane (cb = cr + 1); else planes of their own
    const int* table;           // of init_rgb_ycc_table
};

/// Converts `frame`; a size below 1 converts nothing. Reads and writes as yuvWalkBytes() counts.
void convertRgbToYuv(const RgbToYuvFrame& frame);

/// The same, pixel by pixel from the table: what convertRgbToYuv must equal to the last byte, and
/// does where there are no vectors.
void convertRgbToYuvTable(const RgbToYuvFrame& frame);

}  // namespace zem
