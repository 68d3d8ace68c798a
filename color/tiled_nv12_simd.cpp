// Tiled NV12 to RGB565 with vectors, compiled once for each instruction set: see color/simd.h.
#include <cstring>

#include "color/simd.h"
#include "color/tiled_nv12_kernel.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/tiled_nv12_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "color/pixel_order-inl.h"

HWY_BEFORE_NAMESPACE();
namespace zem::HWY_NAMESPACE {
namespace {

#if ZEM_TABLE_TARGET

void convertFrame(const TiledNv12Frame& frame) {
    convertTiledNv12Table(frame);
}

#else

// The sums of convertTileLine(), halved so that they fit 16 bits and with 7 fraction bits instead of 8:
// luma's factor is even, so that nothing is lost but what rounding down would drop. Rounding down equals
// rounding toward zero once negative sums are clipped at 0, and a sum that saturates at 32767 is
// clipped to 255 as it should. For that, luma is moved down to where its maximum is 32767, and chroma
// up by as much less the 16 that luma starts from.
constexpr int kLumaDown = 149 * 255 - 32767;
constexpr int kChromaUp = kLumaDown - 149 * 16;

// Each 16-bit lane belongs to a pair of pixels. Blue's would not fit one lane: it is the sum of two,
// which have the same sign, so that a sum saturated by the first one stays so.
struct Chroma {
    ShortVector red, green, blue1, blue2;
};

HWY_INLINE WordVector times(WordVector v, int factor) {
    return hn::Mul(v, hn::Set(Words(), static_cast<uint16_t>(factor)));
}

HWY_INLINE ShortVector plus(WordVector v, int summand) {
    return hn::BitCast(Shorts(), hn::Add(v, hn::Set(Words(), static_cast<uint16_t>(summand))));
}

// `pairs` has Cb and Cr in each lane. Everything is modulo 65536, so that the 128 of both can be taken off
// with the constants.
HWY_INLINE Chroma chromaOf(WordVector pairs) {
    constexpr int kBlueUp = 129 * 11;  // both parts change their sign at d = -11
    const auto cb = hn::And(pairs, hn::Set(Words(), 0xFF));
    const auto cr = hn::ShiftRight<8>(pairs);
    // 204.5 times Cr, as the upper half of a product of 256 times Cr.
    const auto red = hn::MulHigh(hn::And(pairs, hn::Set(Words(), 0xFF00)), hn::Set(Words(), 409 * 128));
    const auto halfOfBlue = times(cb, 129);
    Chroma chroma;
    chroma.red = plus(red, kChromaUp - 409 * 64);
    chroma.green = plus(hn::Add(times(cb, -50), times(cr, -104)), kChromaUp + 154 * 128);
    chroma.blue1 = plus(halfOfBlue, kBlueUp - 129 * 128);
    chroma.blue2 = plus(hn::Add(halfOfBlue, hn::ShiftRight<1>(cb)), kChromaUp - kBlueUp - 129 * 128 - 64);
    return chroma;
}

HWY_INLINE WordVector notNegative(ShortVector sum) {
    return hn::BitCast(Words(), hn::Max(sum, hn::Zero(Shorts())));
}

// The RGB565 words of one pixel of each pair. A clipped channel is bits 14 to 7 of its sum.
HWY_INLINE WordVector wordsOf(WordVector y, const Chroma& chroma) {
    // Beyond what is signed until it has been moved down.
    const auto product = hn::Mul(y, hn::Set(Words(), 149));
    const auto luma = hn::BitCast(Shorts(), hn::Sub(product, hn::Set(Words(), kLumaDown)));
    const auto red = notNegative(hn::SaturatedAdd(luma, chroma.red));
    const auto green = notNegative(hn::SaturatedAdd(luma, chroma.green));
    const auto blue = notNegative(hn::SaturatedAdd(hn::SaturatedAdd(luma, chroma.blue1), chroma.blue2));
    const auto high = hn::And(hn::ShiftLeft<1>(red), hn::Set(Words(), 0xF800));
    const auto middle = hn::And(hn::ShiftRight<4>(green), hn::Set(Words(), 0x07E0));
    return hn::Or(high, hn::Or(middle, hn::ShiftRight<10>(blue)));
}

class Converter {
  public:
    HWY_INLINE void tile(const TilePlace& tile, size_t stride) const {
        if (tile.pixels == kTileWidth) {
            wholeLines(tile, tile.out, stride);
            return;
        }
        alignas(64) uint8_t lines[kTileLines][2 * kTileWidth];
        wholeLines(tile, lines[0], sizeof(lines[0]));
        for (size_t line = 0; line < tile.lines; ++line) {
            memcpy(tile.out + stride * line, lines[line], 2 * tile.pixels);
        }
    }

  private:
    static_assert(kTileWidth % kVectorBytes == 0, "a line has to be whole vectors");

    // Two at a time, which share their chroma.
    HWY_INLINE void wholeLines(const TilePlace& tile, uint8_t* out, size_t stride) const {
        const uint8_t* luma = tile.luma;
        const uint8_t* chroma = tile.chroma;
        for (unsigned line = 0; line < tile.lines; line += 2) {
            for (size_t x = 0; x < kTileWidth; x += kVectorBytes) {
                const Chroma offsets = chromaOf(hn::BitCast(Words(), mLoad(chroma + x)));
                pixels(luma + x, offsets, out + 2 * x);
                if (line + 1 < tile.lines) {
                    pixels(luma + kTileWidth + x, offsets, out + stride + 2 * x);
                }
            }
            luma += size_t{2} * kTileWidth;
            chroma += kTileWidth;
            out += 2 * stride;
        }
    }

    // A vector of them, in one line.
    HWY_INLINE void pixels(const uint8_t* luma, const Chroma& chroma, uint8_t* out) const {
        const auto y = hn::BitCast(Words(), mLoad(luma));
        const auto even = wordsOf(hn::And(y, hn::Set(Words(), 0xFF)), chroma);
        const auto odd = wordsOf(hn::ShiftRight<8>(y), chroma);
        store(hn::InterleaveLower(Words(), even, odd), out);
        store(hn::InterleaveUpper(Words(), even, odd), out + kVectorBytes);
    }

    static HWY_INLINE void store(WordVector words, uint8_t* out) {
        hn::StoreU(hn::BitCast(Bytes(), words), Bytes(), out);
    }

    const OrderedLoad<2> mLoad;
};

void convertFrame(const TiledNv12Frame& frame) {
    const Converter convert;
    forEachTile(frame, [&](const TilePlace& tile) HWY_ATTR { convert.tile(tile, frame.dstStride); });
}

#endif  // ZEM_TABLE_TARGET

}  // namespace
}  // namespace zem::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zem {

namespace {
HWY_EXPORT(convertFrame);
}

void convertTiledNv12(const TiledNv12Frame& frame) {
    HWY_DYNAMIC_DISPATCH(convertFrame)(frame);
}

}  // namespace zem
#endif  // HWY_ONCE
