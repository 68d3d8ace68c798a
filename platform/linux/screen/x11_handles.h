// Owners of what X11 captures borrow from outside: connection, replies, shared memory, signal state.
#pragma once

#include <signal.h>
#include <xcb/xcb.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace zem {

struct XcbDisconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using XcbHandle = std::unique_ptr<xcb_connection_t, XcbDisconnect>;

struct XcbFree {
    void operator()(void* reply) const { free(reply); }
};
/// A reply or an error of the X server.
template <typename T>
using XcbReply = std::unique_ptr<T, XcbFree>;

/// A memory file mapped here; the file outlives no process, whatever way that ends.
class SharedMemory {
  public:
    /// Empty (data() null) when the system refuses.
    explicit SharedMemory(size_t size);
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    uint8_t* data() const { return mData; }
    size_t size() const { return mSize; }
    /// Hands the file's descriptor to the caller, who closes it; the mapping stays.
    int releaseFd();

  private:
    int mFd = -1;
    uint8_t* mData = nullptr;
    size_t mSize = 0;
};

/// Keeps a write to a server that has gone from ending the process: the XCB library looks before it writes,
/// but a server can end between the two, and the write then raises SIGPIPE. Holds that signal back from this
/// thread while it lives, and takes away one that arose in the meantime.
class SigpipeGuard {
  public:
    SigpipeGuard();
    ~SigpipeGuard();
    SigpipeGuard(const SigpipeGuard&) = delete;
    SigpipeGuard& operator=(const SigpipeGuard&) = delete;

  private:
    sigset_t mBefore;
    bool mWasPending;
};

}  // namespace zem
