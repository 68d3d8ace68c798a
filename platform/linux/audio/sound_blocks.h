// Cuts a stream of sound into blocks of one size, and leaves silence out.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zem {

/// Callers tell by the blocks whether anything plays: nine or fewer in 700 ms is nothing to them. A sink
/// that nothing plays on is recorded as zeros, so blocks of nothing but zeros are left out. The first few
/// after sound are kept, so that a short pause in it stays as long as it was; a longer one is cut short.
class SoundBlocks {
  public:
    static constexpr size_t kSize = 4096;  // bytes: 1024 frames of 16-bit stereo, what an AAC unit holds
    static constexpr int kKeptSilence = 8;

    /// Takes `size` bytes at `data` in; null is that much silence. Calls deliver(uint8_t* block) for each
    /// block that is complete and to be heard; the block is the callee's until it returns.
    template <typename Deliver>
    void add(const void* data, size_t size, Deliver deliver) {
        const auto* source = static_cast<const uint8_t*>(data);
        while (size > 0) {
            const size_t part = std::min(size, kSize - mFilled);
            if (source != nullptr) {
                memcpy(mBlock + mFilled, source, part);
                source += part;
            } else {
                memset(mBlock + mFilled, 0, part);
            }
            mFilled += part;
            size -= part;
            if (mFilled == kSize) {
                mFilled = 0;
                if (isToBeHeard()) {
                    deliver(mBlock);
                }
            }
        }
    }

  private:
    bool isToBeHeard() {
        const bool silent = std::all_of(mBlock, mBlock + kSize, [](uint8_t byte) { return byte == 0; });
        mSilence = silent ? std::min(mSilence + 1, kKeptSilence + 1) : 0;
        return mSilence <= kKeptSilence;
    }

    alignas(4) uint8_t mBlock[kSize] = {};
    size_t mFilled = 0;
    int mSilence = kKeptSilence + 1;  // silent blocks since the last sound, as far as it matters
};

}  // namespace zem
