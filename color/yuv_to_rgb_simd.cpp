// YUV to RGB32 and RGB565 with vectors, compiled once for each instruction set: see color/simd.h.
#include <algorithm>
#include <cstring>

#include "base/prefetch.h"
#include "color/simd.h"
#include "color/yuv_to_rgb_kernel.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/yuv_to_rgb_simd.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "color/pixel_order-inl.h"
#include "color/turn_square-inl.h"

HWY_BEFORE_NAMESPACE();
namespace zem::HWY_NAMESPACE {
namespace {

#if ZEM_TABLE_TARGET

void convertAny(const YuvToRgbFrame& frame) {
    convertYuvToRgbTable(frame);
}

#else

// The tables' values are computed instead of looked up: the offsets that chroma adds to luma, once for
// two rows of pixels and exact to the last bit. None is beyond +-227, so that luma plus offset stays
// within what the range table clamps, and that clipping takes two operations on bytes: a saturating
// addition of the offset where it is positive, a saturating subtraction of it where it is negative.
// Pictures narrower than a vector and rows that overlap are left to the tables.

// --- Chroma to offsets

// Each 16-bit lane belongs to a pair of pixels.
struct Offsets {
    ShortVector red, green, blue;
};

// Twice each: for both pixels of a pair.
struct SplitOffset {
    ByteVector positive, negative;
};

HWY_INLINE SplitOffset split(ShortVector offset) {
    alignas(16) static constexpr uint8_t kTwice[16] = {0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14};
    const auto twice = hn::LoadDup128(Bytes(), kTwice);
    const auto positive = hn::Max(offset, hn::Zero(Shorts()));
    const auto negative = hn::Sub(positive, offset);
    return {hn::TableLookupBytes(hn::BitCast(Bytes(), positive), twice),
            hn::TableLookupBytes(hn::BitCast(Bytes(), negative), twice)};
}

// Cr and Cb in adjacent lanes, so that products of both are added up at once.
struct ChromaPairs {
    ShortVector even, odd;
};

// By one lane, within each two.
HWY_INLINE ShortVector shiftedUp(ShortVector lanes) {
    return hn::BitCast(Shorts(), hn::ShiftLeft<16>(hn::BitCast(Ints(), lanes)));
}

HWY_INLINE ShortVector shiftedDown(ShortVector lanes) {
    return hn::BitCast(Shorts(), hn::ShiftRight<16>(hn::BitCast(Ints(), lanes)));
}

struct Chroma {
    ShortVector cb, cr;
    ChromaPairs pairs;  // the same once more
    bool hasZero;
};

HWY_INLINE Chroma planarChroma(ShortVector cb, ShortVector cr) {
    const auto isZero = hn::Eq(hn::Min(cb, cr), hn::Zero(Shorts()));
    return {cb,
            cr,
            {hn::OddEven(shiftedUp(cb), cr), hn::OddEven(cb, shiftedDown(cr))},
            !hn::AllFalse(Shorts(), isZero)};
}

HWY_INLINE Chroma interleavedChroma(ByteVector bytes) {
    alignas(16) static constexpr uint8_t kEven[16] = {0, 128, 1, 128, 4,  128, 5,  128,
                                                      8, 128, 9, 128, 12, 128, 13, 128};
    alignas(16) static constexpr uint8_t kOdd[16] = {2,  128, 3,  128, 6,  128, 7,  128,
                                                     10, 128, 11, 128, 14, 128, 15, 128};
    const auto words = hn::BitCast(Words(), bytes);
    const auto cb = hn::BitCast(Shorts(), hn::ShiftRight<8>(words));
    const auto cr = hn::BitCast(Shorts(), hn::And(words, hn::Set(Words(), 0xFF)));
    if constexpr (HWY_ARCH_ARM != 0) {  // it takes more instructions to look bytes up
        return planarChroma(cb, cr);
    }
    const auto picked = [bytes](const uint8_t* which) HWY_ATTR {
        return hn::BitCast(Shorts(), hn::TableLookupBytesOr0(bytes, hn::LoadDup128(Bytes(), which)));
    };
    return {cb, cr, {picked(kEven), picked(kOdd)}, !hn::AllFalse(Bytes(), hn::Eq(bytes, hn::Zero(Bytes())))};
}

// With 16 fraction bits, and the rounding half.
HWY_INLINE IntVector greenSum(ShortVector pairs) {
    // -46802 is 18734 - 65536: the second part is left to the caller, who subtracts Cr - 128.
    constexpr uint32_t kFactors = 18734u | static_cast<uint32_t>(-22554) << 16;
    constexpr int32_t kStart = 32768 - 128 * (18734 - 22554);
    const auto factors = hn::BitCast(Shorts(), hn::Set(Ints(), static_cast<int32_t>(kFactors)));
    auto second = hn::Zero(Ints());
    const auto first = hn::ReorderWidenMulAccumulate(Ints(), pairs, factors, hn::Zero(Ints()), second);
    return hn::Add(hn::RearrangeToOddPlusEven(first, second), hn::Set(Ints(), kStart));
}

// What the tables' entries for chroma 0 differ by from their neighbours' rule.
constexpr int32_t kBlueAtZero = 178 - -227;
constexpr int32_t kGreenAtZeroCr = 225 - -46802 * -128;
constexpr int32_t kGreenAtZeroCb = -5943854 - (-22554 * -128 + 32768);

HWY_INLINE IntVector greenAtZero(ShortVector pairs) {
    const auto lanes = hn::BitCast(Ints(), pairs);
    const auto crIsZero = hn::Eq(hn::ShiftLeft<16>(lanes), hn::Zero(Ints()));
    const auto cbIsZero = hn::Eq(hn::ShiftRight<16>(lanes), hn::Zero(Ints()));
    return hn::Add(hn::IfThenElseZero(crIsZero, hn::Set(Ints(), kGreenAtZeroCr)),
                   hn::IfThenElseZero(cbIsZero, hn::Set(Ints(), kGreenAtZeroCb)));
}

HWY_INLINE Offsets offsetsOf(const Chroma& chroma) {
    const auto middle = hn::Set(Shorts(), 128);
    const auto cb = hn::Sub(chroma.cb, middle);
    const auto cr = hn::Sub(chroma.cr, middle);
    auto evenSum = greenSum(chroma.pairs.even);
    auto oddSum = greenSum(chroma.pairs.odd);
    // 0.402 and 0.772 times 32768: with 15 fraction bits these two are exact for all 256 values.
    const auto red = hn::Add(cr, hn::MulFixedPoint15(cr, hn::Set(Shorts(), 13175)));
    auto blue = hn::Add(cb, hn::MulFixedPoint15(cb, hn::Set(Shorts(), 25297)));
    if (HWY_UNLIKELY(chroma.hasZero)) {
        evenSum = hn::Add(evenSum, greenAtZero(chroma.pairs.even));
        oddSum = hn::Add(oddSum, greenAtZero(chroma.pairs.odd));
        blue = hn::Add(blue, hn::IfThenElseZero(hn::Eq(chroma.cb, hn::Zero(Shorts())),
                                                hn::Set(Shorts(), static_cast<int16_t>(kBlueAtZero))));
    }
    // The sums' upper halves: those of the odd lanes are in place.
    const auto green =
        hn::OddEven(hn::BitCast(Shorts(), oddSum), shiftedDown(hn::BitCast(Shorts(), evenSum)));
    return {red, hn::Sub(green, cr), blue};
}

// --- Luma and offsets to pixels

HWY_INLINE ByteVector clipped(ByteVector y, const SplitOffset& offset) {
    return hn::SaturatedSub(hn::SaturatedAdd(y, offset.positive), offset.negative);
}

template <int kBits>
HWY_INLINE ByteVector shiftedRight(ByteVector bytes) {  // with foreign bits at the top
    return hn::BitCast(Bytes(), hn::ShiftRight<kBits>(hn::BitCast(Words(), bytes)));
}

template <int kBits>
HWY_INLINE ByteVector shiftedLeft(ByteVector bytes) {  // with foreign bits at the bottom
    return hn::BitCast(Bytes(), hn::ShiftLeft<kBits>(hn::BitCast(Words(), bytes)));
}

HWY_INLINE void write565(uint8_t* out, ByteVector red, ByteVector green, ByteVector blue) {
    const Bytes d;
    const auto redBits = hn::And(shiftedRight<3>(red), hn::Set(d, 0x1F));
    const auto blueBits = hn::And(blue, hn::Set(d, 0xF8));
    const auto low = hn::OrAnd(redBits, shiftedLeft<3>(green), hn::Set(d, 0xE0));
    const auto high = hn::OrAnd(blueBits, shiftedRight<5>(green), hn::Set(d, 0x07));
    hn::StoreU(hn::InterleaveLower(d, low, high), d, out);
    hn::StoreU(hn::InterleaveUpper(d, low, high), d, out + kVectorBytes);
}

// `kStreams`: past the caches, to where a vector may start.
template <bool kStreams>
HWY_INLINE void writeBgr32(uint8_t* out, ByteVector red, ByteVector green, ByteVector blue) {
    const Bytes d;
    const auto opaque = hn::Set(d, 255);
    const auto store = [out](size_t quarter, WordVector words) HWY_ATTR {
        const auto bytes = hn::BitCast(Bytes(), words);
        if constexpr (kStreams) {
            hn::Stream(bytes, Bytes(), out + quarter * kVectorBytes);
        } else {
            hn::StoreU(bytes, Bytes(), out + quarter * kVectorBytes);
        }
    };
    const auto lowBg = hn::BitCast(Words(), hn::InterleaveLower(d, blue, green));
    const auto lowRa = hn::BitCast(Words(), hn::InterleaveLower(d, red, opaque));
    store(0, hn::InterleaveLower(Words(), lowBg, lowRa));
    store(1, hn::InterleaveUpper(Words(), lowBg, lowRa));
    const auto highBg = hn::BitCast(Words(), hn::InterleaveUpper(d, blue, green));
    const auto highRa = hn::BitCast(Words(), hn::InterleaveUpper(d, red, opaque));
    store(2, hn::InterleaveLower(Words(), highBg, highRa));
    store(3, hn::InterleaveUpper(Words(), highBg, highRa));
}

// --- Rows

// From this size on RGB32 is written past the caches: they would not keep it until it is read, and writing
// to memory alone takes half of the time. Below, whoever reads the picture soon would pay more than is won.
constexpr ptrdiff_t kStreamedBytes = 16 << 20;

template <bool kIs565, bool kInterleaved>
class Rows {
  public:
    explicit Rows(const YuvToRgbFrame& frame)
        : mPixels(static_cast<size_t>(frame.width / 2) * 2),
          mYStride(frame.yStride),
          mOutStride(frame.target.secondRow),
          mNextPair(frame.target.nextPair),
          mStreams(!kIs565 && frame.width * ptrdiff_t{kPixelBytes} >= kStreamedBytes / frame.height &&
                   mOutStride % ptrdiff_t{kVectorBytes} == 0) {}

