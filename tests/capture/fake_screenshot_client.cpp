// Linked before the platform's library, whose own client it stands in front of.
#include "tests/capture/fake_screenshot_client.h"

#include <binder/Binder.h>
#include <gui/SurfaceComposerClient.h>

#include <cstring>

namespace zem::test {

FakeScreen& fakeScreen() {
    static FakeScreen screen;
    return screen;
}

}  // namespace zem::test

namespace android {
namespace {

// What the largest known release's class takes; its constructor writes all of it.
constexpr size_t kDeviceClientSize = 112;

}  // namespace

using zem::test::fakeScreen;

struct ScreenshotClient::Impl {
    std::vector<uint8_t> pixels;
    uint32_t width = 0;
    uint32_t height = 0;
    int32_t format = 0;

    status_t update(const zem::test::FakeUpdate& asked) {
        fakeScreen().updates.push_back(asked);
        if (fakeScreen().result != OK) {
            return fakeScreen().result;
        }
        width = asked.width != 0 ? asked.width : fakeScreen().width;
        height = asked.height != 0 ? asked.height : fakeScreen().height;
        format = fakeScreen().format;
        const auto shade = static_cast<uint8_t>(fakeScreen().updates.size());
        pixels.assign(size_t{width + 8} * height * 4, shade);  // rows with a gap, as a device's may have
        return OK;
    }
};

sp<IBinder> SurfaceComposerClient::getBuiltInDisplay(int32_t id) {
    ++fakeScreen().displayFetches;
    return id == 0 ? sp<IBinder>(new BBinder) : sp<IBinder>();
}

ScreenshotClient::ScreenshotClient() {
    auto* volatile tail = reinterpret_cast<uint8_t*>(this);  // the device's class is larger than its header
    memset(tail + sizeof(ScreenshotClient), 0, kDeviceClientSize - sizeof(ScreenshotClient));
    mImpl = std::make_unique<Impl>();
    ++fakeScreen().clientsMade;
    ++fakeScreen().clientsAlive;
}

ScreenshotClient::~ScreenshotClient() {
    --fakeScreen().clientsAlive;
}

status_t ScreenshotClient::update(const sp<IBinder>& display, Rect crop, bool identity) {
    return mImpl->update({3, display != nullptr, crop, 0, 0, 0, 0, identity});
}

status_t ScreenshotClient::update(const sp<IBinder>& display, Rect crop, uint32_t width, uint32_t height,
                                  bool identity) {
    return mImpl->update({5, display != nullptr, crop, width, height, 0, 0, identity});
}

status_t ScreenshotClient::update(const sp<IBinder>& display, Rect crop, uint32_t width, uint32_t height,
                                  uint32_t minLayer, uint32_t maxLayer, bool identity) {
    return mImpl->update({7, display != nullptr, crop, width, height, minLayer, maxLayer, identity});
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
