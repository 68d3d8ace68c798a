// Proves what the capture room asks of the platform's client and what it tells of it, letter by letter.
// Would catch: a crop with unset members, width and height exchanged, a layer limit that is not handed
// on, pixels lost by a failed capture, a display token fetched for every frame, a client kept or freed
// twice, a client placed in as little room as its header says (under AddressSanitizer).
#include "capture/screenshot.h"

#include <binder/Binder.h>
#include <gmock/gmock.h>
#include <gui/SurfaceComposerClient.h>
#include <ui/Rect.h>

#include <cstring>
#include <string>
#include <vector>

#include "capture/display.h"
#include "capture/screen_info.h"
#include "capture/screenshot_client.h"
#include "tests/support/log_capture.h"

namespace zem::test {
namespace {

/// What is asked of the platform's screenshot client; each test begins with a fresh one.
struct FakeScreen {
    // What the next updates answer, and what they find.
    android::status_t result = android::OK;
    uint32_t width = 0, height = 0;  // of full-size captures
    int32_t format = 1;
    // What happened.
    std::vector<std::string> updates;  // "ARGUMENTS of WIDTHxHEIGHT, layers MIN to MAX" and what is odd
    int clientsMade = 0;
    int clientsAlive = 0;
    int displayFetches = 0;
} gScreen;

}  // namespace
}  // namespace zem::test

// Linked before the platform's library, whose own client this stands in front of.
namespace android {
namespace {

// What the largest known release's class takes; its constructor writes all of it.
constexpr size_t kDeviceClientSize = 112;

bool isPlain(const sp<IBinder>& display, const Rect& crop, bool identity) {
    return display != nullptr && crop.left == 0 && crop.top == 0 && crop.right == 0 && crop.bottom == 0 &&
           !identity;
}

}  // namespace

using zem::test::gScreen;

struct ScreenshotClient::Impl {
    std::vector<uint8_t> pixels;
    uint32_t width = 0;
    uint32_t height = 0;
    int32_t format = 0;

    status_t update(int arguments, bool plain, uint32_t w, uint32_t h, uint32_t minLayer, uint32_t maxLayer) {
        gScreen.updates.push_back(std::to_string(arguments) + " of " + std::to_string(w) + "x" +
                                  std::to_string(h) + ", layers " + std::to_string(minLayer) + " to " +
                                  std::to_string(maxLayer) + (plain ? "" : ", not of the whole display"));
        if (gScreen.result != OK) {
            return gScreen.result;
        }
        width = w != 0 ? w : gScreen.width;
        height = h != 0 ? h : gScreen.height;
        format = gScreen.format;
        const auto shade = static_cast<uint8_t>(gScreen.updates.size());
        pixels.assign(size_t{width + 8} * height * 4, shade);  // rows with a gap, as a device's may have
        return OK;
    }
};

sp<IBinder> SurfaceComposerClient::getBuiltInDisplay(int32_t id) {
    ++gScreen.displayFetches;
    return id == 0 ? sp<IBinder>(new BBinder) : sp<IBinder>();
}

ScreenshotClient::ScreenshotClient() {
    auto* volatile tail = reinterpret_cast<uint8_t*>(this);  // the device's class is larger than its header
    memset(tail + sizeof(ScreenshotClient), 0, kDeviceClientSize - sizeof(ScreenshotClient));
    mImpl = std::make_unique<Impl>();
    ++gScreen.clientsMade;
    ++gScreen.clientsAlive;
}

ScreenshotClient::~ScreenshotClient() {
    --gScreen.clientsAlive;
}

status_t ScreenshotClient::update(const sp<IBinder>& display, Rect crop, bool identity) {
    return mImpl->update(3, isPlain(display, crop, identity), 0, 0, 0, 0);
}

status_t ScreenshotClient::update(const sp<IBinder>& display, Rect crop, uint32_t width, uint32_t height,
                                  bool identity) {
    return mImpl->update(5, isPlain(display, crop, identity), width, height, 0, 0);
}

status_t ScreenshotClient::update(const sp<IBinder>& display, Rect crop, uint32_t width, uint32_t height,
                                  uint32_t minLayer, uint32_t maxLayer, bool identity) {
    return mImpl->update(7, isPlain(display, crop, identity), width, height, minLayer, maxLayer);
}

void const* ScreenshotClient::getPixels() const {
    return mImpl->pixels.empty() ? nullptr : mImpl->pixels.data();
}
uint32_t ScreenshotClient::getWidth() const {
    return mImpl->width;
}
uint32_t ScreenshotClient::getHeight() const {
    return mImpl->height;
}
PixelFormat ScreenshotClient::getFormat() const {
    return mImpl->format;
}
uint32_t ScreenshotClient::getStride() const {
    return mImpl->width + 8;
}
size_t ScreenshotClient::getSize() const {
    return mImpl->pixels.size();
}

}  // namespace android

