// Compiled once for each instruction set, as the converters are.
#include "bench/limit_kernels.h"

#include "color/simd.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "bench/limit_kernels.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zem::bench::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

#if ZEM_TABLE_TARGET
constexpr hn::FixedTag<uint8_t, 1> kBytes;
#else
constexpr hn::ScalableTag<uint8_t> kBytes;
#endif
using Vector = hn::Vec<decltype(kBytes)>;

HWY_INLINE Vector load(const uint8_t* at) {
    return hn::LoadU(kBytes, at);
}
HWY_INLINE void store(Vector bytes, uint8_t* at) {
    hn::StoreU(bytes, kBytes, at);
}

// `kPairs`: one chroma plane; else two.
template <bool kPairs>
HWY_INLINE void fromRgb32(const LimitFrame& frame) {
    const size_t step = hn::Lanes(kBytes);
    const size_t pixels = frame.width * frame.height;
    uint8_t* y = frame.target;
    uint8_t* first = y + pixels;
    uint8_t* second = first + pixels / 4;
    const uint8_t* source = frame.source;
    for (size_t row = 0; row < frame.height; ++row, y += frame.width, source += 4 * frame.width) {
#pragma GCC unroll 4
        for (size_t x = 0; x < frame.width; x += step) {
            const Vector a = hn::Xor(load(source + 4 * x), load(source + 4 * x + step));
            const Vector b = hn::Xor(load(source + 4 * x + 2 * step), load(source + 4 * x + 3 * step));
            store(hn::Xor(a, b), y + x);
            if (row % 2 == 0 && kPairs) {
                store(a, first + x);
            }
        }
        if (row % 2 == 0 && !kPairs) {
            // Its vectors again, as they are in the nearest cache: the planes get half a row each.
#pragma GCC unroll 4
            for (size_t x = 0; x < frame.width / 2; x += step) {
                store(load(y + x), first + x);
                store(load(y + frame.width / 2 + x), second + x);
            }
            first += frame.width / 2;
            second += frame.width / 2;
        }
        first += row % 2 == 0 && kPairs ? frame.width : 0;
    }
}

// Two rows at a time, as the chroma is read once. `kBytesAPixel` is 4 or 2.
template <bool kPairs, size_t kBytesAPixel>
HWY_INLINE void toRgb(const LimitFrame& frame) {
    const size_t step = hn::Lanes(kBytes);
    const size_t pixels = frame.width * frame.height;
    const uint8_t* chroma = frame.source + pixels;
    for (size_t row = 0; row < frame.height; row += 2, chroma += kPairs ? frame.width : frame.width / 2) {
        const uint8_t* y = frame.source + row * frame.width;
        uint8_t* out = frame.target + row * frame.width * kBytesAPixel;
        const size_t outRow = frame.width * kBytesAPixel;
#pragma GCC unroll 2
        for (size_t x = 0; x < frame.width; x += 2 * step) {
            const Vector c0 = load(chroma + (kPairs ? x : x / 2));
            const Vector c1 = load(chroma + (kPairs ? x + step : x / 2 + pixels / 4));
#pragma GCC unroll 4
            for (size_t i = 0; i < 4; ++i) {
                const size_t down = i / 2;
                const size_t right = i % 2 * step;
                const Vector luma = load(y + down * frame.width + x + right);
                uint8_t* const at = out + down * outRow + (x + right) * kBytesAPixel;
                store(hn::Xor(luma, c0), at);
                store(hn::Xor(luma, c1), at + step);
                if (kBytesAPixel == 4) {
                    store(hn::And(luma, c0), at + 2 * step);
                    store(hn::And(luma, c1), at + 3 * step);
                }
            }
        }
    }
}

// Columns become rows: words for a vector of each column, then further down, so that the rows of the result
// grow side by side. Hardware does not see the lines coming that are next: they are asked for.
HWY_INLINE void toTurnedRgb565(const LimitFrame& frame) {
    constexpr size_t kLine = 64;
    const size_t step = hn::Lanes(kBytes);
    const size_t rows = HWY_MAX(step / 2, size_t{2});  // whose words fill a vector
    const size_t outRow = 2 * frame.height;
    const uint8_t* chroma = frame.source + frame.width * frame.height;
    for (size_t left = 0; left < frame.width; left += kLine) {
        for (size_t next = 0; next < frame.height; next += rows) {
            const size_t top = HWY_MIN(next, frame.height - rows);  // some of the last once more
            for (size_t row = top; row < top + rows; row += 2) {
                hwy::Prefetch(frame.source + (row + kLine) * frame.width + left);
                hwy::Prefetch(frame.source + (row + kLine + 1) * frame.width + left);
                hwy::Prefetch(chroma + (row + kLine) / 2 * frame.width + left);
            }
#pragma GCC unroll 4
            for (size_t x = 0; x < kLine; ++x) {
                const size_t row = top + x * rows / kLine;
                const size_t at = left + x / step * step;
                uint8_t* const out = frame.target + (left + x) * outRow + 2 * top;
                store(hn::Xor(load(frame.source + row * frame.width + at),
                              load(chroma + row / 2 * frame.width + at)),
                      out);
                hwy::Prefetch(out + kLine);
            }
        }
    }
}

void rgb32ToNv12(const LimitFrame& frame) {
    fromRgb32<true>(frame);
}
void rgb32ToI420(const LimitFrame& frame) {
    fromRgb32<false>(frame);
}
void i420ToBgr32(const LimitFrame& frame) {
    toRgb<false, 4>(frame);
}
void i420ToRgb565(const LimitFrame& frame) {
    toRgb<false, 2>(frame);
}
void nv12ToRgb565(const LimitFrame& frame) {
    toRgb<true, 2>(frame);
}
void nv12ToTurnedRgb565(const LimitFrame& frame) {
    toTurnedRgb565(frame);
}

}  // namespace
}  // namespace zem::bench::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zem::bench {

namespace {
HWY_EXPORT(rgb32ToNv12);
HWY_EXPORT(rgb32ToI420);
HWY_EXPORT(i420ToBgr32);
HWY_EXPORT(i420ToRgb565);
HWY_EXPORT(nv12ToRgb565);
HWY_EXPORT(nv12ToTurnedRgb565);
}  // namespace

void limitRgb32ToNv12(const LimitFrame& frame) {
    HWY_DYNAMIC_DISPATCH(rgb32ToNv12)(frame);
}
void limitRgb32ToI420(const LimitFrame& frame) {
    HWY_DYNAMIC_DISPATCH(rgb32ToI420)(frame);
}
void limitI420ToBgr32(const LimitFrame& frame) {
    HWY_DYNAMIC_DISPATCH(i420ToBgr32)(frame);
}
void limitI420ToRgb565(const LimitFrame& frame) {
    HWY_DYNAMIC_DISPATCH(i420ToRgb565)(frame);
}
void limitNv12ToRgb565(const LimitFrame& frame) {
    HWY_DYNAMIC_DISPATCH(nv12ToRgb565)(frame);
}
void limitNv12ToTurnedRgb565(const LimitFrame& frame) {
    HWY_DYNAMIC_DISPATCH(nv12ToTurnedRgb565)(frame);
}

}  // namespace zem::bench
#endif  // HWY_ONCE
