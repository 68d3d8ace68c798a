// The compositor as its clients see it: the display's token, and captures of the composed display.
#ifndef ANDROID_GUI_SURFACE_COMPOSER_CLIENT_H
#define ANDROID_GUI_SURFACE_COMPOSER_CLIENT_H

#include <binder/IBinder.h>
#include <stddef.h>
#include <stdint.h>
#include <ui/PixelFormat.h>
#include <ui/Rect.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>

#include <memory>

namespace android {

class SurfaceComposerClient {
  public:
    /// The token of a display: 0 is the main one. Null for a display that there is not; Linux has one.
    static sp<IBinder> getBuiltInDisplay(int32_t id);
};

/// Captures the composed display into a buffer of its own: R,G,B,A bytes, alpha 255, rows without a gap.
/// On Linux the display is the root window of the X server that DISPLAY names; where none answers at the
/// client's first update it is a moving test card, for that client's life. When the X server goes away
/// later, updates fail (DEAD_OBJECT) and look for it again now and then.
/// Not thread-safe; any number of clients may live at once, each with a connection of its own.
/// The device's client also hands out its buffer queue (getCpuConsumer); there is none here.
class ScreenshotClient {
  public:
    ScreenshotClient();
    ~ScreenshotClient();
    ScreenshotClient(const ScreenshotClient&) = delete;
    ScreenshotClient& operator=(const ScreenshotClient&) = delete;

    /// Captures at the display's full size. `sourceCrop` all 0 means the whole display; an empty or inverted
    /// one elsewhere, or one that leaves the display, is BAD_VALUE. `useIdentityTransform` changes nothing
    /// here: an X screen is never rotated behind its clients' back. After an error the picture before it
    /// stays.
    status_t update(const sp<IBinder>& display, Rect sourceCrop, bool useIdentityTransform);
    /// Scaled to the size asked for; 0 keeps the source's own width or height. Sizes above 16384, and
    /// pictures whose bytes do not fit 31 bits, are BAD_VALUE.
    status_t update(const sp<IBinder>& display, Rect sourceCrop, uint32_t reqWidth, uint32_t reqHeight,
                    bool useIdentityTransform);
    /// An X screen has no layers: whatever the range, everything on it is captured. A range that ends
    /// before it starts is BAD_VALUE.
    status_t update(const sp<IBinder>& display, Rect sourceCrop, uint32_t reqWidth, uint32_t reqHeight,
                    uint32_t minLayerZ, uint32_t maxLayerZ, bool useIdentityTransform);
    /// Turned clockwise by `rotation` quarters (0..3, else BAD_VALUE) into the size asked for.
    status_t update(const sp<IBinder>& display, Rect sourceCrop, uint32_t reqWidth, uint32_t reqHeight,
                    uint32_t minLayerZ, uint32_t maxLayerZ, bool useIdentityTransform, uint32_t rotation);

    /// Drops the picture and what was needed to take it; the next update starts anew.
    void release();

    /// 0 before the first good update and after release. Valid until the next update or release.
    void const* getPixels() const;
    uint32_t getWidth() const;
    uint32_t getHeight() const;
    PixelFormat getFormat() const;
    /// Pixels.
    uint32_t getStride() const;
    /// Bytes: stride x height x bytes of a pixel.
    size_t getSize() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

}  // namespace android

#endif
