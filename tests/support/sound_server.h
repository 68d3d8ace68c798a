// A sound server without a sound card, for the life of a test.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>

namespace zem::test {

/// As scripts/sound-server.sh starts it. Ends with the object, or with the thread that started it.
class SoundServer {
  public:
    /// Starts it, with one module more unless `module` is empty, and names it in PULSE_SERVER. running() is
    /// false when it does not start.
    explicit SoundServer(const std::string& module = "");
    ~SoundServer() { stop(); }
    SoundServer(const SoundServer&) = delete;
    SoundServer& operator=(const SoundServer&) = delete;

    bool running() const { return mPid > 0; }
    /// Ends it at once, as a crash would; PULSE_SERVER goes on naming it.
    void stop();

  private:
    FILE* mShell = nullptr;  // popen's: the server's parent, which removes its folder
    pid_t mPid = -1;
};

}  // namespace zem::test