namespace zem::test {
namespace {

class ScreenshotTest : public testing::Test {
  protected:
    ScreenshotTest() {
        gScreen = FakeScreen{};
        forgetLog();
    }
    ~ScreenshotTest() override {
        releaseDisplay();
        EXPECT_EQ(gScreen.clientsAlive, 0);
    }
};

TEST_F(ScreenshotTest, ProbesThenCapturesItsSizeAndLayers) {
    gScreen.format = 5;
    Screenshot screenshot(1280, 720);
    EXPECT_TRUE(logged(4, "ScreenshotClient pixel format = 5, 40, 5120, 32, 32. \n\n"));
    gScreen.format = 1;  // the display changes its format: the source keeps the one that it learned
    ASSERT_NE(screenshot.capture(), nullptr);
    EXPECT_EQ(screenshot.getFormat(), 5);
    screenshot.setMaxCaptureLayer(21000);
    screenshot.capture();
    EXPECT_THAT(gScreen.updates,
                testing::ElementsAre("5 of 32x32, layers 0 to 0", "7 of 1280x720, layers 0 to 4294967295",
                                     "7 of 1280x720, layers 0 to 21000"));
    EXPECT_EQ(screenshot.getStride(), 1288);
    EXPECT_EQ(screenshot.getSize(), 1288 * 720 * 4);
    EXPECT_EQ(gScreen.displayFetches, 1);
}

TEST_F(ScreenshotTest, FailuresAreLoggedAndKeepThePicture) {
    gScreen.result = android::PERMISSION_DENIED;
    Screenshot screenshot(64, 48);
    EXPECT_TRUE(logged(4, "ScreenshotClient update done, ret = -1"));
    EXPECT_EQ(screenshot.getcaptured(), nullptr);
    gScreen.result = android::OK;
    const auto* pixels = static_cast<uint8_t*>(screenshot.capture());
    ASSERT_NE(pixels, nullptr);
    const uint8_t shade = pixels[0];
    gScreen.result = android::DEAD_OBJECT;
    EXPECT_EQ(screenshot.capture(), nullptr);
    EXPECT_TRUE(logged(6, "screenshotClient->update failed, result=-32"));
    EXPECT_EQ(screenshot.getcaptured(), pixels);
    EXPECT_EQ(pixels[0], shade);
}

TEST_F(ScreenshotTest, ScreenInfoMeasuresAtEveryQuestion) {
    gScreen.width = 1080;
    EXPECT_EQ(ScreenInfo::getWidth(), 1080);
    gScreen.width = 1920;  // the display was turned
    gScreen.height = 1080;
    gScreen.format = 4;
    EXPECT_EQ(ScreenInfo::getWidth(), 1920);
    EXPECT_EQ(ScreenInfo::getHeight(), 1080);
    EXPECT_EQ(ScreenInfo::getFormat(), 4);
    EXPECT_EQ(gScreen.updates, std::vector<std::string>(4, "3 of 0x0, layers 0 to 0"));
    gScreen.result = android::DEAD_OBJECT;
    EXPECT_EQ(ScreenInfo::getWidth(), 0);
}

TEST_F(ScreenshotTest, ReopenEndsTheOldClientAndMakesANewOne) {
    android::ScreenshotClient* client = nullptr;
    reopenScreenshot(&client);
    ASSERT_NE(client, nullptr);
    reopenScreenshot(&client);
    EXPECT_EQ(gScreen.clientsMade, 2);
    EXPECT_EQ(gScreen.clientsAlive, 1);
    deleteScreenshotClient(client);
}

TEST_F(ScreenshotTest, ReleasedDisplayTokenIsFreedAndFetchedAgain) {
    const android::sp<android::IBinder> token = displayToken();
    releaseDisplay();
    EXPECT_EQ(token->getStrongCount(), 1) << "the room still holds the token";
    EXPECT_TRUE(displayToken() != nullptr);
    EXPECT_EQ(gScreen.displayFetches, 2);
}

}  // namespace
}  // namespace zem::test
