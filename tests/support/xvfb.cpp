#include "tests/support/xvfb.h"

#include <signal.h>

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
    int display = 0;
    if (mOutput != nullptr && fscanf(mOutput, "%d %d", &mPid, &display) == 2) {
        mDisplay = ":" + std::to_string(display);
    }
}

void Xvfb::stop() {
    if (mOutput != nullptr) {
        kill(mPid, SIGTERM);
        pclose(mOutput);
        mOutput = nullptr;
    }
}

}  // namespace zem::test
