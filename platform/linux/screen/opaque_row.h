// The inner loop that makes the X server's pixels opaque R,G,B,A.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zem {

/// Copies `count` pixels of four bytes, sets their alpha to 255 and, with `swap`, exchanges bytes 0 and 2.
/// `to` may be `from`, but not overlap it otherwise.
void opaqueRow(const uint8_t* from, bool swap, uint8_t* to, size_t count);

/// The same, pixel by pixel.
inline void opaquePixels(const uint8_t* from, bool swap, uint8_t* to, size_t count) {
    for (size_t i = 0; i < 4 * count; i += 4) {
        const uint8_t first = from[i];
        const uint8_t third = from[i + 2];
        to[i] = swap ? third : first;
        to[i + 1] = from[i + 1];
        to[i + 2] = swap ? first : third;
        to[i + 3] = 255;
    }
}

}  // namespace zem
