#include "capture/screenshot.h"

#include <ui/Rect.h>

#include "base/log.h"
#include "capture/display.h"
#include "capture/screenshot_client.h"

namespace {

constexpr uint32_t kAllLayers = 0xFFFFFFFF;
constexpr uint32_t kProbeSize = 32;  // enough to learn the format, and cheap

// "No crop". Zeros written out: the platform's Rect() leaves its members unset.
android::Rect wholeDisplay() {
    return android::Rect(0, 0);
}

}  // namespace

Screenshot::Screenshot(int requestedWidth, int requestedHeight)
    : width(requestedWidth), height(requestedHeight), client(nullptr), maxLayer(kAllLayers), format(0) {
    LOGI("ScreenshotClient update start");
    client = zem::newScreenshotClient();
    const android::status_t ret =
        client->update(zem::displayToken(), wholeDisplay(), kProbeSize, kProbeSize, false);
    format = client->getFormat();
    LOGI("ScreenshotClient update done, ret = %d", ret);
    LOGI("ScreenshotClient pixel format = %d, %d, %d, %d, %d. \n\n", format,
         static_cast<int>(client->getStride()), static_cast<int>(client->getSize()),
         static_cast<int>(client->getWidth()), static_cast<int>(client->getHeight()));
}

Screenshot::~Screenshot() {
    zem::deleteScreenshotClient(client);
}

void* Screenshot::capture() {
    const android::status_t ret =
        client->update(zem::displayToken(), wholeDisplay(), static_cast<uint32_t>(width),
                       static_cast<uint32_t>(height), 0, maxLayer, false);
    if (ret != 0) {
        LOGE("screenshotClient->update failed, result=%d", ret);
        return nullptr;
    }
    return getcaptured();
}

void* Screenshot::getcaptured() {
    // Sources hand out writable pixels; the client only lends them const.
    return const_cast<void*>(client->getPixels());
}

int Screenshot::getFormat() {
    return format;
}

int Screenshot::getSize() {
    return static_cast<int>(client->getSize());
}

int Screenshot::getStride() {
    return static_cast<int>(client->getStride());
}

void Screenshot::setMaxCaptureLayer(unsigned int layer) {
    maxLayer = layer;
}

void reopenScreenshot(android::ScreenshotClient** slot) {
    zem::deleteScreenshotClient(*slot);
    *slot = zem::newScreenshotClient();
}
