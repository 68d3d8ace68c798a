// Proves what the capture room asks of the platform's client and what it tells of it, letter by letter.
// Would catch: a crop with unset members, width and height exchanged, a layer limit that is not handed
// on, pixels lost by a failed capture, a display token fetched for every frame, a client kept or freed
// twice, a client placed in as little room as its header says (under AddressSanitizer).
#include "capture/screenshot.h"

#include <gmock/gmock.h>

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

TEST_F(ScreenshotTest, ProbesThenCapturesItsSizeAndLayers) {
    fakeScreen().format = 5;
    Screenshot screenshot(1280, 720);
    EXPECT_TRUE(logged(4, "ScreenshotClient pixel format = 5, 40, 5120, 32, 32. \n\n"));
    fakeScreen().format = 1;  // the display changes its format: the source keeps the one that it learned
    ASSERT_NE(screenshot.capture(), nullptr);
    EXPECT_EQ(screenshot.getFormat(), 5);
    screenshot.setMaxCaptureLayer(21000);
    screenshot.capture();
    EXPECT_THAT(fakeScreen().updates,
                testing::ElementsAre("5 of 32x32, layers 0 to 0", "7 of 1280x720, layers 0 to 4294967295",
                                     "7 of 1280x720, layers 0 to 21000"));
    EXPECT_EQ(screenshot.getStride(), 1288);
    EXPECT_EQ(screenshot.getSize(), 1288 * 720 * 4);
    EXPECT_EQ(fakeScreen().displayFetches, 1);
}

TEST_F(ScreenshotTest, FailuresAreLoggedAndKeepThePicture) {
    fakeScreen().result = android::PERMISSION_DENIED;
    Screenshot screenshot(64, 48);
    EXPECT_TRUE(logged(4, "ScreenshotClient update done, ret = -1"));
    EXPECT_EQ(screenshot.getcaptured(), nullptr);
    fakeScreen().result = android::OK;
    const auto* pixels = static_cast<uint8_t*>(screenshot.capture());
    ASSERT_NE(pixels, nullptr);
    const uint8_t shade = pixels[0];
    fakeScreen().result = android::DEAD_OBJECT;
    EXPECT_EQ(screenshot.capture(), nullptr);
    EXPECT_TRUE(logged(6, "screenshotClient->update failed, result=-32"));
    EXPECT_EQ(screenshot.getcaptured(), pixels);
    EXPECT_EQ(pixels[0], shade);
}

TEST_F(ScreenshotTest, ScreenInfoMeasuresAtEveryQuestion) {
    fakeScreen().width = 1080;
    EXPECT_EQ(ScreenInfo::getWidth(), 1080);
    fakeScreen().width = 1920;  // the display was turned
    fakeScreen().height = 1080;
    fakeScreen().format = 4;
    EXPECT_EQ(ScreenInfo::getWidth(), 1920);
    EXPECT_EQ(ScreenInfo::getHeight(), 1080);
    EXPECT_EQ(ScreenInfo::getFormat(), 4);
    EXPECT_EQ(fakeScreen().updates, std::vector<std::string>(4, "3 of 0x0, layers 0 to 0"));
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
    releaseDisplay();
    EXPECT_EQ(token->getStrongCount(), 1) << "the room still holds the token";
    EXPECT_TRUE(displayToken() != nullptr);
    EXPECT_EQ(fakeScreen().displayFetches, 2);
}

}  // namespace
}  // namespace zem::test
