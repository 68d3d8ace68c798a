// Decoded pictures to what a bitmap shows: four converters from YUV 4:2:0 to 32-bit RGB and RGB565.
#pragma once

#include "color/color_converter.h"

namespace zem {
struct YuvToRgbFrame;
}

// All four serve a 2x2 block of pixels with one chroma pair and work at full range: Y 0..255, no
// expansion from 16..235. `srcStride` and `dstStride` are bytes a row; chroma planes have a row for
// each two of the picture. The last column of an odd width is left as it is; the last row of an odd
// height takes its chroma from the row after the last pair's. Nothing outside width x height pixels is
// read or written (color/picture_size.h counts the bytes), and a size below 1, a width of 1 or a
// plane that is null converts nothing.
//
// RGB565 words have blue in the high bits and red in the low ones, and the 565 converters take Cr
// where a standard picture has Cb: the two swaps together give ordinary RGB565. Both are relied upon.

/// Planes Y, Cb, Cr (`src[0..2]`, each with its own stride) to bytes B, G, R, 255. The second row of
/// each two starts `dstStride[0]` bytes after the first, the next two rows right behind it: callers
/// pass a `dstStride[0]` of width * 4.
class Yuv420ToBgr32 : public ColorConverter {
  public:
    Yuv420ToBgr32(int frameWidth, int frameHeight);
    ~Yuv420ToBgr32() override;
    int convert(uint8_t** dst, int* dstStride, const uint8_t* const* src, int* srcStride) override;

    /// Fills the tables; the constructor has done so.
    void init_table();
    /// Has nothing to free: the tables lie inside the object.
    void deinit_table();

  protected:
    /// True when the size has not a single pair of pixels.
    bool isEmpty() const { return width < 2 || height < 1; }
    /// A frame of this size with these tables; planes and strides are still to be filled in.
    zem::YuvToRgbFrame describe() const;

    int32_t height;                 // rows
    int32_t width;                  // pixels a row
    uint8_t* rangeLimit = nullptr;  // entry 256 of rangeTable: clamps -256..639 to 0..255
    uint8_t rangeTable[1408] = {};  // 256 x 0, 0..255, 384 x 255, 384 x 0, 0..127
    int32_t crR[256] = {};          // added to luma for red
    int32_t cbB[256] = {};          // added to luma for blue
    int32_t crG[256] = {};          // Cr's share of green, 16 fraction bits
    int32_t cbG[256] = {};          // Cb's share of green, 16 fraction bits, with the rounding half
};

/// Planes Y, Cr, Cb (`src[0..2]`) to RGB565, rows `dstStride[0]` bytes apart. The chroma strides are
/// crossed, as callers rely on: Cr in `src[1]` advances by `srcStride[2]`, Cb in `src[2]` by `srcStride[1]`.
class Yuv420ToRgb565 final : public Yuv420ToBgr32 {
  public:
    Yuv420ToRgb565(int frameWidth, int frameHeight);
    ~Yuv420ToRgb565() override;
    int convert(uint8_t** dst, int* dstStride, const uint8_t* const* src, int* srcStride) override;
};

/// Plane Y and a plane of Cr,Cb pairs (`src[0]`, `src[1]`) to RGB565, rows `dstStride[0]` bytes apart.
class Nv12ToRgb565 final : public Yuv420ToBgr32 {
  public:
    Nv12ToRgb565(int frameWidth, int frameHeight);
    ~Nv12ToRgb565() override;
    int convert(uint8_t** dst, int* dstStride, const uint8_t* const* src, int* srcStride) override;
};

/// As Nv12ToRgb565, but turned 90 degrees counter-clockwise: `width` rows of `height` pixels without
/// gaps, the top source row upward in the left column. `dstStride` is ignored.
class Nv12ToRgb565Rotate final : public Yuv420ToBgr32 {
  public:
    Nv12ToRgb565Rotate(int frameWidth, int frameHeight);
    ~Nv12ToRgb565Rotate() override;
    int convert(uint8_t** dst, int* dstStride, const uint8_t* const* src, int* srcStride) override;
};