    void convert(const RowPair& pair) const {
        size_t x = kIs565 ? 0 : toAligned(pair.out);
        if (x > 0) {
            convertAt<false>(pair, 0);
        }
        if (!kIs565 && mStreams && isAligned(pair.out + kPixelBytes * x)) {
            x = convertVectors<!kIs565>(pair, x);
        } else {
            x = convertVectors<false>(pair, x);
        }
        if (x < mPixels) {  // some pixels once more
            convertAt<false>(pair, mPixels - kVectorBytes);
        }
    }

    // To be called before others may read the pixels.
    void finish() const {
        if (mStreams) {
            hwy::FlushStream();
        }
    }

  private:
    static constexpr size_t kPixelBytes = kIs565 ? 2 : 4;

    // From `x` on, as many as there are; the pixel behind them.
    template <bool kStreams>
    HWY_INLINE size_t convertVectors(const RowPair& pair, size_t x) const {
        for (; x + kVectorBytes <= mPixels; x += kVectorBytes) {
            convertAt<kStreams>(pair, x);
        }
        return x;
    }
    static bool isAligned(const uint8_t* out) { return reinterpret_cast<uintptr_t>(out) % kVectorBytes == 0; }
    // Pixels, whole pairs, until `out` is at the start of a vector; 0 where that never happens. Stores
    // across lines of the cache cost more than some pixels converted twice. (Words of RGB565 are so few
    // that the loads, which then cross lines instead, cost as much.)
    static size_t toAligned(const uint8_t* out) {
        const size_t bytes = (0 - reinterpret_cast<uintptr_t>(out)) % kVectorBytes;
        return bytes % (2 * kPixelBytes) == 0 ? bytes / kPixelBytes : 0;
    }
    // Asks for the lines below, which the next pair goes to: for lines that are only written the processor
    // does so too late or, from page to page, not at all. (RGB565 is written too slowly to gain by it.)
    HWY_INLINE void prefetchBelow(const uint8_t* out) const {
        for (size_t line = 0; line < kVectorBytes * kPixelBytes; line += 64) {
            prefetch(out + line, static_cast<uintptr_t>(mNextPair));
        }
    }
    HWY_INLINE Chroma chromaAt(const RowPair& pair, size_t x) const {
        if constexpr (kInterleaved) {
            return interleavedChroma(mLoad(pair.cr + x));
        } else {
            return planarChroma(mLoad.widened(pair.cb + x / 2), mLoad.widened(pair.cr + x / 2));
        }
    }
    template <bool kStreams>
    HWY_INLINE void convertAt(const RowPair& pair, size_t x) const {
        const Offsets offsets = offsetsOf(chromaAt(pair, x));
        const SplitOffset red = split(offsets.red);
        const SplitOffset green = split(offsets.green);
        const SplitOffset blue = split(offsets.blue);
        const uint8_t* luma = pair.y + x;
        uint8_t* out = pair.out + kPixelBytes * x;
        for (int row = 0; row < pair.rows; ++row) {
            const auto y = mLoad(luma);
            if constexpr (kIs565) {
                write565(out, clipped(y, red), clipped(y, green), clipped(y, blue));
            } else {
                writeBgr32<kStreams>(out, clipped(y, red), clipped(y, green), clipped(y, blue));
                if constexpr (!kStreams) {
                    prefetchBelow(out);
                }
            }
            luma += mYStride;
            out += mOutStride;
        }
    }

