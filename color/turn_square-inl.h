// For the vector kernels: squares of eight by eight 16-bit words, rows made columns. Included once for each
// target.

#if defined(ZEM_COLOR_TURN_SQUARE_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ZEM_COLOR_TURN_SQUARE_INL_H
#undef ZEM_COLOR_TURN_SQUARE_INL_H
#else
#define ZEM_COLOR_TURN_SQUARE_INL_H
#endif

#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

#include "base/prefetch.h"
#include "color/simd.h"

#if !ZEM_TABLE_TARGET

HWY_BEFORE_NAMESPACE();
namespace zem::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

/// Words of a 128-bit block of a vector: a square's rows and columns.
constexpr int kSquare = 8;
using Square = hn::FixedTag<uint16_t, kSquare>;

template <class D>
struct SquareRows {
    hn::Vec<D> a, b, c, d, e, f, g, h;
};

// An element's place is three bits of its row and three of its column. This moves the row's uppermost bit
// to the column's lower end, and the column's uppermost to the row's: done three times, it turns a square.
template <class D>
HWY_INLINE SquareRows<D> exchanged(D d, const SquareRows<D>& rows) {
    return {hn::InterleaveLower(d, rows.a, rows.e), hn::InterleaveUpper(d, rows.a, rows.e),
            hn::InterleaveLower(d, rows.b, rows.f), hn::InterleaveUpper(d, rows.b, rows.f),
            hn::InterleaveLower(d, rows.c, rows.g), hn::InterleaveUpper(d, rows.c, rows.g),
            hn::InterleaveLower(d, rows.d, rows.h), hn::InterleaveUpper(d, rows.d, rows.h)};
}

/// Turns as many squares at once as a vector of `D` has blocks, one below the other.
template <class D, int kRowWords>
class SquareTurner {
  public:
    static constexpr int kRows = static_cast<int>(hn::MaxLanes(D()));

    /// Reads eight words of each of `kRows` rows, `kRowWords` apart; a column of them goes to `out`, the next
    /// one `step` bytes on.
    static HWY_INLINE void turn(const uint16_t* words, uint8_t* out, ptrdiff_t step) {
        const D d;
        const SquareRows<D> rows = {row(d, words, 0), row(d, words, 1), row(d, words, 2), row(d, words, 3),
                                    row(d, words, 4), row(d, words, 5), row(d, words, 6), row(d, words, 7)};
        const SquareRows<D> columns = exchanged(d, exchanged(d, exchanged(d, rows)));
        store(columns.a, out);
        store(columns.b, out + step);
        store(columns.c, out + 2 * step);
        store(columns.d, out + 3 * step);
        store(columns.e, out + 4 * step);
        store(columns.f, out + 5 * step);
        store(columns.g, out + 6 * step);
        store(columns.h, out + 7 * step);
    }

  private:
    // Row `index` of each square.
    template <class Part>
    static HWY_INLINE hn::Vec<Part> row(Part d, const uint16_t* words, int index) {
        constexpr int kLanes = static_cast<int>(hn::MaxLanes(d));
        if constexpr (kLanes == kSquare) {
            return hn::LoadU(d, words + index * kRowWords);
        } else {
            const hn::Half<Part> half;
            return hn::Combine(d, row(half, words + kLanes / 2 * kRowWords, index), row(half, words, index));
        }
    }
    static HWY_INLINE void store(hn::Vec<D> column, uint8_t* out) {
        const hn::Repartition<uint8_t, D> bytes;  // rows may start at odd addresses
        hn::StoreU(hn::BitCast(bytes, column), bytes, out);
        prefetch(out, 64);  // the line that the squares below go to
    }
};

}  // namespace zem::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // !ZEM_TABLE_TARGET
#endif
