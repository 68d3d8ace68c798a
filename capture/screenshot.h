// The screen as a frame source: captures the composed display, scaled to the size asked for.
#pragma once

#include <gui/SurfaceComposerClient.h>

#include <cstdint>

#include "capture/video_input.h"

/// Captures the main display through the platform's screenshot client. Not thread-safe, as its base.
class Screenshot final : public VideoInput {
  public:
    /// Sizes in pixels of every later capture. Takes a 32x32 probe to learn the pixel format; until the
    /// first capture the picture is that probe. A failed probe is only logged.
    Screenshot(int width, int height);
    ~Screenshot() override;

    /// A failed capture is logged and keeps the picture before it.
    void* capture() override;
    void* getcaptured() override;
    /// The format found at construction, also when the display's changes later.
    int getFormat() override;
    int getSize() override;
    int getStride() override;
    /// Takes effect at the next capture; by default every layer is captured.
    void setMaxCaptureLayer(unsigned int layer) override;

  private:
    const int32_t width;
    const int32_t height;
    android::ScreenshotClient* client;  // owned
    uint32_t maxLayer;
    int32_t format;
};

/// Ends the client in `*slot` (null: none) and puts a new one in its place. The slot then owns a client
/// made by newScreenshotClient (capture/screenshot_client.h).
__attribute__((visibility("default"))) void reopenScreenshot(android::ScreenshotClient** slot);
