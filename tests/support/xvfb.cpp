#include "tests/support/xvfb.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace zem::test {
namespace {

constexpr int kStartMillis = 20000;
constexpr int kNumberFd = 3;  // where the server writes its display's number once it answers

[[noreturn]] void runServer(int numberPipe, char* const* arguments) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    if (numberPipe == kNumberFd) {
        fcntl(kNumberFd, F_SETFD, 0);
    } else {
        dup2(numberPipe, kNumberFd);
    }
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    execvp(arguments[0], arguments);
    _exit(127);
}

/// What the server writes up to the end of the line; empty when it ends or takes too long.
std::string readNumber(int fd) {
    std::string number;
    char next = 0;
    pollfd ready{fd, POLLIN, 0};
    while (poll(&ready, 1, kStartMillis) == 1 && read(fd, &next, 1) == 1) {
        if (next == '\n') {
            return number;
        }
        number += next;
    }
    return "";
}

}  // namespace

Xvfb::Xvfb(int width, int height, const std::vector<std::string>& more, int depth) {
    const std::string screen =
        std::to_string(width) + "x" + std::to_string(height) + "x" + std::to_string(depth);
    std::vector<std::string> words{"Xvfb",      "-displayfd", std::to_string(kNumberFd),
                                   "-screen",   "0",          screen,
                                   "-nolisten", "tcp",        "-noreset"};
    words.insert(words.end(), more.begin(), more.end());
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);

    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return;
    }
    mPid = fork();
    if (mPid == 0) {
        runServer(ends[1], arguments.data());
    }
    close(ends[1]);
    const std::string number = readNumber(ends[0]);
    close(ends[0]);
    if (number.empty()) {
        stop();
        return;
    }
    mDisplay = ":" + number;
}

Xvfb::~Xvfb() {
    stop();
}

void Xvfb::stop() {
    if (mPid > 0) {
        kill(mPid, SIGTERM);
        waitpid(mPid, nullptr, 0);
    }
    mPid = -1;
}

ScopedEnvironment::ScopedEnvironment(const char* name, const char* value)
    : mName(name), mWasSet(getenv(name) != nullptr) {
    if (mWasSet) {
        mBefore = getenv(name);
    }
    if (value != nullptr) {
        setenv(name, value, 1);
    } else {
        unsetenv(name);
    }
}

ScopedEnvironment::~ScopedEnvironment() {
    if (mWasSet) {
        setenv(mName.c_str(), mBefore.c_str(), 1);
    } else {
        unsetenv(mName.c_str());
    }
}

}  // namespace zem::test
