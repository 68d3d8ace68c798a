// From the X server's pixels to a picture: byte order, alpha and scale.
#pragma once

#include <cstdint>

#include "platform/linux/screen/bilinear.h"
#include "platform/linux/screen/picture.h"

namespace zem {

/// Order of the bytes of one pixel; X is whatever the server left there.
enum class ByteOrder { kBgrx, kRgbx };

/// Fills `picture`, whose size is set, from `pixels`, scaled where the sizes differ, otherwise in place if
/// they lie there. Every alpha becomes 255: the X server leaves its fourth byte at whatever it likes, 0
/// mostly. False when there is no memory.
bool toOpaqueRgba(const PixelView& pixels, ByteOrder order, Picture* picture);

}  // namespace zem
