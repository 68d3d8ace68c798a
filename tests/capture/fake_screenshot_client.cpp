// Linked before the platform's library, whose own client it stands in front of.
#include "tests/capture/fake_screenshot_client.h"

#include <binder/Binder.h>
#include <gui/SurfaceComposerClient.h>
#include <ui/Rect.h>

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

bool isPlain(const sp<IBinder>& display, const Rect& crop, bool identity) {
    return display != nullptr && crop.left == 0 && crop.top == 0 && crop.right == 0 && crop.bottom == 0 &&
           !identity;
}

}  // namespace

using zem::test::fakeScreen;

struct ScreenshotClient::Impl {
    std::vector<uint8_t> pixels;
    uint32_t width = 0;
    uint32_t height = 0;
    int32_t format = 0;

    status_t update(int arguments, bool plain, uint32_t w, uint32_t h, uint32_t minLayer, uint32_t maxLayer) {
        fakeScreen().updates.push_back(std::to_string(arguments) + " of " + std::to_string(w) + "x" +
                                       std::to_string(h) + ", layers " + std::to_string(minLayer) + " to " +
                                       std::to_string(maxLayer) +
                                       (plain ? "" : ", not of the whole display"));
        if (fakeScreen().result != OK) {
            return fakeScreen().result;
        }
        width = w != 0 ? w : fakeScreen().width;
        height = h != 0 ? h : fakeScreen().height;
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
