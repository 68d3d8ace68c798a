// Size and pixel format of the main display.
#pragma once

#include <cstdint>

/// What one full-size capture tells about the main display. Nothing is remembered between calls: each
/// measures anew, at the cost of a full-screen capture, so that a rotation or a new resolution shows.
/// Meant for setting a session up. Any thread.
class ScreenInfo {
  public:
    /// Measures the display. All values are 0 when it cannot be captured.
    static ScreenInfo getInstance();

    /// Pixels.
    static int getWidth();
    /// Pixels.
    static int getHeight();
    /// The platform's number of the pixel format (1 = R,G,B,A bytes).
    static int getFormat();

  private:
    ScreenInfo();

    int32_t width;
    int32_t height;
    int32_t format;
};
