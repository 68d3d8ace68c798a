// Proves what the capture room asks of the platform's client and what it tells of it, letter by letter.
// Would catch: a crop with unset members, width and height exchanged, a layer limit that is not handed
// on, pixels lost by a failed capture, a display token fetched for every frame, a client kept or freed
// twice, a client placed in as little room as its header says (under AddressSanitizer).
#include "capture/screenshot.h"

#include <gtest/gtest.h>

#include <string>

#include "capture/display.h"
#include "capture/screen_info.h"
#include "capture/screenshot_client.h"
#include "tests/capture/fake_screenshot_client.h"
#include "tests/support/log_capture.h"

namespace zem::test {
namespace {

class ScreenshotTest : public testing::Test {
  protected:
    ScreenshotTest() {
        fakeScreen() = FakeScreen{};
        forgetLog();
    }
    ~ScreenshotTest() override {
        releaseDisplay();
        EXPECT_EQ(fakeScreen().clientsAlive, 0);
    }
};

void expectWholeDisplay(const FakeUpdate& update) {
    EXPECT_TRUE(update.hadDisplay);
    EXPECT_EQ(update.crop.left, 0);
    EXPECT_EQ(update.crop.top, 0);
    EXPECT_EQ(update.crop.right, 0);
    EXPECT_EQ(update.crop.bottom, 0);
    EXPECT_FALSE(update.identity);
}

TEST_F(ScreenshotTest, ConstructionProbesAndTellsTheFormat) {
    fakeScreen().format = 5;
    Screenshot screenshot(1280, 720);
    ASSERT_EQ(fakeScreen().updates.size(), 1U);
    const FakeUpdate& probe = fakeScreen().updates[0];
    EXPECT_EQ(probe.arguments, 5);
    EXPECT_EQ(probe.width, 32U);
    EXPECT_EQ(probe.height, 32U);
    expectWholeDisplay(probe);
    const std::vector<LogLine> lines = loggedLines();
    ASSERT_EQ(lines.size(), 3U);
    const char* texts[] = {"ScreenshotClient update start", "ScreenshotClient update done, ret = 0",
                           "ScreenshotClient pixel format = 5, 40, 5120, 32, 32. \n\n"};
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(lines[i].level, 4);
        EXPECT_EQ(lines[i].text, texts[i]);
    }
    fakeScreen().format = 1;  // the display changes its format: the source keeps the one that it learned
    ASSERT_NE(screenshot.capture(), nullptr);
    EXPECT_EQ(screenshot.getFormat(), 5);
}

TEST_F(ScreenshotTest, FailedProbeIsOnlyLogged) {
    fakeScreen().result = android::PERMISSION_DENIED;
    Screenshot screenshot(640, 360);
    EXPECT_TRUE(logged(4, "ScreenshotClient update done, ret = -1"));
    EXPECT_EQ(screenshot.getFormat(), 0);
    EXPECT_EQ(screenshot.getcaptured(), nullptr);
    fakeScreen().result = android::OK;
    EXPECT_NE(screenshot.capture(), nullptr);
}

TEST_F(ScreenshotTest, CaptureAsksForItsSizeAndLayers) {
    Screenshot screenshot(1280, 720);
    screenshot.capture();
    screenshot.setMaxCaptureLayer(21000);
    EXPECT_EQ(fakeScreen().updates.size(), 2U) << "setting the layer captures nothing";
    screenshot.capture();
    const uint32_t layers[] = {0xFFFFFFFF, 21000};
    for (size_t i = 0; i < 2; ++i) {
        const FakeUpdate& update = fakeScreen().updates[i + 1];
        EXPECT_EQ(update.arguments, 7);
        EXPECT_EQ(update.width, 1280U);
        EXPECT_EQ(update.height, 720U);
        EXPECT_EQ(update.minLayer, 0U);
        EXPECT_EQ(update.maxLayer, layers[i]);
        expectWholeDisplay(update);
    }
    EXPECT_EQ(screenshot.getStride(), 1288);
    EXPECT_EQ(screenshot.getSize(), 1288 * 720 * 4);
    EXPECT_EQ(fakeScreen().displayFetches, 1);
}

TEST_F(ScreenshotTest, FailedCaptureGivesNullAndKeepsThePicture) {
    Screenshot screenshot(64, 48);
    const auto* pixels = static_cast<uint8_t*>(screenshot.capture());
    ASSERT_NE(pixels, nullptr);
    const uint8_t shade = pixels[0];
    fakeScreen().result = android::DEAD_OBJECT;
    EXPECT_EQ(screenshot.capture(), nullptr);
    EXPECT_TRUE(logged(6, "screenshotClient->update failed, result=-32"));
    EXPECT_EQ(screenshot.getcaptured(), pixels);
    EXPECT_EQ(pixels[0], shade);
    fakeScreen().result = android::OK;
    const auto* later = static_cast<uint8_t*>(screenshot.capture());
    ASSERT_NE(later, nullptr);
    EXPECT_NE(later[0], shade);
    EXPECT_EQ(loggedCount("failed"), 1);
}

TEST_F(ScreenshotTest, ScreenInfoMeasuresAtEveryQuestion) {
    fakeScreen().width = 1080;
    fakeScreen().height = 1920;
    fakeScreen().format = 4;
    EXPECT_EQ(ScreenInfo::getWidth(), 1080);
    fakeScreen().width = 1920;  // the display was turned
    fakeScreen().height = 1080;
    EXPECT_EQ(ScreenInfo::getWidth(), 1920);
    EXPECT_EQ(ScreenInfo::getHeight(), 1080);
    EXPECT_EQ(ScreenInfo::getFormat(), 4);
    ASSERT_EQ(fakeScreen().updates.size(), 4U);
    EXPECT_EQ(fakeScreen().updates[3].arguments, 3);
    expectWholeDisplay(fakeScreen().updates[3]);
    fakeScreen().result = android::DEAD_OBJECT;
    EXPECT_EQ(ScreenInfo::getWidth(), 0);
}

TEST_F(ScreenshotTest, ReopenEndsTheOldClientAndMakesANewOne) {
    android::ScreenshotClient* client = nullptr;
    reopenScreenshot(&client);
    ASSERT_NE(client, nullptr);
    reopenScreenshot(&client);
    EXPECT_EQ(fakeScreen().clientsMade, 2);
    EXPECT_EQ(fakeScreen().clientsAlive, 1);
    deleteScreenshotClient(client);
}

TEST_F(ScreenshotTest, ReleasedDisplayTokenIsFreedAndFetchedAgain) {
    const android::sp<android::IBinder> token = displayToken();
    EXPECT_TRUE(token == displayToken());
    EXPECT_EQ(token->getStrongCount(), 2);
    releaseDisplay();
    EXPECT_EQ(token->getStrongCount(), 1) << "the room still holds the token";
    EXPECT_TRUE(displayToken() != nullptr);
    EXPECT_EQ(fakeScreen().displayFetches, 2);
}

}  // namespace
}  // namespace zem::test
