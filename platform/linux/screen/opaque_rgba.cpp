#include "platform/linux/screen/opaque_rgba.h"

#include <libyuv/convert_from_argb.h>
#include <libyuv/planar_functions.h>
#include <libyuv/scale_argb.h>

#include <array>

namespace zem {
namespace {

constexpr int kPixelBytes = sizeof(Rgba);
constexpr uint32_t kStrip = 1024;  // pixels; a strip is still in the nearest cache for its second pass

constexpr std::array<uint8_t, kStrip> opaqueStrip() {
    std::array<uint8_t, kStrip> strip{};
    for (uint8_t& alpha : strip) {
        alpha = 255;
    }
    return strip;
}
constexpr std::array<uint8_t, kStrip> kOpaque = opaqueStrip();

uint8_t* bytesOf(Rgba* pixels) {
    return reinterpret_cast<uint8_t*>(pixels);  // the library knows pixels as bytes
}

/// `from` may be `to`'s own bytes. (The library names formats by the word: its ARGB is B,G,R,A in memory.)
void convertStrip(const uint8_t* from, ByteOrder order, Rgba* to, int count) {
    const int bytes = count * kPixelBytes;
    if (order == ByteOrder::kBgrx) {
        libyuv::ARGBToABGR(from, bytes, bytesOf(to), bytes, count, 1);
    } else if (from != bytesOf(to)) {
        libyuv::ARGBCopy(from, bytes, bytesOf(to), bytes, count, 1);
    }
    libyuv::ARGBCopyYToAlpha(kOpaque.data(), count, bytesOf(to), bytes, count, 1);
}

void convertRow(const uint8_t* from, ByteOrder order, Rgba* to, uint32_t width) {
    for (uint32_t x = 0; x < width; x += kStrip) {
        const uint32_t count = width - x < kStrip ? width - x : kStrip;
        convertStrip(from + size_t{x} * kPixelBytes, order, to + x, static_cast<int>(count));
    }
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
    for (uint32_t y = 0; y < picture->height(); ++y) {
        Rgba* to = picture->row(y);
        const uint8_t* from = sameSize ? pixels.bytes + size_t{y} * pixels.width * kPixelBytes : bytesOf(to);
        convertRow(from, order, to, picture->width());
    }
    return true;
}

}  // namespace zem
