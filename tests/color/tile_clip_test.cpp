// Proves that the clip table comes and goes as asked, and never under a conversion that reads it. Faults it
// would catch, under the sanitizers: a table freed twice or leaked, one freed while another thread
// converts, two threads that create it at once.
#include <gtest/gtest.h>

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
    delClip();
    EXPECT_EQ(g_xClip.load(), nullptr);
}

}  // namespace
