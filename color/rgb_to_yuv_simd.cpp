#include <algorithm>
#include <cstring>

#include "color/rgb_to_yuv_kernel.h"
#include "color/simd.h"
#include "color/walk_size.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/rgb_to_yuv_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// The best target has an instruction for a sum of products that Highway does not use.
#undef ZEM_DOT_PRODUCTS
#define ZEM_DOT_PRODUCTS (HWY_TARGET == HWY_AVX3_DL && HWY_COMPILER_GCC_ACTUAL)

HWY_BEFORE_NAMESPACE();
#if ZEM_DOT_PRODUCTS
#pragma GCC target("avx512vnni")
#endif
namespace zem::HWY_NAMESPACE {
namespace {

#if ZEM_TABLE_TARGET

void convertFrame(const RgbToYuvFrame& frame) {
    convertRgbToYuvTable(frame);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

constexpr hn::ScalableTag<int32_t> kInts;
constexpr hn::RepartitionToNarrow<decltype(kInts)> kShorts;
constexpr hn::Repartition<uint8_t, decltype(kInts)> kBytes;
constexpr hn::Repartition<uint64_t, decltype(kInts)> kLongs;
using Ints = hn::Vec<decltype(kInts)>;
using Shorts = hn::Vec<decltype(kShorts)>;
using Bytes = hn::Vec<decltype(kBytes)>;

constexpr size_t kLanes = HWY_LANES(int32_t);
constexpr size_t kBlock = 4 * kLanes;  // pixels that one step converts

#if HWY_TARGET == HWY_NEON

// In intrinsics, as Highway has no names for NEON's instructions that subtract or shift and widen or narrow
// at once: with its own operations a row takes half as many instructions again.
//
// A sum's factors add up to 65536 or to 0, so two differences of colours do for three colours; "/" rounds
// down:
//   Y  = G + (19595 (R-G) + 7471 (B-G) + 32768) / 65536
//   Cr = 255 - (127.5 * 65536 - 32768 (R-G) - 5329 (G-B)) / 65536
//   Cb = 255 - (127.5 * 65536 + 11059 (R-G) + 32768 (G-B)) / 65536
// With luma's factors as 256 * high + low, and chroma's products with 5329 and 11059 divided by 256, all
// sums fit 16 bits and the results are their upper bytes, exactly. (R-G and B-G do add up to more than
// 255, but only with the same sign, and then the low factors, of different signs, take from each other.)

// One step's pixels.
template <bool kRedFirst>
class Pixels {
  public:
    HWY_INLINE explicit Pixels(const uint8_t* pixel) {
        hn::LoadInterleaved4(kBytes, pixel, mFirst, mGreen, mThird, mRest);
    }

    HWY_INLINE Bytes luma() const {
        const uint8x8_t low = lumaLessGreen(vget_low_u8(red()), vget_low_u8(mGreen.raw), vget_low_u8(blue()));
        const uint8x8_t high =
            lumaLessGreen(vget_high_u8(red()), vget_high_u8(mGreen.raw), vget_high_u8(blue()));
        return hn::Add(Bytes(vcombine_u8(low, high)), mGreen);
    }

    // Of every second pixel. Pairs go to `cr` alone.
    template <bool kPairs>
    HWY_INLINE void storeChroma(uint8_t* cr, uint8_t* cb) const {
        // The differences times 128.
        const int16x8_t redLessGreen = evenDifference(red(), mGreen.raw);
        const int16x8_t greenLessBlue = evenDifference(mGreen.raw, blue());
        // vqdmulh doubles a product and takes its upper half: 128 * 2 / 65536 is 1 / 256.
        const int16x8_t crSum = vsubq_s16(vqdmulhq_s16(greenLessBlue, vdupq_n_s16(-5329)), redLessGreen);
        const int16x8_t cbSum = vaddq_s16(vqdmulhq_s16(redLessGreen, vdupq_n_s16(11059)), greenLessBlue);
        const uint8x8x2_t both = {{turned(crSum), turned(cbSum)}};
        if (kPairs) {
            vst2_u8(cr, both);
        } else {
            vst1_u8(cr, both.val[0]);
            vst1_u8(cb, both.val[1]);
        }
    }

  private:
    HWY_INLINE uint8x16_t red() const { return kRedFirst ? mFirst.raw : mThird.raw; }
    HWY_INLINE uint8x16_t blue() const { return kRedFirst ? mThird.raw : mFirst.raw; }

    static HWY_INLINE uint8x8_t lumaLessGreen(uint8x8_t red, uint8x8_t green, uint8x8_t blue) {
        const int16x8_t redLessGreen = vreinterpretq_s16_u16(vsubl_u8(red, green));
        const int16x8_t blueLessGreen = vreinterpretq_s16_u16(vsubl_u8(blue, green));
        int16x8_t highs = vmulq_s16(redLessGreen, vdupq_n_s16(77));
        int16x8_t lows = vmulq_s16(redLessGreen, vdupq_n_s16(-117));
        highs = vmlaq_s16(highs, blueLessGreen, vdupq_n_s16(29));
        lows = vmlaq_s16(lows, blueLessGreen, vdupq_n_s16(47));
        return vreinterpret_u8_s8(vrshrn_n_s16(vsraq_n_s16(highs, lows, 8), 8));
    }

    // (256 * a - 256 * b) / 2 for every second byte.
    static HWY_INLINE int16x8_t evenDifference(uint8x16_t a, uint8x16_t b) {
        return vreinterpretq_s16_u16(
            vhsubq_u16(vshlq_n_u16(vreinterpretq_u16_u8(a), 8), vshlq_n_u16(vreinterpretq_u16_u8(b), 8)));
    }

    // 255 less the upper byte of 127.5 * 256 + sum.
    static HWY_INLINE uint8x8_t turned(int16x8_t sum) {
        return vsubhn_u16(vdupq_n_u16(0xFFFF - 0x7F80), vreinterpretq_u16_s16(sum));
    }

    Bytes mFirst, mGreen, mThird, mRest;
};

#else

// The table's sums as 16-bit products added in pairs, all of them exact. Byte 0 and byte 2 of a pixel
// make one pair (B,R or R,B), green the other. What does not fit 16 bits is split or turned round:
// 38470 is 2 * 19235, once for each green of a pair; 32768 is -32768, and so chroma is summed up
// with all signs turned. Results stay in bits 16 to 23 until four vectors of them are gathered into one.

// The same pair of factors for every pixel.
HWY_INLINE Shorts factors(int first, int second) {
    const uint32_t pair = static_cast<uint16_t>(first) | static_cast<uint32_t>(second) << 16;
    return hn::BitCast(kShorts, hn::Set(kInts, static_cast<int32_t>(pair)));
}

// start + a * factorsOfA + b * factorsOfB, the products of each pair added.
HWY_INLINE Ints sumOfProducts(Ints start, Shorts a, Shorts factorsOfA, Shorts b, Shorts factorsOfB) {
#if ZEM_DOT_PRODUCTS
    const __m512i sum = _mm512_dpwssd_epi32(start.raw, a.raw, factorsOfA.raw);
    return Ints{_mm512_dpwssd_epi32(sum, b.raw, factorsOfB.raw)};
#else
    // On some targets a sum is in two parts until the end, so `start` has to wait.
    Ints high = hn::Zero(kInts);
    Ints low = hn::ReorderWidenMulAccumulate(kInts, a, factorsOfA, hn::Zero(kInts), high);
    low = hn::ReorderWidenMulAccumulate(kInts, b, factorsOfB, low, high);
    return hn::Add(hn::RearrangeToOddPlusEven(low, high), start);
#endif
}

// Bits 16 to 23 of each lane of both, next to each other as 16-bit values.
HWY_INLINE Shorts gatherTwo(Ints even, Ints odd) {
    return hn::OddEven(hn::BitCast(kShorts, odd), hn::BitCast(kShorts, hn::ShiftRight<16>(even)));
}

HWY_INLINE Bytes gatherFour(Shorts lowBytes, Shorts highBytes) {
    return hn::BitCast(kBytes, hn::Or(lowBytes, hn::ShiftLeft<8>(highBytes)));
}

// One step's pixels.
template <bool kRedFirst>
class Pixels {
  public:
    HWY_INLINE explicit Pixels(const uint8_t* pixel) {
        for (size_t i = 0; i < 4; ++i) {
            mPixels[i] = hn::BitCast(kInts, hn::LoadU(kBytes, pixel + i * kLanes * 4));
        }
    }

    HWY_INLINE Bytes luma() const {
        alignas(16) static constexpr uint8_t kOrder[] = {0, 4, 8,  12, 1, 5, 9,  13,
                                                         2, 6, 10, 14, 3, 7, 11, 15};
        const Shorts twiceGreen = factors(19235, 19235);
        const Ints half = hn::Set(kInts, 1 << 15);
        Ints sums[4];
        for (size_t i = 0; i < 4; ++i) {
            sums[i] = sumOfProducts(half, outerBytes(mPixels[i]), outer(7471, 19595), innerBytes(mPixels[i]),
                                    twiceGreen);
        }
        return inOrder(gatherFour(gatherTwo(sums[0], sums[2]), gatherTwo(sums[1], sums[3])), kOrder);
    }

    // Of every second pixel. Pairs go to `cr` alone.
    template <bool kPairs>
    HWY_INLINE void storeChroma(uint8_t* cr, uint8_t* cb) const {
        const Bytes pairs = chroma();
        if (kPairs) {
            hn::StoreU(pairs, kBytes, cr);
            return;
        }
        alignas(16) static constexpr uint8_t kApart[] = {0, 2, 4, 6, 8, 10, 12, 14,
                                                         1, 3, 5, 7, 9, 11, 13, 15};
        const auto apart = hn::BitCast(kLongs, hn::TableLookupBytes(pairs, hn::LoadDup128(kBytes, kApart)));
        const hn::Half<decltype(kBytes)> half;
        const Bytes crs = hn::BitCast(kBytes, hn::ConcatEven(kLongs, apart, apart));
        const Bytes cbs = hn::BitCast(kBytes, hn::ConcatOdd(kLongs, apart, apart));
        hn::StoreU(hn::LowerHalf(half, crs), half, cr);
        hn::StoreU(hn::LowerHalf(half, cbs), half, cb);
    }

  private:
    // Factors for the pair of bytes 0 and 2.
    static HWY_INLINE Shorts outer(int blue, int red) {
        return kRedFirst ? factors(red, blue) : factors(blue, red);
    }

    static HWY_INLINE Shorts outerBytes(Ints pixels) {
        return hn::BitCast(kShorts, hn::And(pixels, hn::Set(kInts, 0x00FF00FF)));
    }

    // Green twice.
    static HWY_INLINE Shorts innerBytes(Ints pixels) {
        alignas(16) static constexpr uint8_t kGreens[] = {1, 0x80, 1, 0x80, 5,  0x80, 5,  0x80,
                                                          9, 0x80, 9, 0x80, 13, 0x80, 13, 0x80};
        const Bytes greens =
            hn::TableLookupBytesOr0(hn::BitCast(kBytes, pixels), hn::LoadDup128(kBytes, kGreens));
        return hn::BitCast(kShorts, greens);
    }

    // `gathered` has four bytes of each vector in every 16 bytes, in an order that `shuffle` mends;
    // what is left is to bring those of one vector together.
    static HWY_INLINE Bytes inOrder(Bytes gathered, const uint8_t* shuffle) {
        const Bytes fours = hn::TableLookupBytes(gathered, hn::LoadDup128(kBytes, shuffle));
        if constexpr (kLanes == 4) {
            return fours;
        } else {
            constexpr size_t kParts = kLanes / 4;
            alignas(64) int32_t from[kLanes];
            for (size_t i = 0; i < kLanes; ++i) {
                from[i] = static_cast<int32_t>(i % kParts * 4 + i / kParts);
            }
            return hn::BitCast(
                kBytes, hn::TableLookupLanes(hn::BitCast(kInts, fours), hn::SetTableIndices(kInts, from)));
        }
    }

    // Cr,Cb of every second pixel.
    HWY_INLINE Bytes chroma() const {
        alignas(16) static constexpr uint8_t kOrder[] = {0, 2, 8, 10, 4, 6, 12, 14,
                                                         1, 3, 9, 11, 5, 7, 13, 15};
        const Bytes turned =
            gatherFour(chromaPairs(mPixels[0], mPixels[1]), chromaPairs(mPixels[2], mPixels[3]));
        return inOrder(hn::Not(turned), kOrder);
    }

    // Those of `first` and `second` by turns, each as 255 less what it is.
    static HWY_INLINE Shorts chromaPairs(Ints first, Ints second) {
        const Ints moved = hn::BitCast(kInts, hn::ShiftLeft<32>(hn::BitCast(kLongs, second)));
        const Ints pixels = hn::OddEven(moved, first);
        const Shorts outers = outerBytes(pixels);
        const Shorts greens = innerBytes(pixels);
        // 2^24 - 1 less the table's offset, 128 and almost a half.
        const Ints start = hn::Set(kInts, (127 << 16) + (1 << 15));
        const Ints cb = sumOfProducts(start, outers, outer(-32768, 11059), greens, factors(21709, 0));
        const Ints cr = sumOfProducts(start, outers, outer(5329, -32768), greens, factors(27439, 0));
        return gatherTwo(cr, cb);
    }

    Ints mPixels[4];
};

#endif

template <bool kRedFirst, bool kPairs>
struct Rows {
    // Luma of all pixels, chroma of every second one.
    static HWY_INLINE void withChroma(const uint8_t* pixel, uint8_t* y, uint8_t* cr, uint8_t* cb,
                                      size_t width) {
        size_t x = 0;
        for (; x + kBlock <= width; x += kBlock) {
            const Pixels<kRedFirst> pixels(pixel + 4 * x);
            hn::StoreU(pixels.luma(), kBytes, y + x);
            pixels.template storeChroma<kPairs>(cr + (kPairs ? x : x / 2), cb + x / 2);
        }
        if (x < width) {
            lastOfRow(pixel + 4 * x, y + x, cr + (kPairs ? x : x / 2), cb + x / 2, width - x);
        }
    }

    static HWY_INLINE void lumaOnly(const uint8_t* pixel, uint8_t* y, size_t width) {
        size_t x = 0;
        for (; x + kBlock <= width; x += kBlock) {
            const Pixels<kRedFirst> pixels(pixel + 4 * x);
            hn::StoreU(pixels.luma(), kBytes, y + x);
        }
        if (x < width) {
            lastOfRow(pixel + 4 * x, y + x, nullptr, nullptr, width - x);
        }
    }

  private:
    // Fewer pixels than a step takes, through copies, as nothing behind them may be touched. `cr` is
    // null where there is only luma.
    static void lastOfRow(const uint8_t* pixel, uint8_t* y, uint8_t* cr, uint8_t* cb, size_t count) {
        alignas(64) uint8_t source[4 * kBlock] = {};
        alignas(64) uint8_t lumas[kBlock];
        memcpy(source, pixel, 4 * count);
        const Pixels<kRedFirst> pixels(source);
        hn::StoreU(pixels.luma(), kBytes, lumas);
        memcpy(y, lumas, count);
        if (cr != nullptr) {
            alignas(64) uint8_t crs[kBlock];
            alignas(64) uint8_t cbs[kBlock / 2];
            pixels.template storeChroma<kPairs>(crs, cbs);
            memcpy(cr, crs, kPairs ? count : count / 2);
            if (!kPairs) {
                memcpy(cb, cbs, count / 2);
            }
        }
    }
};

// The walk of the table's loop, a row at a time.
template <bool kRedFirst, bool kPairs>
void convertRows(const RgbToYuvFrame& frame) {
    using Convert = Rows<kRedFirst, kPairs>;
    const size_t pairs = static_cast<size_t>(walkPairs(frame.width));
    const size_t width = static_cast<size_t>(std::max(frame.width, 0));
    const ptrdiff_t gap = static_cast<ptrdiff_t>(frame.pixelsBetweenRows * 4);
    const uint8_t* pixel = frame.source;
    uint8_t* y = frame.y;
    uint8_t* cr = frame.cr;
    uint8_t* cb = frame.cb;
    const int passes = walkPasses(frame.width < 1 ? 0 : frame.height);
    for (int pass = 0; pass < passes; ++pass) {
        pixel += pass > 0 ? gap : 0;
        Convert::withChroma(pixel, y, cr, cb, 2 * pairs);
        pixel += static_cast<ptrdiff_t>(8 * pairs) + gap;
        y += 2 * pairs;
        Convert::lumaOnly(pixel, y, width);
        pixel += 4 * width;
        y += width;
        cr += kPairs ? 2 * pairs : pairs;
        cb += kPairs ? 2 * pairs : pairs;
    }
}

void convertFrame(const RgbToYuvFrame& frame) {
    if (frame.redFirst) {
        frame.interleaved ? convertRows<true, true>(frame) : convertRows<true, false>(frame);
    } else {
        frame.interleaved ? convertRows<false, true>(frame) : convertRows<false, false>(frame);
    }
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

void convertRgbToYuv(const RgbToYuvFrame& frame) {
    HWY_DYNAMIC_DISPATCH(convertFrame)(frame);
}

}  // namespace zem
#endif  // HWY_ONCE
