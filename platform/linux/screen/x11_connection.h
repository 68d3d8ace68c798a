// One connection to an X server, and the reading of its root window.
#pragma once

#include <utils/Errors.h>
#include <xcb/xcb.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/linux/screen/bilinear.h"
#include "platform/linux/screen/opaque_rgba.h"
#include "platform/linux/screen/x11_handles.h"

namespace zem {

/// Owned and driven by one X11 screen, so by one thread at a time. Nothing here ends the process or calls
/// back when the server goes: every call then fails with DEAD_OBJECT. Callers hold a SigpipeGuard.
class X11Connection {
  public:
    /// Connects to what DISPLAY names. Null when no server answers, or (logged) when its pixels are none
    /// that we can read.
    static std::unique_ptr<X11Connection> open();
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    /// The root window's size of this moment; the set-up's goes stale when the screen is resized.
    android::status_t size(uint32_t* width, uint32_t* height);
    /// Reads a part of the root window into memory that is valid until the next read. UNKNOWN_ERROR when
    /// the server refuses, as it does when the screen has become smaller than that.
    android::status_t read(uint32_t left, uint32_t top, uint32_t width, uint32_t height, PixelView* pixels);
    /// The memory of the last read, to write in and to keep for longer: while it is kept the next read goes
    /// elsewhere, the one after that overwrites it. Null when it is not shared with the server.
    std::shared_ptr<SharedMemory> readMemory() const { return mShared ? mCurrent->memory : nullptr; }
    ByteOrder byteOrder() const { return mOrder; }

  private:
    struct Segment {
        uint32_t id = 0;                       // the server's; 0: not attached
        std::shared_ptr<SharedMemory> memory;  // grows with the screen, never shrinks
    };

    X11Connection(XcbHandle connection, xcb_window_t root, ByteOrder order);

    android::status_t failure() const;
    bool canShare() const;
    bool ensureSegment(size_t bytes);
    bool attach(std::shared_ptr<SharedMemory> memory);
    void detach();
    android::status_t readShared(const xcb_rectangle_t& area, size_t bytes, PixelView* pixels);
    android::status_t readCopied(const xcb_rectangle_t& area, size_t bytes, PixelView* pixels);

    const XcbHandle mConnection;
    const xcb_window_t mRoot;
    const ByteOrder mOrder;
    bool mShared;  // false: the server copies each picture through the socket
    Segment mSegments[2];
    Segment* mCurrent = &mSegments[0];       // of the last read
    XcbReply<xcb_get_image_reply_t> mImage;  // what the last copied read gave
};

}  // namespace zem
