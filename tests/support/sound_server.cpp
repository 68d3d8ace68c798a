#include "tests/support/sound_server.h"

#include <signal.h>

#include <cstdlib>
#include <cstring>

namespace zem::test {

SoundServer::SoundServer(const std::string& module) {
    const std::string command =
        "exec setpriv --pdeathsig TERM bash -c '. " ZEM_SOUND_SERVER
        "; dir=$(mktemp -d); start_sound_server $dir ${1:+\"$1\"} &&"
        " echo $sound_server $PULSE_SERVER && exec >&- 2>/dev/null && wait; rm -rf $dir' sound '" +
        module + "'";
    mShell = popen(command.c_str(), "re");
    char line[160];
    if (mShell != nullptr && fgets(line, sizeof line, mShell) != nullptr) {
        char* address = nullptr;
        mPid = static_cast<pid_t>(strtol(line, &address, 10));
        setenv("PULSE_SERVER", strtok(address, " \n"), 1);
    }
}

void SoundServer::stop() {
    if (mPid > 0) {
        kill(mPid, SIGKILL);
    }
    if (mShell != nullptr) {
        pclose(mShell);
    }
    mPid = -1;
    mShell = nullptr;
}

}  // namespace zem::test
