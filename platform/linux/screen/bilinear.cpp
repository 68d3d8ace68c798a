// Why not the library's scaler: for factors that are not whole it weighs neighbours by 127 and 1 parts of
// 128 and drops the rest, so that white comes out as 253. Rows are blended by the library, which is exact
// there and fast; only the columns are done here.
#include "platform/linux/screen/bilinear.h"

#include <libyuv/planar_functions.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

namespace zem {
namespace {

constexpr int kFixedBits = 16;

/// Where along a source of `from` pixels the centres of `to` pixels fall, in 1/65536 pixel.
class Positions {
  public:
    Positions(uint32_t from, uint32_t to)
        : mStep((int64_t{from} << kFixedBits) / to), mLast(int64_t{from - 1} << kFixedBits) {}

    /// Never before the first pixel's centre or behind the last one's.
    int64_t at(uint32_t index) const {
        const int64_t centre = mStep / 2 - (int64_t{1} << (kFixedBits - 1)) + mStep * index;
        return std::clamp<int64_t>(centre, 0, mLast);
    }

  private:
    const int64_t mStep;
    const int64_t mLast;
};

uint32_t pixelOf(int64_t position) {
    return static_cast<uint32_t>(position >> kFixedBits);
}

/// How much the next pixel counts, in 1/256.
uint32_t weightOf(int64_t position) {
    return static_cast<uint32_t>(position >> (kFixedBits - 8)) & 0xFF;
}

uint32_t load(const uint8_t* pixels, uint32_t index) {
    uint32_t word;
    memcpy(&word, pixels + size_t{index} * sizeof word, sizeof word);
    return word;
}

/// Two bytes of a word at a time, each with 16 bits of room.
uint32_t blendPairs(uint32_t one, uint32_t other, uint32_t weight) {
    constexpr uint32_t kHalf = 0x00800080;
    return ((one & 0x00FF00FF) * (256 - weight) + (other & 0x00FF00FF) * weight + kHalf) >> 8 & 0x00FF00FF;
}

void scaleColumns(const uint8_t* row, uint32_t width, const Positions& columns, Rgba* to, uint32_t count) {
    for (uint32_t x = 0; x < count; ++x) {
        const int64_t position = columns.at(x);
        const uint32_t left = pixelOf(position);
        const uint32_t weight = weightOf(position);
        const uint32_t one = load(row, left);
        const uint32_t other = load(row, std::min(left + 1, width - 1));
        const uint32_t word = blendPairs(one, other, weight) | blendPairs(one >> 8, other >> 8, weight) << 8;
        memcpy(to + x, &word, sizeof word);
    }
}

}  // namespace

bool scaleBilinear(const PixelView& view, Picture* picture) {
    const size_t rowBytes = size_t{view.width} * sizeof(Rgba);
    const std::unique_ptr<uint8_t[]> blended(new (std::nothrow) uint8_t[rowBytes]);
    if (!blended) {
        return false;
    }
    const Positions rows(view.height, picture->height());
    const Positions columns(view.width, picture->width());
    for (uint32_t y = 0; y < picture->height(); ++y) {
        const int64_t position = rows.at(y);
        const uint32_t top = pixelOf(position);
        const uint8_t* upper = view.bytes + top * rowBytes;
        const uint8_t* lower = view.bytes + std::min(top + 1, view.height - 1) * rowBytes;
        libyuv::ARGBInterpolate(upper, 0, lower, 0, blended.get(), 0, static_cast<int>(view.width), 1,
                                static_cast<int>(weightOf(position)));
        scaleColumns(blended.get(), view.width, columns, picture->row(y), picture->width());
    }
    return true;
}

}  // namespace zem
