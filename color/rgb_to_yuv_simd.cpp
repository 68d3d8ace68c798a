// RGB32 to YUV with vectors, compiled once for each instruction set: see color/simd.h.
#include <algorithm>
#include <cstring>

#include "base/prefetch.h"
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

// Inlined it would take registers from the loop, of which 32-bit ARM has few.
#undef ZEM_LAST_STEP
#if HWY_ARCH_ARM
#define ZEM_LAST_STEP HWY_NOINLINE
#else
#define ZEM_LAST_STEP HWY_INLINE
#endif

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
constexpr hn::Repartition<uint16_t, decltype(kInts)> kWords;
using Ints = hn::Vec<decltype(kInts)>;
using Shorts = hn::Vec<decltype(kShorts)>;
using Words = hn::Vec<decltype(kWords)>;
using Bytes = hn::Vec<decltype(kBytes)>;

constexpr size_t kLanes = HWY_LANES(int32_t);
constexpr size_t kBlock = 4 * kLanes;  // pixels that one step converts

// Before a step, for later ones: processors on their own look no further than the end of a page, and a
// frame from the screen is in no cache near. It takes a fifth to a third less time; from 2 KiB on all
// distances do about the same.
HWY_INLINE void prefetchAround(const uint8_t* pixel, const uint8_t* y) {
    constexpr size_t kLine = 64;
    for (size_t line = 0; line < 4 * kBlock; line += kLine) {
        prefetch(pixel + line, 3072);
    }
    prefetch(y, 1024);
}

// The factors of each of the table's sums add up to 65536 or to 0, so two differences of colours do for
// three colours; "/" rounds down:
//   Y  = G + (19595 (R-G) + 7471 (B-G) + 32768) / 65536
//   Cr = 255 - (127.5 * 65536 - 32768 (R-G) + 5329 (B-G)) / 65536
//   Cb = 255 - (127.5 * 65536 + 11059 (R-G) - 32768 (B-G)) / 65536
// Chroma fits 16 bits: 128 times a difference, the other's product divided by 256 as the upper half of a
// multiplication. Its upper byte is the result, exactly.

#if HWY_ARCH_ARM

// In intrinsics, as Highway has no names for NEON's instructions that subtract or shift and widen or narrow
// at once: with its own operations a row takes half as many instructions again.
//
// Luma fits 16 bits, too, with each factor as 256 * high + low. R-G and B-G add up to more than 255 only
// with the same sign, and then the products of the low ones, whose signs differ, take from each other.

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
        // vqdmulh doubles a product before it takes the upper half: 128 * 2 / 65536 is 1 / 256.
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

// Byte 0 and byte 2 of a pixel make a pair of 16 bits (B,R or R,B), from which green is taken. Luma's
// products are added in pairs to sums of 32 bits, of which 16 to 23 are the result.

// The same pair of factors for every pixel.
HWY_INLINE Shorts factors(int first, int second) {
    const uint32_t pair = static_cast<uint16_t>(first) | static_cast<uint32_t>(second) << 16;
    return hn::BitCast(kShorts, hn::Set(kInts, static_cast<int32_t>(pair)));
}

// start + a * factorsOfA, the products of each pair added.
HWY_INLINE Ints sumOfProducts(Ints start, Shorts a, Shorts factorsOfA) {
#if ZEM_DOT_PRODUCTS
    return Ints{_mm512_dpwssd_epi32(start.raw, a.raw, factorsOfA.raw)};
#else
    // On some targets a sum is in two parts until the end, so `start` has to wait.
    Ints high = hn::Zero(kInts);
    const Ints low = hn::ReorderWidenMulAccumulate(kInts, a, factorsOfA, hn::Zero(kInts), high);
    return hn::Add(hn::RearrangeToOddPlusEven(low, high), start);
#endif
}

