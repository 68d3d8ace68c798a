#include "tests/context/fake_media.h"

#include <memory>

#include "capture/display.h"
#include "capture/screen_info.h"
#include "capture/screenshot.h"
#include "codec/hardware_detection.h"
#include "context/kiv_context.h"

namespace zem::test {
namespace {

struct Pixels {
    std::vector<uint8_t> bytes;
    int stride = 32;
};

std::unique_ptr<FakeScreen> gScreen = std::make_unique<FakeScreen>();
Pixels gPixels;  // of the one Screenshot that lives

}  // namespace

FakeScreen& fakeScreen() {
    return *gScreen;
}

void resetFakeMedia() {
    KivContext::deleteInstance();
    gScreen = std::make_unique<FakeScreen>();
    resetFakeCodecs();
}

}  // namespace zem::test

using zem::test::fakeScreen;
using zem::test::gPixels;

Screenshot::Screenshot(int wantedWidth, int wantedHeight)
    : width(wantedWidth), height(wantedHeight), client(nullptr), maxLayer(0), format(fakeScreen().format) {
    ++fakeScreen().living;
    gPixels = {std::vector<uint8_t>(size_t{32} * 32 * 4), 32};  // the probe
}

Screenshot::~Screenshot() {
    gPixels = {};
    --fakeScreen().living;
}

void* Screenshot::capture() {
    if (fakeScreen().failing) {
        return nullptr;
    }
    gPixels.stride = fakeScreen().stride != 0 ? fakeScreen().stride : width;
    const int size = gPixels.stride * height * (format == 4 ? 2 : 4) - fakeScreen().missingBytes;
    // Freed and made anew, as a client does whose picture changes.
    gPixels.bytes = std::vector<uint8_t>(static_cast<size_t>(size));
    for (size_t i = 0; i < gPixels.bytes.size(); ++i) {
        gPixels.bytes[i] = static_cast<uint8_t>(i % 251);
    }
    ++fakeScreen().captures;
    return gPixels.bytes.data();
}

void* Screenshot::getcaptured() {
    return gPixels.bytes.data();
}
int Screenshot::getFormat() {
    return format;
}
int Screenshot::getSize() {
    return static_cast<int>(gPixels.bytes.size());
}
int Screenshot::getStride() {
    return gPixels.stride;
}
void Screenshot::setMaxCaptureLayer(unsigned int layer) {
    fakeScreen().maxLayer = layer;
}

int ScreenInfo::getWidth() {
    return 1111;
}
int ScreenInfo::getHeight() {
    return 2222;
}
int ScreenInfo::getFormat() {
    return 5;
}

void zem::releaseDisplay() {
    ++fakeScreen().displayReleases;
}

int GetHardwareBase() {
    return 0x2002;
}
