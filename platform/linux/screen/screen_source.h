// What a screenshot client captures from: an X11 screen, or the test card.
#pragma once

#include <ui/Rect.h>
#include <utils/Errors.h>

#include <cstdint>
#include <memory>

#include "platform/linux/screen/picture.h"

namespace zem {

/// What is asked of a source, as it came from outside: unchecked.
struct CaptureRequest {
    android::Rect crop;  // all 0: the whole screen
    uint32_t width = 0;  // pixels; 0: the crop's own
    uint32_t height = 0;
};

/// The part of the screen to read, and the size to bring it to: both checked.
struct CapturePlan {
    uint32_t left;
    uint32_t top;
    uint32_t sourceWidth;
    uint32_t sourceHeight;
    uint32_t width;
    uint32_t height;
};

/// Checks `request` against a screen of this size. BAD_VALUE for a crop that is empty (but not all 0) or
/// leaves the screen, for sizes above 16384 and for pictures that do not fit 31 bits.
android::status_t planCapture(const CaptureRequest& request, uint32_t screenWidth, uint32_t screenHeight,
                              CapturePlan* plan);

/// A screen. Owned and driven by one client, so by one thread at a time.
class ScreenSource {
  public:
    ScreenSource() = default;
    virtual ~ScreenSource() = default;
    ScreenSource(const ScreenSource&) = delete;
    ScreenSource& operator=(const ScreenSource&) = delete;

    /// Fills `picture`, or lends it pixels, which stay whole until the second capture after it while the
    /// picture keeps them. Leaves it untouched unless it returns OK.
    virtual android::status_t capture(const CaptureRequest& request, Picture* picture) = 0;
};

/// The X server that DISPLAY names; null when none answers or X11 is not built in.
std::unique_ptr<ScreenSource> openX11Screen();

/// A moving picture for machines without a screen.
std::unique_ptr<ScreenSource> makeTestCard();

}  // namespace zem
