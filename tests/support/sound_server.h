// A sound server without a sound card, for the life of a test.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

namespace zem::test {

/// As scripts/sound-server.sh starts it. Ends with the object, or with the thread that started it.
class SoundServer {
  public:
    /// Starts it with further modules ("module-sine sink=sys frequency=440") and names it in PULSE_SERVER.
    /// running() is false when it does not answer within ten seconds.
    explicit SoundServer(const std::vector<std::string>& modules = {});
    ~SoundServer();
    SoundServer(const SoundServer&) = delete;
    SoundServer& operator=(const SoundServer&) = delete;

    bool running() const { return mRunning; }
    /// Ends it at once, as a crash would; PULSE_SERVER goes on naming it.
    void stop();

  private:
    bool answers() const;

    std::string mFolder;
    FILE* mOutput = nullptr;  // the server's; popen's
    pid_t mPid = -1;
    bool mRunning = false;
};

}  // namespace zem::test
