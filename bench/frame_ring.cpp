#include "bench/frame_ring.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

namespace zem::bench {

namespace {

constexpr size_t kPage = 4096;
constexpr size_t kSlack = 256;               // so that planes of all frames do not share the same cache sets
constexpr size_t kLargestFrame = 100 << 20;  // above RGB32 and I420 of 3840x2160
constexpr size_t kLeastRing = 64 << 20;      // where the machine does not tell its caches

size_t padded(size_t bytes) {
    return (bytes + kSlack + kPage - 1) / kPage * kPage + kSlack;
}

uint8_t* block() {
    // Aligned to pages, as what screens and codecs lend is.
    static const std::unique_ptr<uint8_t, decltype(&free)> memory(
        static_cast<uint8_t*>(aligned_alloc(kPage, padded(FrameRing::ringBytes() + kLargestFrame) - kSlack)),
        free);
    return memory.get();
}

const std::vector<uint8_t>& pattern() {
    static const std::vector<uint8_t> bytes = [] {
        std::vector<uint8_t> made(1 << 20);
        std::minstd_rand random(1);  // the same every time
        std::uniform_int_distribution<int> byte(16, 235);
        std::generate(made.begin(), made.end(), [&] { return static_cast<uint8_t>(byte(random)); });
        return made;
    }();
    return bytes;
}

}  // namespace

size_t FrameRing::ringBytes() {
    const long caches = sysconf(_SC_LEVEL2_CACHE_SIZE) + sysconf(_SC_LEVEL3_CACHE_SIZE);
    return std::max(static_cast<size_t>(std::max(caches, 0L)) * 5 / 4, kLeastRing);
}

FrameRing::FrameRing(size_t sourceBytes, size_t targetBytes, bool warm)
    : mTargetAt(padded(sourceBytes)),
      mFrameBytes(mTargetAt + padded(targetBytes)),
      mCount(warm ? 1 : ringBytes() / mFrameBytes + 1),
      mBlock(block()) {
    for (size_t frame = 0; frame < mCount; ++frame) {
        uint8_t* const start = place(frame);
        for (size_t at = 0; at < sourceBytes; at += pattern().size()) {
            memcpy(start + at, pattern().data(), std::min(pattern().size(), sourceBytes - at));
        }
        memset(start + mTargetAt, 0, targetBytes);
    }
}

}  // namespace zem::bench
