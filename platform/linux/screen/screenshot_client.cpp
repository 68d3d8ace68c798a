#include <gui/SurfaceComposerClient.h>

#include <atomic>
#include <cstdlib>
#include <utility>

#include "base/log.h"
#include "platform/linux/screen/screen_source.h"

namespace android {
namespace {

constexpr uint32_t kAllLayers = 0xFFFFFFFF;
constexpr uint32_t kTurns = 4;

/// The screen as this moment's environment offers it. The card is announced once, and again only after
/// an X server was found in between: a session makes a client for every question about the screen.
std::unique_ptr<zem::ScreenSource> openSource() {
    static std::atomic<bool> announced{false};
    std::unique_ptr<zem::ScreenSource> screen = zem::openX11Screen();
    if (screen) {
        announced = false;
        return screen;
    }
    if (!announced.exchange(true)) {
        const char* name = getenv("DISPLAY");
        LOGW("No X server to capture (DISPLAY is \"%s\"): the screen is a moving test card",
             name != nullptr ? name : "");
    }
    return zem::makeTestCard();
}

}  // namespace

struct ScreenshotClient::Impl {
    std::unique_ptr<zem::ScreenSource> source;  // chosen at the first update
    zem::Picture picture;
    zem::Picture unturned;  // work space of turned captures

    status_t captureTurned(zem::CaptureRequest request, uint32_t quarters);
};

status_t ScreenshotClient::Impl::captureTurned(zem::CaptureRequest request, uint32_t quarters) {
    if (quarters != 2) {
        std::swap(request.width, request.height);
    }
    const status_t status = source->capture(request, &unturned);
    if (status != OK) {
        return status;
    }
    const bool turned = zem::turnPicture(unturned, quarters, &picture);
    unturned.giveBack();
    return turned ? OK : NO_MEMORY;
}

ScreenshotClient::ScreenshotClient() : mImpl(std::make_unique<Impl>()) {}

ScreenshotClient::~ScreenshotClient() = default;

status_t ScreenshotClient::update(const sp<IBinder>& display, Rect sourceCrop, bool useIdentityTransform) {
    return update(display, sourceCrop, 0, 0, useIdentityTransform);
}

status_t ScreenshotClient::update(const sp<IBinder>& display, Rect sourceCrop, uint32_t reqWidth,
                                  uint32_t reqHeight, bool useIdentityTransform) {
    return update(display, sourceCrop, reqWidth, reqHeight, 0, kAllLayers, useIdentityTransform);
}

status_t ScreenshotClient::update(const sp<IBinder>& display, Rect sourceCrop, uint32_t reqWidth,
                                  uint32_t reqHeight, uint32_t minLayerZ, uint32_t maxLayerZ,
                                  bool useIdentityTransform) {
    return update(display, sourceCrop, reqWidth, reqHeight, minLayerZ, maxLayerZ, useIdentityTransform, 0);
}

status_t ScreenshotClient::update(const sp<IBinder>& display, Rect sourceCrop, uint32_t reqWidth,
                                  uint32_t reqHeight, uint32_t minLayerZ, uint32_t maxLayerZ,
                                  bool /*useIdentityTransform*/, uint32_t rotation) {
    if (display == nullptr || display != SurfaceComposerClient::getBuiltInDisplay(0)) {
        return NAME_NOT_FOUND;
    }
    if (minLayerZ > maxLayerZ || rotation >= kTurns) {
        return BAD_VALUE;
    }
    if (!mImpl->source) {
        mImpl->source = openSource();
    }
    const zem::CaptureRequest request{sourceCrop, reqWidth, reqHeight};
    return rotation == 0 ? mImpl->source->capture(request, &mImpl->picture)
                         : mImpl->captureTurned(request, rotation);
}

void ScreenshotClient::release() {
    mImpl = std::make_unique<Impl>();
}

void const* ScreenshotClient::getPixels() const {
    return mImpl->picture.pixels();
}

uint32_t ScreenshotClient::getWidth() const {
    return mImpl->picture.width();
}

uint32_t ScreenshotClient::getHeight() const {
    return mImpl->picture.height();
}

PixelFormat ScreenshotClient::getFormat() const {
    return getPixels() != nullptr ? PIXEL_FORMAT_RGBA_8888 : PIXEL_FORMAT_NONE;
}

uint32_t ScreenshotClient::getStride() const {
    return getWidth();
}

size_t ScreenshotClient::getSize() const {
    return size_t{getStride()} * getHeight() * sizeof(zem::Rgba);
}

}  // namespace android