// The upper bytes of each lane of both, next to each other.
HWY_INLINE Bytes upperBytes(Words even, Words odd) {
    return hn::BitCast(kBytes, hn::OrAnd(hn::ShiftRight<8>(even), odd, hn::Set(kWords, 0xFF00)));
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
        // Where the bytes of each vector's sums go, and nothing (0x80) elsewhere.
        alignas(16) static constexpr uint8_t kPick[4][16] = {
            {2, 6, 10, 14, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128},
            {128, 128, 128, 128, 2, 6, 10, 14, 128, 128, 128, 128, 128, 128, 128, 128},
            {128, 128, 128, 128, 128, 128, 128, 128, 2, 6, 10, 14, 128, 128, 128, 128},
            {128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 2, 6, 10, 14}};
        Bytes picked[4];
        for (size_t i = 0; i < 4; ++i) {
            const Shorts greens = greensOf(mPixels[i]);
            const Ints sums =
                sumOfProducts(greenAndHalf(greens), outerLess(mPixels[i], greens), outer(7471, 19595));
            picked[i] = hn::TableLookupBytesOr0(hn::BitCast(kBytes, sums), hn::LoadDup128(kBytes, kPick[i]));
        }
        return inOrder<1>(hn::Or(hn::Or(picked[0], picked[1]), hn::Or(picked[2], picked[3])));
    }

    // Of every second pixel. Pairs go to `cr` alone.
    template <bool kPairs>
    HWY_INLINE void storeChroma(uint8_t* cr, uint8_t* cb) const {
        // The first pixel's in what chroma() shuffles.
        constexpr uint8_t kCr = kRedFirst ? 0 : 2;
        constexpr uint8_t kCb = 2 - kCr;
        if (kPairs) {
            alignas(16) static constexpr uint8_t kOrder[] = {
                kCr,     kCb,     kCr + 4, kCb + 4, kCr + 8, kCb + 8, kCr + 12, kCb + 12,
                kCr + 1, kCb + 1, kCr + 5, kCb + 5, kCr + 9, kCb + 9, kCr + 13, kCb + 13};
            hn::StoreU(inOrder<2>(chroma(kOrder)), kBytes, cr);
            return;
        }
        alignas(16) static constexpr uint8_t kApart[] = {
            kCr, kCr + 4, kCr + 8, kCr + 12, kCr + 1, kCr + 5, kCr + 9, kCr + 13,
            kCb, kCb + 4, kCb + 8, kCb + 12, kCb + 1, kCb + 5, kCb + 9, kCb + 13};
        const Bytes planes = inOrder<1>(chroma(kApart));
        const hn::Half<decltype(kBytes)> half;
        hn::StoreU(hn::LowerHalf(half, planes), half, cr);
        hn::StoreU(hn::UpperHalf(half, planes), half, cb);
    }

  private:
    // Factors for the pair of bytes 0 and 2.
    static HWY_INLINE Shorts outer(int blue, int red) {
        return kRedFirst ? factors(red, blue) : factors(blue, red);
    }

    // Green in the three lower bytes, the fourth as it is.
    static HWY_INLINE Shorts greensOf(Ints pixels) {
        alignas(16) static constexpr uint8_t kGreens[] = {1, 1, 1, 3,  5,  5,  5,  7,
                                                          9, 9, 9, 11, 13, 13, 13, 15};
        return hn::BitCast(
            kShorts, hn::TableLookupBytes(hn::BitCast(kBytes, pixels), hn::LoadDup128(kBytes, kGreens)));
    }

    // The pair of bytes 0 and 2, less green.
    static HWY_INLINE Shorts outerLess(Ints pixels, Shorts greens) {
        return hn::Sub(hn::BitCast(kShorts, pixels), greens);
    }

    // 65536 * green + 32768; bits 24 and up are anything.
    static HWY_INLINE Ints greenAndHalf(Shorts greens) {
#if HWY_TARGET == HWY_SSSE3  // has no instruction for OddEven()
        return hn::OrAnd(hn::Set(kInts, 1 << 15), hn::BitCast(kInts, greens), hn::Set(kInts, 0x00FF0000));
#else
        return hn::BitCast(kInts, hn::OddEven(greens, hn::Set(kShorts, INT16_MIN)));
#endif
    }

    // Every 16 bytes are groups of `kGroup` integers: the first group of each comes first, then the second.
    template <size_t kGroup>
    static HWY_INLINE Bytes inOrder(Bytes mixed) {
        if constexpr (kLanes == 4) {
            return mixed;
        } else {
            constexpr size_t kParts = kLanes / 4;
            alignas(64) int32_t from[kLanes];
            for (size_t i = 0; i < kLanes; ++i) {
                const size_t group = i / kGroup;
                from[i] = static_cast<int32_t>(group % kParts * 4 + group / kParts * kGroup + i % kGroup);
            }
            return hn::BitCast(
                kBytes, hn::TableLookupLanes(hn::BitCast(kInts, mixed), hn::SetTableIndices(kInts, from)));
        }
    }

    // Of every second pixel, after `shuffle` in every 16 bytes.
    HWY_INLINE Bytes chroma(const uint8_t* shuffle) const {
        const Bytes both =
            upperBytes(chromaWords(mPixels[0], mPixels[1]), chromaWords(mPixels[2], mPixels[3]));
        return hn::TableLookupBytes(both, hn::LoadDup128(kBytes, shuffle));
    }

    // Of every second pixel, as upper bytes: Cb where blue is, Cr where red is.
    static HWY_INLINE Words chromaWords(Ints first, Ints second) {
        alignas(16) static constexpr uint8_t kSwapped[] = {2,  3,  0, 1, 6,  7,  4,  5,
                                                           10, 11, 8, 9, 14, 15, 12, 13};
        const Ints pixels = hn::ConcatEven(kInts, second, first);
        // 128 (B-G) where blue is, 128 (R-G) where red is; and the other way round.
        const Shorts own = hn::ShiftLeft<7>(outerLess(pixels, greensOf(pixels)));
        const Shorts other =
            hn::TableLookupBytes(own, hn::BitCast(kShorts, hn::LoadDup128(kBytes, kSwapped)));
        const Shorts start = hn::Set(kShorts, static_cast<int16_t>(0xFFFF - 0x7F80));
        const Shorts product = hn::MulHigh(other, outer(2 * 11059, 2 * 5329));
        return hn::BitCast(kWords, hn::Sub(hn::Add(own, start), product));
    }

    Ints mPixels[4];
};

