// Screen pixels to what the hardware encoders take: four converters from packed 32-bit RGB to YUV 4:2:0.
#pragma once

#include "color/color_converter.h"

// All four read `src[0]`, four bytes a pixel of which the last is ignored, and walk the frame two
// rows at a time; sizes are meant to be even, and color/walk_size.h tells how far past an odd size
// they read and write. The chroma of a 2x2 block is that of its top-left pixel. Planes are written
// without gaps, `dstStride` is ignored. A size below 1, or a plane that is null, converts nothing.
//
// The NV12 pair writes Cr before Cb, and only Bgr32ToNV12 honours `srcStride[0]` (rounded toward
// zero to whole pixels); the other three take rows of width * 4 bytes. Both are relied upon: the
// encoder path feeds R,G,B,A screens to Bgr32ToNV12, and the two swaps together are standard NV12.

/// Bytes B, G, R, x to planes Y, Cb, Cr (`dst[0]`, `dst[1]`, `dst[2]`).
class Bgr32ToYuv420 final : public ColorConverter {
  public:
    Bgr32ToYuv420(int frameWidth, int frameHeight);
    ~Bgr32ToYuv420() override;
    int convert(uint8_t** dst, int* dstStride, const uint8_t* const* src, int* srcStride) override;

  private:
    int32_t height;  // rows
    int32_t width;   // pixels a row
    int* table;      // owned
};

/// Bytes B, G, R, x to a Y plane and a plane of Cr,Cb pairs (`dst[0]`, `dst[1]`), with a source stride.
class Bgr32ToNV12 final : public ColorConverter {
  public:
    Bgr32ToNV12(int frameWidth, int frameHeight);
    ~Bgr32ToNV12() override;
    int convert(uint8_t** dst, int* dstStride, const uint8_t* const* src, int* srcStride) override;

  private:
    int32_t height;  // rows
    int32_t width;   // pixels a row
    int* table;      // owned
};

/// Bytes R, G, B, x to planes Y, Cb, Cr (`dst[0]`, `dst[1]`, `dst[2]`).
class Rgb32ToYuv420 final : public ColorConverter {
  public:
    Rgb32ToYuv420(int frameWidth, int frameHeight);
    ~Rgb32ToYuv420() override;
    int convert(uint8_t** dst, int* dstStride, const uint8_t* const* src, int* srcStride) override;

  private:
    int32_t height;  // rows
    int32_t width;   // pixels a row
    int* table;      // owned
};

/// Bytes R, G, B, x to a Y plane and a plane of Cr,Cb pairs (`dst[0]`, `dst[1]`).
class Rgb32ToNV12 final : public ColorConverter {
  public:
    Rgb32ToNV12(int frameWidth, int frameHeight);
    ~Rgb32ToNV12() override;
    int convert(uint8_t** dst, int* dstStride, const uint8_t* const* src, int* srcStride) override;

  private:
    int32_t height;  // rows
    int32_t width;   // pixels a row
    int* table;      // owned
};
