// Scaling by any factor, exact on even areas.
#pragma once

#include <cstdint>

#include "platform/linux/screen/picture.h"

namespace zem {

/// A view of rows of 4-byte pixels without a gap, in any byte order.
struct PixelView {
    const uint8_t* bytes;
    uint32_t width;
    uint32_t height;
};

/// Fills `picture`, whose size is set, from `view`; each pixel is the weighted mean of the four around its
/// centre, as graphics hardware takes it. All four bytes are treated alike. False when there is no memory.
bool scaleBilinear(const PixelView& view, Picture* picture);

}  // namespace zem
