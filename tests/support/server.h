// Servers for the life of a test, each a program of its own.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

namespace zem::test {

/// Ends with the object, or with the thread that started it.
class Server {
  public:
    ~Server() { stop(); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// False when it could not be started.
    bool running() const { return !mAddress.empty() && mOutput != nullptr; }
    /// Ends the server and waits for its end; connections to it break.
    void stop();

  protected:
    /// Starts a shell with `command`, which says the server's process id and then, when it answers, its
    /// address.
    Server(const std::string& command, int endSignal);

    std::string mAddress;

  private:
    const int mEndSignal;
    FILE* mOutput = nullptr;  // popen's
    pid_t mPid = -1;
};

/// An X server without a screen.
class Xvfb : public Server {
  public:
    /// Starts a server with one screen. `more` are further words for its command line: a display's number
    /// (":7"; a free one else) or options.
    Xvfb(int width, int height, const std::vector<std::string>& more = {});

    /// As DISPLAY wants it (":7"); also after stop().
    std::string display() const { return ":" + mAddress; }
};

/// A sound server without a sound card, as scripts/sound-server.sh starts it. stop() ends it as a crash
/// would.
class SoundServer : public Server {
  public:
    /// Starts it, with one module more unless `module` is empty, and names it in PULSE_SERVER, for good.
    explicit SoundServer(const std::string& module = "");
};

}  // namespace zem::test
