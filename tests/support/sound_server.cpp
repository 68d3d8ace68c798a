#include "tests/support/sound_server.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace zem::test {

// The shell says its number, which becomes the server's.
SoundServer::SoundServer(const std::vector<std::string>& modules) {
    char folder[] = "/tmp/zem-sound-XXXXXX";
    mFolder = mkdtemp(folder);
    std::string command = "echo $$; exec setpriv --pdeathsig TERM bash -c '. " ZEM_SOUND_SERVER
                          "; exec_sound_server \"$@\"' sound-server " +
                          mFolder;
    for (const std::string& module : modules) {
        command += " '" + module + "'";
    }
    mOutput = popen(command.c_str(), "re");
    char process[16];
    if (mOutput != nullptr && fgets(process, sizeof process, mOutput) != nullptr) {
        mPid = static_cast<pid_t>(strtol(process, nullptr, 10));
    }
    for (int i = 0; i < 200 && !mRunning; ++i) {
        usleep(50000);
        mRunning = answers();
    }
    setenv("PULSE_SERVER", ("unix:" + mFolder + "/native").c_str(), 1);
}

SoundServer::~SoundServer() {
    stop();
    if (system(("rm -rf " + mFolder).c_str()) != 0) {
        perror("rm");
    }
}

bool SoundServer::answers() const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, (mFolder + "/native").c_str(), sizeof address.sun_path - 1);
    const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool connected = connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(client);
    return connected;
}

void SoundServer::stop() {
    if (mOutput != nullptr) {
        if (mPid > 0) {
            kill(mPid, SIGKILL);
        }
        pclose(mOutput);
        mOutput = nullptr;
    }
}

}  // namespace zem::test
