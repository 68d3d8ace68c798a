// Proves what needs no X server: how pictures are scaled, the screen of a machine without one, and what the
// client refuses whatever the screen is. Would catch: a nearest-pixel scaler, a card that stands still or
// writes past a small picture, an absurd size that reaches an allocation, a picture lost by a refused update.
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "platform/linux/screen/opaque_rgba.h"
#include "platform/linux/screen/opaque_row.h"
#include "tests/platform/capture_support.h"
#include "tests/support/simd_targets.h"

namespace zem::test {
namespace {

using android::BAD_VALUE;
using android::OK;
using android::Rect;
using android::ScreenshotClient;
using android::SurfaceComposerClient;

TEST(OpaqueRow, VectorsDoWhatPixelsDo) {
    onEverySimdTarget([] {
        for (const bool swap : {false, true}) {
            for (size_t count = 0; count < 40; ++count) {
                std::vector<uint8_t> from(4 * count);
                for (size_t i = 0; i < from.size(); ++i) {
                    from[i] = static_cast<uint8_t>(i * 41 + 3);
                }
                std::vector<uint8_t> expected(from.size() + 1, 9);
                std::vector<uint8_t> to = expected;
                opaquePixels(from.data(), swap, expected.data(), count);
                opaqueRow(from.data(), swap, to.data(), count);
                EXPECT_EQ(to, expected) << count;
                opaqueRow(from.data(), swap, from.data(), count);  // in place
                to.assign(from.begin(), from.end());
                to.push_back(9);
                EXPECT_EQ(to, expected) << count;
            }
        }
    });
}

TEST(OpaqueRgba, ScalingWeighsTheNeighbours) {
    // Two pixels, black and red, drawn to eight: the ends stay, the middle falls evenly between. To one: the
    // mean.
    const std::vector<uint8_t> bytes{0, 0, 0, 0, 0, 0, 240, 0};
    const std::vector<uint8_t> reds[] = {{0, 0, 30, 90, 150, 210, 240, 240}, {120}};
    for (const auto& expected : reds) {
        Picture picture;
        ASSERT_TRUE(picture.reshape(static_cast<uint32_t>(expected.size()), 1));
        ASSERT_TRUE(toOpaqueRgba({bytes.data(), 2, 1}, ByteOrder::kBgrx, &picture));
        for (uint32_t x = 0; x < expected.size(); ++x) {
            EXPECT_EQ(picture.row(0)[x].r, expected[x]) << x;
        }
    }
}

TEST(TestCard, ShowsItsColoursAndMovesAtAnySize) {
    unsetenv("DISPLAY");
    ScreenshotClient whole;
    EXPECT_EQ(whole.getPixels(), nullptr);
    ASSERT_EQ(captureScreen(&whole), OK);
    ASSERT_EQ(whole.getSize(), 1280U * 720 * 4);
    EXPECT_EQ(pixelAt(whole, 240, 300), 0xFFFF00FFU);
    EXPECT_EQ(pixelAt(whole, 880, 300), 0xFF0000FFU);
    EXPECT_EQ(pixelAt(whole, 1040, 300), 0x0000FFFFU);
    for (const auto& [width, height] : {std::pair(1U, 1U), {3U, 7U}, {7U, 3U}, {16384U, 1U}, {853U, 481U}}) {
        ScreenshotClient client;
        ASSERT_EQ(captureScreen(&client, width, height), OK);
        ASSERT_EQ(client.getSize(), size_t{4} * width * height);
        const auto* bytes = static_cast<const uint8_t*>(client.getPixels());
        const std::vector<uint8_t> before(bytes, bytes + client.getSize());
        for (size_t i = 3; i < before.size(); i += 4) {
            ASSERT_EQ(before[i], 255U) << width << "x" << height;
        }
        ASSERT_EQ(captureScreen(&client, width, height), OK);
        bytes = static_cast<const uint8_t*>(client.getPixels());
        EXPECT_TRUE(height < 32 || std::vector<uint8_t>(bytes, bytes + client.getSize()) != before);
    }
}

TEST(TestCard, RefusedUpdatesKeepThePictureAndTurnsGoClockwise) {
    unsetenv("DISPLAY");
    const android::sp<android::IBinder> screen = SurfaceComposerClient::getBuiltInDisplay(0);
    ScreenshotClient client;
    ASSERT_EQ(captureScreen(&client, 160, 80), OK);
    const Rect all(0, 0);
    const struct {
        Rect crop;
        uint32_t width = 0, height = 0;
    } refused[] = {{all, 16385, 1},           {all, 0xFFFFFFFF, 720},
                   {all, 0x10000, 0x10000},   {Rect(), 64, 32},
                   {Rect(-1, 0, 5, 5), 0, 0}, {Rect(0, 0, 1281, 5), 0, 0},
                   {Rect(9, 5, 5, 9), 0, 0},  {Rect(INT32_MIN, 0, INT32_MAX, 9), 0, 0}};
    for (const auto& r : refused) {
        EXPECT_EQ(captureScreen(&client, r.width, r.height, r.crop), BAD_VALUE)
            << r.width << " " << r.crop.left;
    }
    EXPECT_EQ(client.update(screen, all, 64, 32, 5, 4, false), BAD_VALUE);
    EXPECT_EQ(client.update(screen, all, 64, 32, 0, 0, false, 4), BAD_VALUE);
    EXPECT_EQ(client.update(nullptr, all, false), android::NAME_NOT_FOUND);
    ASSERT_EQ(client.getWidth(), 160U);
    EXPECT_EQ(pixelAt(client, 30, 40), 0xFFFF00FFU);
    // The same place, yellow and far from what moves, after a quarter.
    ASSERT_EQ(client.update(screen, all, 80, 160, 0, 0, false, 1), OK);
    EXPECT_EQ(pixelAt(client, 79 - 40, 30), 0xFFFF00FFU);
    EXPECT_NE(pixelAt(client, 40, 159 - 30), 0xFFFF00FFU);
    client.release();
    EXPECT_EQ(client.getPixels(), nullptr);
}

}  // namespace
}  // namespace zem::test
