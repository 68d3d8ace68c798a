// The pixel-format converter that both directions of the engine share: screen to encoder, decoder to display.
#pragma once

#include <cstdint>

/// Converts whole frames of the size it was constructed with. Converters do not change after
/// construction: one object serves one thread at a time, separate objects run freely in parallel.
class ColorConverter {
  public:
    ColorConverter() = default;
    ColorConverter(const ColorConverter&) = delete;
    ColorConverter& operator=(const ColorConverter&) = delete;
    virtual ~ColorConverter() = default;

    /// Converts one frame from the planes `src` into the planes `dst`; always returns 0. The strides
    /// are bytes a row, one a plane; each class says which of them it looks at. Sizes are the
    /// caller's business: color/walk_size.h tells how far the RGB readers go, color/picture_size.h what
    /// the YUV readers need.
    virtual int convert(uint8_t** dst, int* dstStride, const uint8_t* const* src, int* srcStride) = 0;
};
