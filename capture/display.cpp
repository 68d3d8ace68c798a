#include "capture/display.h"

#include <gui/SurfaceComposerClient.h>

#include <cstdint>
#include <mutex>

namespace {

const int32_t displayId = 0;  // the built-in main display
std::mutex gDisplayLock;      // guards display
// Kept behind a reference: no destructor may take the token from a thread that still captures at exit.
android::sp<android::IBinder>& display = *new android::sp<android::IBinder>;

}  // namespace

namespace zem {

android::sp<android::IBinder> displayToken() {
    std::lock_guard<std::mutex> lock(gDisplayLock);
    if (display == nullptr) {
        display = android::SurfaceComposerClient::getBuiltInDisplay(displayId);
    }
    return display;
}

void releaseDisplay() {
    std::lock_guard<std::mutex> lock(gDisplayLock);
    display.clear();
}

}  // namespace zem
