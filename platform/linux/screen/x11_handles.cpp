#include "platform/linux/screen/x11_handles.h"

#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <utility>

namespace zem {
namespace {

sigset_t sigpipeOnly() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

bool sigpipePending() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace

SharedMemory::SharedMemory(size_t size) {
    mFd = memfd_create("screen", MFD_CLOEXEC);
    if (mFd < 0 || ftruncate(mFd, static_cast<off_t>(size)) != 0) {
        return;
    }
    void* data = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, mFd, 0);
    if (data != MAP_FAILED) {
        mData = static_cast<uint8_t*>(data);
        mSize = size;
    }
}

SharedMemory::~SharedMemory() {
    if (mData != nullptr) {
        munmap(mData, mSize);
    }
    if (mFd >= 0) {
        close(mFd);
    }
}

int SharedMemory::releaseFd() {
    return std::exchange(mFd, -1);
}

SigpipeGuard::SigpipeGuard() : mBefore{}, mWasPending(sigpipePending()) {
    const sigset_t set = sigpipeOnly();
    pthread_sigmask(SIG_BLOCK, &set, &mBefore);
}

SigpipeGuard::~SigpipeGuard() {
    if (!mWasPending && sigpipePending()) {
        const sigset_t set = sigpipeOnly();
        const timespec now{};
        sigtimedwait(&set, nullptr, &now);
    }
    pthread_sigmask(SIG_SETMASK, &mBefore, nullptr);
}

}  // namespace zem
