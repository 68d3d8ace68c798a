// An X server without a screen, for the life of a test.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

namespace zem::test {

/// Ends with the object, or with the thread that started it.
class Xvfb {
  public:
    /// Starts a server with one screen. `more` are further words for its command line: a display's number
    /// (":7"; a free one else) or options. Returns when it answers; running() is false when it could not be
    /// started.
    Xvfb(int width, int height, const std::vector<std::string>& more = {}, int depth = 24);
    ~Xvfb() { stop(); }
    Xvfb(const Xvfb&) = delete;
    Xvfb& operator=(const Xvfb&) = delete;

    bool running() const { return !mDisplay.empty(); }
    /// As DISPLAY wants it (":7"); also after stop().
    const std::string& display() const { return mDisplay; }
    /// Ends the server and waits for its end; connections to it break.
    void stop();

  private:
    FILE* mOutput = nullptr;  // the server's; popen's
    pid_t mPid = -1;
    std::string mDisplay;
};

}  // namespace zem::test
