// A POSIX semaphore as a member: initialised to 0, destroyed with its owner.
#pragma once

#include <semaphore.h>

#include "base/clock.h"

namespace zem {

class Semaphore {
  public:
    Semaphore() { sem_init(&mSemaphore, 0, 0); }
    ~Semaphore() { sem_destroy(&mSemaphore); }
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    void post() { sem_post(&mSemaphore); }
    /// True when it was posted, false when the time was up.
    bool wait(int milliseconds) { return semTimeWait(&mSemaphore, milliseconds) == 0; }
    /// True when it was posted, false past the absolute `deadline` (CLOCK_REALTIME).
    bool waitUntil(const timespec& deadline) { return semWaitUntil(&mSemaphore, deadline) == 0; }
    /// Takes one pending post, if there is one.
    void tryWait() { sem_trywait(&mSemaphore); }
    /// Takes all pending posts.
    void drain() {
        while (sem_trywait(&mSemaphore) == 0) {
        }
    }

  private:
    sem_t mSemaphore{};
};

}  // namespace zem
