// Draws on an X server's root window, and changes its size.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <string>

namespace zem::test {

class XPainter {
  public:
    explicit XPainter(const std::string& display);
    ~XPainter();
    XPainter(const XPainter&) = delete;
    XPainter& operator=(const XPainter&) = delete;

    /// Fills a rectangle with 0xRRGGBB; it is on the screen when the call returns.
    void fill(uint32_t rgb, int16_t x, int16_t y, uint16_t width, uint16_t height);
    /// Makes the screen this large (at most as large as it began). False when the server refuses.
    bool resize(uint16_t width, uint16_t height);

  private:
    void switchOffOutput();

    xcb_connection_t* mConnection;
    xcb_window_t mRoot;
};

}  // namespace zem::test
