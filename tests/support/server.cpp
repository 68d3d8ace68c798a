#include "tests/support/server.h"

#include <signal.h>

#include <cstdlib>

namespace zem::test {
namespace {

// The shell says its number, which becomes the server's; the server then that of its display.
std::string xvfbCommand(int width, int height, const std::vector<std::string>& more) {
    std::string command = "echo $$; exec setpriv --pdeathsig TERM Xvfb -displayfd 1 -nolisten tcp -noreset";
    command += " -screen 0 " + std::to_string(width) + "x" + std::to_string(height) + "x24";
    for (const std::string& word : more) {
        command += " " + word;
    }
    return command + " 2>/dev/null";
}

// The shell is the server's parent, which removes its folder.
std::string soundCommand(const std::string& module) {
    return "exec setpriv --pdeathsig TERM bash -c '. " ZEM_SOUND_SERVER
           "; dir=$(mktemp -d); start_sound_server $dir ${1:+\"$1\"} &&"
           " echo $sound_server $PULSE_SERVER && exec >&- 2>/dev/null && wait; rm -rf $dir' sound '" +
           module + "'";
}

}  // namespace

Server::Server(const std::string& command, int endSignal)
    : mEndSignal(endSignal), mOutput(popen(command.c_str(), "re")) {
    char address[160] = "";
    if (mOutput != nullptr && fscanf(mOutput, "%d %159s", &mPid, address) == 2) {
        mAddress = address;
    }
}

void Server::stop() {
    if (mOutput != nullptr) {
        if (mPid > 0) {
            kill(mPid, mEndSignal);
        }
        pclose(mOutput);
        mOutput = nullptr;
    }
}

Xvfb::Xvfb(int width, int height, const std::vector<std::string>& more)
    : Server(xvfbCommand(width, height, more), SIGTERM) {}

SoundServer::SoundServer(const std::string& module) : Server(soundCommand(module), SIGKILL) {
    if (running()) {
        setenv("PULSE_SERVER", mAddress.c_str(), 1);
    }
}

}  // namespace zem::test
