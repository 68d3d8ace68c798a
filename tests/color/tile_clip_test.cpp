// Proves that the clip table comes and goes as asked, and never under a conversion that reads it. Faults it
// would catch: a table freed twice or leaked, one freed while another thread converts, two threads that
// create it at once (the last two under AddressSanitizer and ThreadSanitizer).
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "color/tiled_nv12.h"
#include "tests/color/noise.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr unsigned kWidth = 66;
constexpr unsigned kHeight = 34;

Bytes converted(const Bytes& source) {
    Bytes out(size_t{2} * kWidth * kHeight);
    convertNV12Tile(kWidth, kHeight, source.data(), 0, out.data(), 2 * kWidth);
    return out;
}

TEST(TileClip, LivesFromTheFirstUseUntilItIsDropped) {
    delClip();
    delClip();
    EXPECT_EQ(g_xClip.load(), nullptr);
    const uint8_t* clip = initClip();
    EXPECT_NE(g_xClip.load(), nullptr);
    EXPECT_EQ(initClip(), clip);
    for (int i = -278; i <= 535; ++i) {
        ASSERT_EQ(clip[i], std::clamp(i, 0, 255)) << i;
    }
    delClip();
    EXPECT_EQ(g_xClip.load(), nullptr);
    const Bytes source = zem::test::noise(TiledFrameSize(kWidth, kHeight));
    const Bytes first = converted(source);
    EXPECT_NE(g_xClip.load(), nullptr);  // kept for the next conversion
    delClip();
    EXPECT_EQ(converted(source), first);
    delClip();
}

TEST(TileClip, MayBeDroppedWhileOthersConvert) {
    const Bytes source = zem::test::noise(TiledFrameSize(kWidth, kHeight));
    const Bytes expected = converted(source);
    std::atomic<int> converting{3};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    threads.reserve(3);
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                wrong += converted(source) != expected;
                uint8_t line[128];
                uint8_t* cursor = line;
                nv12TileComputeRGB(&cursor, source.data(), source.data(), 64, sizeof(line));
            }
            --converting;
        });
    }
    while (converting > 0) {
        initClip();
        delClip();
        std::this_thread::yield();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    delClip();
}

}  // namespace
