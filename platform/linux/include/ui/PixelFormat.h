// Numbers of the pixel formats that surfaces and captures come in.
#ifndef UI_PIXELFORMAT_H
#define UI_PIXELFORMAT_H

#include <stdint.h>
#include <sys/types.h>

namespace android {

typedef int32_t PixelFormat;

/// Named by the order of the bytes in memory.
enum {
    PIXEL_FORMAT_UNKNOWN = 0,
    PIXEL_FORMAT_NONE = 0,
    PIXEL_FORMAT_RGBA_8888 = 1,
    PIXEL_FORMAT_RGBX_8888 = 2,
    PIXEL_FORMAT_RGB_888 = 3,
    PIXEL_FORMAT_RGB_565 = 4,
    PIXEL_FORMAT_BGRA_8888 = 5,
};

/// Bytes of one pixel; negative (BAD_VALUE) for a format that is none of the above.
ssize_t bytesPerPixel(PixelFormat format);

}  // namespace android

#endif
