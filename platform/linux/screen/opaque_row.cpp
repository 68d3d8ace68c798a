#include "platform/linux/screen/opaque_row.h"

#if ZEM_SIMD

#include "base/prefetch.h"

// Compiled for each instruction set, of which the machine's best is taken as it runs.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/linux/screen/opaque_row.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zem::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Pictures are made from the last row up: this far above lies what comes next. Nobody has touched it since
// the server wrote it, and so fetching it early spares a good part of the time.
constexpr uintptr_t kAhead = 5120;  // bytes

void opaqueVectors(const uint8_t* from, bool swap, uint8_t* to, size_t count) {
    size_t x = 0;
#if HWY_TARGET != HWY_SCALAR
    alignas(16) static constexpr uint8_t kSwapped[] = {2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15};
    alignas(16) static constexpr uint8_t kAsTheyAre[] = {0, 1, 2,  3,  4,  5,  6,  7,
                                                         8, 9, 10, 11, 12, 13, 14, 15};
    const hn::ScalableTag<uint8_t> bytes;
    const hn::Repartition<uint32_t, decltype(bytes)> words;
    const auto order = hn::LoadDup128(bytes, swap ? kSwapped : kAsTheyAre);
    const auto opaque = hn::BitCast(bytes, hn::Set(words, 0xFF000000));
    const size_t step = hn::Lanes(words);
    for (; x + step <= count; x += step) {
        prefetch(from + 4 * x, 0 - kAhead);
        const auto pixels = hn::TableLookupBytes(hn::LoadU(bytes, from + 4 * x), order);
        hn::StoreU(hn::Or(pixels, opaque), bytes, to + 4 * x);
    }
#endif
    opaquePixels(from + 4 * x, swap, to + 4 * x, count - x);
}

}  // namespace
}  // namespace zem::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zem {

namespace {
HWY_EXPORT(opaqueVectors);
}

void opaqueRow(const uint8_t* from, bool swap, uint8_t* to, size_t count) {
    HWY_DYNAMIC_DISPATCH(opaqueVectors)(from, swap, to, count);
}

}  // namespace zem
#endif  // HWY_ONCE

#else

namespace zem {

void opaqueRow(const uint8_t* from, bool swap, uint8_t* to, size_t count) {
    opaquePixels(from, swap, to, count);
}

}  // namespace zem

#endif  // ZEM_SIMD
