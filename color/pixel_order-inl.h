// For the vector kernels that write RGB: pixels loaded in the order in which interleaving makes them leave.
//
// Interleaving works within blocks of 16 bytes, so that a longer vector of results would have to be put
// in order afterwards, one step for each vector written. One step for each vector read costs less.
// Included once for each target, after hwy/highway.h.

#if defined(ZEM_COLOR_PIXEL_ORDER_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ZEM_COLOR_PIXEL_ORDER_INL_H
#undef ZEM_COLOR_PIXEL_ORDER_INL_H
#else
#define ZEM_COLOR_PIXEL_ORDER_INL_H
#endif

#include <hwy/highway.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "color/simd.h"

#if !ZEM_TABLE_TARGET

HWY_BEFORE_NAMESPACE();
namespace zem::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Bytes = hn::ScalableTag<uint8_t>;
using Words = hn::Repartition<uint16_t, Bytes>;
using Shorts = hn::Repartition<int16_t, Bytes>;
using Ints = hn::Repartition<int32_t, Bytes>;
using ByteVector = hn::Vec<Bytes>;
using WordVector = hn::Vec<Words>;
using ShortVector = hn::Vec<Shorts>;
using IntVector = hn::Vec<Ints>;

constexpr size_t kVectorBytes = HWY_LANES(uint8_t);
constexpr size_t kBlocks = kVectorBytes / 16;

/// Reads bytes, of which each vector makes `kResults` (2 or 4) interleaved ones.
template <size_t kResults>
class OrderedLoad {
  public:
    OrderedLoad() : mOrder(hn::SetTableIndices(Ints(), order().data())) {}

    /// kVectorBytes bytes.
    HWY_INLINE ByteVector operator()(const uint8_t* source) const {
        return ordered(hn::LoadU(Bytes(), source));
    }
    /// kVectorBytes / 2 bytes, each widened to 16 bits.
    HWY_INLINE ShortVector widened(const uint8_t* source) const {
        if constexpr (kBlocks == 2) {  // one block of bytes, and so one step for both
            const auto twice = hn::LoadDup128(Bytes(), source);
            alignas(kVectorBytes) static constexpr auto kWidening = widening();
            return hn::BitCast(Shorts(), hn::TableLookupBytesOr0(twice, hn::Load(Bytes(), kWidening.data())));
        } else {
            const hn::Half<Bytes> half;
            return hn::BitCast(
                Shorts(), ordered(hn::BitCast(Bytes(), hn::PromoteTo(Words(), hn::LoadU(half, source)))));
        }
    }

  private:
    // Block b of result r consists of part r of block b.
    static constexpr std::array<int32_t, 4 * kBlocks> order() {
        std::array<int32_t, 4 * kBlocks> order{};
        constexpr size_t kInts = 4 / kResults;  // in a part
        for (size_t i = 0; i < order.size(); ++i) {
            const size_t block = i / 4;
            const size_t result = i % 4 / kInts;
            order[i] = static_cast<int32_t>((result * kBlocks + block) * kInts + i % kInts);
        }
        return order;
    }
    // The bytes that widened() has to pick; 128 picks none.
    static constexpr std::array<uint8_t, kVectorBytes> widening() {
        std::array<uint8_t, kVectorBytes> from{};
        for (size_t i = 0; i < from.size(); ++i) {
            const int32_t first = 2 * order()[i / 4];
            from[i] = static_cast<uint8_t>(i % 2 == 0 ? first + static_cast<int32_t>(i % 4 / 2) : 128);
        }
        return from;
    }
    HWY_INLINE ByteVector ordered(ByteVector bytes) const {
        if constexpr (kBlocks == 1) {
            return bytes;
        } else {
            return hn::BitCast(Bytes(), hn::TableLookupLanes(hn::BitCast(Ints(), bytes), mOrder));
        }
    }

    decltype(hn::SetTableIndices(Ints(), static_cast<const int32_t*>(nullptr))) mOrder;
};

}  // namespace zem::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // !ZEM_TABLE_TARGET
#endif
