#include <ui/PixelFormat.h>
#include <utils/Errors.h>

namespace android {

ssize_t bytesPerPixel(PixelFormat format) {
    switch (format) {
        case PIXEL_FORMAT_RGBA_8888:
        case PIXEL_FORMAT_RGBX_8888:
        case PIXEL_FORMAT_BGRA_8888:
            return 4;
        case PIXEL_FORMAT_RGB_888:
            return 3;
        case PIXEL_FORMAT_RGB_565:
            return 2;
        default:
            return BAD_VALUE;
    }
}

}  // namespace android
