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

/// One column of the result: the pixel to its left, how far its right neighbour is (0 at the edge), and
/// how much that counts.
struct Column {
    uint32_t left;
    uint16_t toRight;
    uint16_t weight;
};

void findColumns(uint32_t from, uint32_t to, Column* columns) {
    const Positions positions(from, to);
    for (uint32_t x = 0; x < to; ++x) {
        const int64_t position = positions.at(x);
        const uint32_t left = pixelOf(position);
        columns[x] = {left, static_cast<uint16_t>(left + 1 < from ? 1 : 0),
                      static_cast<uint16_t>(weightOf(position))};
    }
}

/// The four bytes of a pixel with 16 bits of room each, so that one multiplication weighs them all.
uint64_t spread(const Rgba& pixel) {
    uint32_t word;
    memcpy(&word, &pixel, sizeof word);
    return (word & 0x00FF00FFU) | uint64_t{word & 0xFF00FF00U} << 24;
}

void scaleColumns(const Rgba* row, const Column* columns, Rgba* to, uint32_t count) {
    constexpr uint64_t kHalf = 0x0080008000800080;  // so that the division by 256 rounds
    for (uint32_t x = 0; x < count; ++x) {
        const Column column = columns[x];
        const Rgba* left = row + column.left;
        const uint64_t sum =
            spread(left[0]) * (256U - column.weight) + spread(left[column.toRight]) * column.weight + kHalf;
        const uint64_t mean = sum >> 8 & 0x00FF00FF00FF00FF;
        const auto word = static_cast<uint32_t>(mean | mean >> 24);
        memcpy(to + x, &word, sizeof word);
    }
}

}  // namespace

bool scaleBilinear(const PixelView& view, Picture* picture) {
    const size_t rowBytes = size_t{view.width} * sizeof(Rgba);
    const std::unique_ptr<Rgba[]> blended(new (std::nothrow) Rgba[view.width]);
    const std::unique_ptr<Column[]> columns(new (std::nothrow) Column[picture->width()]);
    if (!blended || !columns) {
        return false;
    }
    findColumns(view.width, picture->width(), columns.get());
    const Positions rows(view.height, picture->height());
    for (uint32_t y = 0; y < picture->height(); ++y) {
        const int64_t position = rows.at(y);
        const uint32_t top = pixelOf(position);
        const uint8_t* upper = view.bytes + top * rowBytes;
        const uint8_t* lower = view.bytes + std::min(top + 1, view.height - 1) * rowBytes;
        // The library knows pixels as bytes.
        libyuv::ARGBInterpolate(upper, 0, lower, 0, reinterpret_cast<uint8_t*>(blended.get()), 0,
                                static_cast<int>(view.width), 1, static_cast<int>(weightOf(position)));
        scaleColumns(blended.get(), columns.get(), picture->row(y), picture->width());
    }
    return true;
}

}  // namespace zem