    OrderedLoad<kPixelBytes> mLoad;
    size_t mPixels;
    ptrdiff_t mYStride;
    ptrdiff_t mOutStride;
    ptrdiff_t mNextPair;
    bool mStreams;
};

template <bool kIs565, bool kInterleaved>
void convertFrame(const YuvToRgbFrame& frame) {
    const Rows<kIs565, kInterleaved> rows(frame);
    for (int index = 0; index < rowPairs(frame); ++index) {
        rows.convert(rowPair(frame, index));
    }
    rows.finish();
}

// Where the rows of a pair overlap it matters which pixel is written last.
bool fitsVectors(const YuvToRgbFrame& frame) {
    const ptrdiff_t pixels = frame.width / 2 * 2;
    const ptrdiff_t bytes = pixels * frame.target.pixelStep;
    return pixels >= static_cast<ptrdiff_t>(kVectorBytes) &&
           (frame.target.secondRow >= bytes || frame.target.secondRow <= -bytes);
}

void convertPacked(const YuvToRgbFrame& frame) {
    if (!fitsVectors(frame)) {
        convertYuvToRgbTable(frame);
    } else if (frame.target.is565) {
        frame.interleaved ? convertFrame<true, true>(frame) : convertFrame<true, false>(frame);
    } else {
        frame.interleaved ? convertFrame<false, true>(frame) : convertFrame<false, false>(frame);
    }
}

// --- Turned pictures: strips of columns, each from top to bottom in parts small enough to stay in the
// nearest cache until their columns have become rows. So the rows of the result grow side by side, by whole
// lines of the cache. The processor does not see coming what such a walk reads and writes: it is told, a
// part or a line ahead. That may be beyond the picture, where it does no harm.

constexpr int kPartColumns = 64;  // a line of the cache in the source
constexpr int kPartRows = 64;     // two lines in the result

struct Part {
    int left, top;      // in the source
    int columns, rows;  // that are filled
    uint16_t words[kPartRows][kPartColumns];
};

YuvToRgbFrame sourceOf(const YuvToRgbFrame& frame, const Part& part) {
    YuvToRgbFrame source = frame;
    source.width = part.columns;
    source.height = part.rows;
    source.y += part.top * frame.yStride + part.left;
    const ptrdiff_t chroma = frame.interleaved ? part.left : part.left / 2;
    source.cb += part.top / 2 * frame.cbStride + chroma;
    source.cr += part.top / 2 * frame.crStride + chroma;
    return source;
}

// Inlined, as compilers take a function that does nothing else for one that can be left out.
HWY_INLINE void prefetchBelow(const YuvToRgbFrame& part) {
    // Addresses only: where nothing lies, they may go round.
    const auto yStride = static_cast<uintptr_t>(part.yStride);
    const auto crStride = static_cast<uintptr_t>(part.crStride);
    for (uintptr_t row = kPartRows; row < 2 * kPartRows; row += 2) {
        prefetch(part.y, row * yStride);
        prefetch(part.y, (row + 1) * yStride);
        prefetch(part.cr, row / 2 * crStride);
    }
}

void convertPart(const YuvToRgbFrame& frame, Part& part) {
    YuvToRgbFrame source = sourceOf(frame, part);
    prefetchBelow(source);
    source.target.start = reinterpret_cast<uint8_t*>(part.words);
    source.target.pixelStep = sizeof(uint16_t);
    source.target.secondRow = sizeof(part.words[0]);
    source.target.nextPair = 2 * sizeof(part.words[0]);
    convertPacked(source);
}

// From row `row` on, as many as make whole squares of `D`; the row behind them.
template <class D>
int turnSquares(const Part& part, const RgbTarget& target, uint8_t* corner, int row) {
    using Turner = SquareTurner<D, kPartColumns>;
    for (; row + Turner::kRows <= part.rows; row += Turner::kRows) {
        uint8_t* out = corner + row * target.secondRow;
        for (int column = 0; column + kSquare <= part.columns; column += kSquare) {
            Turner::turn(&part.words[row][column], out + column * target.pixelStep, target.pixelStep);
        }
    }
    return row;
}

void turnPart(const Part& part, const RgbTarget& target) {
    uint8_t* corner = target.start + part.left * target.pixelStep + part.top * target.secondRow;
    int wholeRows = turnSquares<Words>(part, target, corner, 0);
    wholeRows = turnSquares<Square>(part, target, corner, wholeRows);
    const int wholeColumns = part.columns / kSquare * kSquare;
    for (int column = 0; column < part.columns; ++column) {
        for (int row = column < wholeColumns ? wholeRows : 0; row < part.rows; ++row) {
            memcpy(corner + column * target.pixelStep + row * target.secondRow, &part.words[row][column],
                   sizeof(uint16_t));
        }
    }
}

void convertTurned(const YuvToRgbFrame& frame) {
    const int pixels = frame.width / 2 * 2;
    Part part;
    for (int done = 0; done < pixels; done += kPartColumns) {
        part.columns = std::min(pixels, kPartColumns);
        part.left = std::min(done, pixels - part.columns);  // some of the last once more
        for (part.top = 0; part.top < frame.height; part.top += kPartRows) {
            part.rows = std::min(frame.height - part.top, kPartRows);
            convertPart(frame, part);
            turnPart(part, frame.target);
        }
    }
}

void convertAny(const YuvToRgbFrame& frame) {
    const RgbTarget& target = frame.target;
    const bool turned = target.is565 && target.secondRow == 2 && target.nextPair == 4;
    if (target.pixelStep == (target.is565 ? 2 : 4)) {
        convertPacked(frame);
    } else if (turned) {
        convertTurned(frame);
    } else {
        convertYuvToRgbTable(frame);
    }
}

#endif  // ZEM_TABLE_TARGET

}  // namespace
}  // namespace zem::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zem {

namespace {
HWY_EXPORT(convertAny);
}

void convertYuvToRgb(const YuvToRgbFrame& frame) {
    if (frame.width >= 2 && frame.height >= 1) {
        HWY_DYNAMIC_DISPATCH(convertAny)(frame);
    }
}

}  // namespace zem
#endif  // HWY_ONCE
