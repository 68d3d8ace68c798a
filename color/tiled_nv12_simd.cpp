// NOLINT(llvm-header-guard): included once for each instruction set.
#include <algorithm>
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
constexpr int16_t kLumaDown = 149 * 255 - 32767;
constexpr int16_t kChromaUp = kLumaDown - 149 * 16;

// Each 16-bit lane belongs to a pair of pixels. Blue's would not fit one lane: it is the sum of two,
// which have the same sign, so that a sum saturated by the first one stays so.
struct Chroma {
    ShortVector red, green, blue1, blue2;
};

HWY_INLINE ShortVector times(ShortVector v, int factor) {
    return hn::Mul(v, hn::Set(Shorts(), static_cast<int16_t>(factor)));
}

HWY_INLINE ShortVector plus(ShortVector v, int summand) {
    return hn::Add(v, hn::Set(Shorts(), static_cast<int16_t>(summand)));
}

// `pairs` has Cb and Cr in each lane.
HWY_INLINE Chroma chromaOf(WordVector pairs) {
    constexpr int kBlueUp = 129 * 11;  // both parts change their sign at d = -11
    const auto d = plus(hn::BitCast(Shorts(), hn::And(pairs, hn::Set(Words(), 0xFF))), -128);
    const auto e = plus(hn::BitCast(Shorts(), hn::ShiftRight<8>(pairs)), -128);
    const auto halfOfBlue = times(d, 129);
    Chroma chroma;
    chroma.red = plus(hn::Add(times(e, 204), hn::ShiftRight<1>(e)), kChromaUp);
    chroma.green = hn::Sub(plus(times(d, -50), kChromaUp), times(e, 104));
    chroma.blue1 = plus(halfOfBlue, kBlueUp);
    chroma.blue2 = plus(hn::Add(halfOfBlue, hn::ShiftRight<1>(d)), kChromaUp - kBlueUp);
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
        const uint8_t* luma = tile.luma;
        const uint8_t* chroma = tile.chroma;
        uint8_t* out = tile.out;
        for (unsigned line = 0; line < tile.lines; line += 2) {
            const unsigned lines = std::min(tile.lines - line, 2u);
            if (tile.pixels == kTileWidth) {
                wholeLines(luma, chroma, lines, out, stride);
            } else {
                partsOfLines(luma, chroma, lines, out, stride, 2 * tile.pixels);
            }
            luma += size_t{2} * kTileWidth;
            chroma += kTileWidth;
            out += 2 * stride;
        }
    }

  private:
    static_assert(kTileWidth % kVectorBytes == 0, "a line has to be whole vectors");

    // One or two lines, which share their chroma.
    HWY_INLINE void wholeLines(const uint8_t* luma, const uint8_t* chroma, unsigned lines, uint8_t* out,
                               size_t stride) const {
        for (size_t x = 0; x < kTileWidth; x += kVectorBytes) {
            const Chroma offsets = chromaOf(hn::BitCast(Words(), mLoad(chroma + x)));
            for (size_t line = 0; line < lines; ++line) {
                const auto y = hn::BitCast(Words(), mLoad(luma + kTileWidth * line + x));
                const auto even = wordsOf(hn::And(y, hn::Set(Words(), 0xFF)), offsets);
                const auto odd = wordsOf(hn::ShiftRight<8>(y), offsets);
                store(hn::InterleaveLower(Words(), even, odd), out + stride * line + 2 * x);
                store(hn::InterleaveUpper(Words(), even, odd), out + stride * line + 2 * x + kVectorBytes);
            }
        }
    }

    // Whole ones, of which `bytes` are kept.
    void partsOfLines(const uint8_t* luma, const uint8_t* chroma, unsigned lines, uint8_t* out, size_t stride,
                      size_t bytes) const {
        alignas(64) uint8_t whole[2][2 * kTileWidth];
        wholeLines(luma, chroma, lines, whole[0], sizeof(whole[0]));
        for (size_t line = 0; line < lines; ++line) {
            memcpy(out + stride * line, whole[line], bytes);
        }
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