#endif

template <bool kRedFirst, bool kPairs>
struct Rows {
    // Luma of all pixels; with `kChroma`, that of every second one, and `width` is even.
    template <bool kChroma>
    static HWY_INLINE void convert(const uint8_t* pixel, uint8_t* y, uint8_t* cr, uint8_t* cb, size_t width) {
        if (width < kBlock) {
            shortRow<kChroma>(pixel, y, cr, cb, width);
            return;
        }
        for (size_t x = 0; x + kBlock <= width; x += kBlock) {
            prefetchAround(pixel + 4 * x, y + x);
            step<kChroma>(pixel, y, cr, cb, x);
        }
        if (width % kBlock != 0) {
            lastStep<kChroma>(pixel, y, cr, cb, width - kBlock);
        }
    }

  private:
    template <bool kChroma>
    static HWY_INLINE void step(const uint8_t* pixel, uint8_t* y, uint8_t* cr, uint8_t* cb, size_t x) {
        const Pixels<kRedFirst> pixels(pixel + 4 * x);
        hn::StoreU(pixels.luma(), kBytes, y + x);
        if (kChroma) {
            pixels.template storeChroma<kPairs>(cr + (kPairs ? x : x / 2), cb + x / 2);
        }
    }

    // Does some pixels again.
    template <bool kChroma>
    static ZEM_LAST_STEP void lastStep(const uint8_t* pixel, uint8_t* y, uint8_t* cr, uint8_t* cb, size_t x) {
        step<kChroma>(pixel, y, cr, cb, x);
    }

    // Fewer pixels than a step takes, through copies, as nothing behind them may be touched.
    template <bool kChroma>
    static void shortRow(const uint8_t* pixel, uint8_t* y, uint8_t* cr, uint8_t* cb, size_t count) {
        alignas(64) uint8_t source[4 * kBlock] = {};
        alignas(64) uint8_t lumas[kBlock];
        alignas(64) uint8_t crs[kBlock];
        alignas(64) uint8_t cbs[kBlock / 2];
        memcpy(source, pixel, 4 * count);
        step<kChroma>(source, lumas, crs, cbs, 0);
        memcpy(y, lumas, count);
        if (kChroma) {
            memcpy(cr, crs, kPairs ? count : count / 2);
        }
        if (kChroma && !kPairs) {
            memcpy(cb, cbs, count / 2);
        }
    }
};

// The walk of the table's loop, a row at a time.
template <bool kRedFirst, bool kPairs>
void convertRows(const RgbToYuvFrame& frame) {
    using Row = Rows<kRedFirst, kPairs>;
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
        Row::template convert<true>(pixel, y, cr, cb, 2 * pairs);
        pixel += static_cast<ptrdiff_t>(8 * pairs) + gap;
        y += 2 * pairs;
        Row::template convert<false>(pixel, y, nullptr, nullptr, width);
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
