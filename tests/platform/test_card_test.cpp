// Proves the screen of a machine without one, and what the client refuses whatever the screen is. Would
// catch: a card that stands still, one that writes past a small picture, a line logged for every client,
// an absurd size that reaches an allocation, a picture lost by a refused update.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/platform/capture_support.h"
#include "tests/support/log_capture.h"
#include "tests/support/xvfb.h"

namespace zem::test {
namespace {

using android::BAD_VALUE;
using android::OK;
using android::Rect;
using android::ScreenshotClient;
using android::SurfaceComposerClient;

class TestCardTest : public testing::Test {
    const ScopedEnvironment mNoDisplay{"DISPLAY", nullptr};
};

TEST_F(TestCardTest, MovesFromCaptureToCaptureAndIsAnnouncedOnce) {
    forgetLog();
    for (const uint32_t width : {32U, 640U}) {
        ScreenshotClient client;
        std::vector<uint8_t> before;
        for (int frame = 0; frame < 100; ++frame) {
            ASSERT_EQ(captureScreen(&client, width, width / 2), OK);
            const auto* bytes = static_cast<const uint8_t*>(client.getPixels());
            const std::vector<uint8_t> now(bytes, bytes + client.getSize());
            ASSERT_NE(now, before) << "frame " << frame;
            before = now;
        }
    }
    EXPECT_LE(loggedCount("moving test card"), 1);
}

TEST_F(TestCardTest, ShowsItsColoursAtItsOwnSize) {
    ScreenshotClient client;
    EXPECT_EQ(client.getPixels(), nullptr);
    EXPECT_EQ(client.getSize(), 0U);
    ASSERT_EQ(captureScreen(&client), OK);
    EXPECT_EQ(client.getWidth(), 1280U);
    EXPECT_EQ(client.getHeight(), 720U);
    EXPECT_EQ(client.getStride(), 1280U);
    EXPECT_EQ(client.getSize(), 1280U * 720 * 4);
    EXPECT_EQ(client.getFormat(), android::PIXEL_FORMAT_RGBA_8888);
    const uint32_t bars[] = {0xFFFFFFFF, 0xFFFF00FF, 0x00FFFFFF, 0x00FF00FF,
                             0xFF00FFFF, 0xFF0000FF, 0x0000FFFF, 0x000000FF};
    for (uint32_t i = 0; i < 8; ++i) {
        EXPECT_EQ(pixelAt(client, i * 160 + 80, 300), bars[i]) << "bar " << i;
    }
}

TEST_F(TestCardTest, AnySizeIsDrawnWholeAndOpaque) {
    const uint32_t sizes[][2] = {{1, 1}, {2, 1}, {1, 2}, {3, 7}, {7, 3}, {16384, 1}, {1, 16384}, {853, 481}};
    for (const auto& size : sizes) {
        ScreenshotClient client;
        ASSERT_EQ(captureScreen(&client, size[0], size[1]), OK);
        ASSERT_EQ(client.getSize(), size_t{4} * size[0] * size[1]);
        for (uint32_t y = 0; y < size[1]; ++y) {
            for (uint32_t x = 0; x < size[0]; ++x) {
                ASSERT_EQ(pixelAt(client, x, y) & 0xFF, 255U) << size[0] << "x" << size[1];
            }
        }
    }
}

TEST_F(TestCardTest, RefusedUpdatesKeepThePicture) {
    const android::sp<android::IBinder> screen = SurfaceComposerClient::getBuiltInDisplay(0);
    ScreenshotClient client;
    ASSERT_EQ(captureScreen(&client, 64, 32), OK);
    const std::vector<uint8_t> before(static_cast<const uint8_t*>(client.getPixels()),
                                      static_cast<const uint8_t*>(client.getPixels()) + client.getSize());
    const uint32_t sizes[][2] = {
        {16385, 1}, {1, 16385}, {0xFFFFFFFF, 720}, {1280, 0x80000000}, {0x10000, 0x10000}};
    for (const auto& size : sizes) {
        EXPECT_EQ(captureScreen(&client, size[0], size[1]), BAD_VALUE) << size[0] << "x" << size[1];
    }
    const Rect crops[] = {Rect(),
                          Rect(-1, 0, 5, 5),
                          Rect(0, 0, 1281, 5),
                          Rect(5, 5, 5, 9),
                          Rect(9, 5, 5, 9),
                          Rect(0, 700, 4, 721),
                          Rect(INT32_MIN, 0, INT32_MAX, 9)};
    for (const Rect& crop : crops) {
        EXPECT_EQ(captureScreen(&client, 64, 32, crop), BAD_VALUE) << crop.left << "," << crop.top;
    }
    EXPECT_EQ(client.update(screen, Rect(0, 0), 64, 32, 5, 4, false), BAD_VALUE);
    EXPECT_EQ(client.update(screen, Rect(0, 0), 64, 32, 0, 0, false, 4), BAD_VALUE);
    EXPECT_EQ(client.update(nullptr, Rect(0, 0), false), android::NAME_NOT_FOUND);
    EXPECT_TRUE(SurfaceComposerClient::getBuiltInDisplay(1) == nullptr);
    ASSERT_EQ(client.getSize(), before.size());
    EXPECT_EQ(memcmp(client.getPixels(), before.data(), before.size()), 0);
    EXPECT_EQ(client.update(screen, Rect(0, 0), 64, 32, 0, 0, true), OK)
        << "layer 0 alone is the whole screen";
    client.release();
    EXPECT_EQ(client.getPixels(), nullptr);
}

TEST_F(TestCardTest, TurnsClockwise) {
    const android::sp<android::IBinder> screen = SurfaceComposerClient::getBuiltInDisplay(0);
    // A corner of the card far from what moves: yellow, below the counter and left of the middle.
    ScreenshotClient upright;
    ASSERT_EQ(captureScreen(&upright, 160, 80), OK);
    const uint32_t x = 30;
    const uint32_t y = 40;
    ASSERT_EQ(pixelAt(upright, x, y), 0xFFFF00FFU);
    const uint32_t places[][2] = {{x, y}, {79 - y, x}, {159 - x, 79 - y}, {y, 159 - x}};
    for (uint32_t quarters = 0; quarters < 4; ++quarters) {
        const bool lying = quarters % 2 == 0;
        ScreenshotClient turned;
        ASSERT_EQ(
            turned.update(screen, Rect(0, 0), lying ? 160 : 80, lying ? 80 : 160, 0, 9, false, quarters), OK);
        EXPECT_EQ(turned.getWidth(), lying ? 160U : 80U);
        EXPECT_EQ(pixelAt(turned, places[quarters][0], places[quarters][1]), 0xFFFF00FFU) << quarters;
    }
}

}  // namespace
}  // namespace zem::test
