// For the vector kernels: eight by eight 16-bit words, rows made columns. Included once for each target.

#if defined(ZEM_COLOR_TURN_SQUARE_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ZEM_COLOR_TURN_SQUARE_INL_H
#undef ZEM_COLOR_TURN_SQUARE_INL_H
#else
#define ZEM_COLOR_TURN_SQUARE_INL_H
#endif

#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

#include "color/simd.h"

#if !ZEM_TABLE_TARGET

HWY_BEFORE_NAMESPACE();
namespace zem::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr int kSquare = 8;  // words of a 128-bit vector

using Square = hn::FixedTag<uint16_t, kSquare>;

struct SquareRows {
    hn::Vec<Square> a, b, c, d, e, f, g, h;
};

// An element's place is three bits of its row and three of its column. This moves the row's uppermost bit
// to the column's lower end, and the column's uppermost to the row's: done three times, it turns a square.
HWY_INLINE SquareRows exchanged(const SquareRows& rows) {
    const Square d;
    return {hn::InterleaveLower(d, rows.a, rows.e), hn::InterleaveUpper(d, rows.a, rows.e),
            hn::InterleaveLower(d, rows.b, rows.f), hn::InterleaveUpper(d, rows.b, rows.f),
            hn::InterleaveLower(d, rows.c, rows.g), hn::InterleaveUpper(d, rows.c, rows.g),
            hn::InterleaveLower(d, rows.d, rows.h), hn::InterleaveUpper(d, rows.d, rows.h)};
}

HWY_INLINE void storeColumn(hn::Vec<Square> column, uint8_t* out) {
    const hn::Repartition<uint8_t, Square> bytes;  // rows may start at odd addresses
    hn::StoreU(hn::BitCast(bytes, column), bytes, out);
}

/// Reads eight words of each of eight rows, `kRowWords` apart; a column of them goes to `out`, the next
/// one `step` bytes on.
template <int kRowWords>
HWY_INLINE void turnSquare(const uint16_t* words, uint8_t* out, ptrdiff_t step) {
    const Square d;
    const SquareRows rows = {hn::LoadU(d, words),
                             hn::LoadU(d, words + kRowWords),
                             hn::LoadU(d, words + 2 * kRowWords),
                             hn::LoadU(d, words + 3 * kRowWords),
                             hn::LoadU(d, words + 4 * kRowWords),
                             hn::LoadU(d, words + 5 * kRowWords),
                             hn::LoadU(d, words + 6 * kRowWords),
                             hn::LoadU(d, words + 7 * kRowWords)};
    const SquareRows columns = exchanged(exchanged(exchanged(rows)));
    storeColumn(columns.a, out);
    storeColumn(columns.b, out + step);
    storeColumn(columns.c, out + 2 * step);
    storeColumn(columns.d, out + 3 * step);
    storeColumn(columns.e, out + 4 * step);
    storeColumn(columns.f, out + 5 * step);
    storeColumn(columns.g, out + 6 * step);
    storeColumn(columns.h, out + 7 * step);
}

}  // namespace zem::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // !ZEM_TABLE_TARGET
#endif
