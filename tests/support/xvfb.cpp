#include "tests/support/xvfb.h"

#include <signal.h>

#include <cstdlib>

namespace zem::test {

// The shell says its number, which becomes the server's; the server then that of its display.
Xvfb::Xvfb(int width, int height, const std::vector<std::string>& more, int depth) {
    std::string command = "echo $$; exec setpriv --pdeathsig TERM Xvfb -displayfd 1 -nolisten tcp -noreset";
    command +=
        " -screen 0 " + std::to_string(width) + "x" + std::to_string(height) + "x" + std::to_string(depth);
    for (const std::string& word : more) {
        command += " " + word;
    }
    command += " 2>/dev/null";
    mOutput = popen(command.c_str(), "re");
    char process[16];
    char display[16];
    if (mOutput != nullptr && fgets(process, sizeof process, mOutput) != nullptr) {
        mPid = static_cast<pid_t>(strtol(process, nullptr, 10));
        if (fgets(display, sizeof display, mOutput) != nullptr) {
            mDisplay = std::string(":") + std::to_string(strtol(display, nullptr, 10));
        }
    }
}

void Xvfb::stop() {
    if (mOutput != nullptr) {
        if (mPid > 0) {
            kill(mPid, SIGTERM);
        }
        pclose(mOutput);
        mOutput = nullptr;
    }
}

}  // namespace zem::test
