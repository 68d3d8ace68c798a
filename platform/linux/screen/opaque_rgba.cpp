#include "platform/linux/screen/opaque_rgba.h"

#include <libyuv/scale_argb.h>

#include "platform/linux/screen/opaque_row.h"

namespace zem {
namespace {

constexpr int kPixelBytes = sizeof(Rgba);

uint8_t* bytesOf(Rgba* pixels) {
    return reinterpret_cast<uint8_t*>(pixels);  // the library knows pixels as bytes
}

/// Whole factors: means of neighbours, or the middle pixel. False when the library refuses the sizes.
bool scaleByWholeFactors(const PixelView& pixels, Picture* picture) {
    return libyuv::ARGBScale(pixels.bytes, static_cast<int>(pixels.width) * kPixelBytes,
                             static_cast<int>(pixels.width), static_cast<int>(pixels.height),
                             bytesOf(picture->row(0)), static_cast<int>(picture->width()) * kPixelBytes,
                             static_cast<int>(picture->width()), static_cast<int>(picture->height()),
                             libyuv::kFilterBox) == 0;
}

bool scale(const PixelView& pixels, Picture* picture) {
    const bool whole = pixels.width % picture->width() == 0 && pixels.height % picture->height() == 0;
    return (whole && scaleByWholeFactors(pixels, picture)) || scaleBilinear(pixels, picture);
}

}  // namespace

bool toOpaqueRgba(const PixelView& pixels, ByteOrder order, Picture* picture) {
    const bool sameSize = pixels.width == picture->width() && pixels.height == picture->height();
    if (!sameSize && !scale(pixels, picture)) {
        return false;
    }
    // From the last row to the first: a reader begins with the first ones, which are then still in the cache.
    for (uint32_t y = picture->height(); y-- > 0;) {
        uint8_t* const to = bytesOf(picture->row(y));
        const uint8_t* const from = sameSize ? pixels.bytes + size_t{y} * pixels.width * kPixelBytes : to;
        opaqueRow(from, order == ByteOrder::kBgrx, to, picture->width());
    }
    return true;
}

}  // namespace zem
