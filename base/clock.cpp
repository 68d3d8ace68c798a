#include "base/clock.h"

#include <atomic>
#include <cerrno>

#include "base/log.h"

namespace zem {
namespace {

class SystemClock final : public Clock {
  public:
    void sleepMicros(int64_t micros) override {
        if (micros <= 0) {
            return;
        }
        timespec left{static_cast<time_t>(micros / 1000000), static_cast<long>(micros % 1000000) * 1000};
        while (nanosleep(&left, &left) == -1 && errno == EINTR) {
        }
    }
};

SystemClock gSystemClock;
std::atomic<Clock*> gClock{&gSystemClock};

}  // namespace

timeval Clock::now() {
    timeval time{};
    gettimeofday(&time, nullptr);
    return time;
}

timespec Clock::deadlineAfterMicros(int64_t micros) {
    const timeval start = now();
    const int64_t total = start.tv_usec + micros;
    return {static_cast<time_t>(start.tv_sec + total / 1000000), static_cast<long>(total % 1000000) * 1000};
}

void setClock(Clock* clock) {
    gClock.store(clock != nullptr ? clock : &gSystemClock);
}

timeval now() {
    return gClock.load()->now();
}

void sleepMicros(int64_t micros) {
    gClock.load()->sleepMicros(micros);
}

void sleepMillis(int64_t millis) {
    sleepMicros(millis * 1000);
}

timespec deadlineAfterMillis(int64_t millis) {
    return gClock.load()->deadlineAfterMicros(millis * 1000);
}

int semWaitUntil(sem_t* semaphore, const timespec& deadline) {
    int result = 0;
    do {
        result = sem_timedwait(semaphore, &deadline);
    } while (result == -1 && errno == EINTR);
    return result;
}

}  // namespace zem

int semTimeWait(sem_t* semaphore, int milliseconds) {
    const int result = zem::semWaitUntil(semaphore, zem::deadlineAfterMillis(milliseconds));
    if (result == -1 && errno != ETIMEDOUT) {
        LOGE("%s, sem_timedwait return %d, errno=%d", "int semTimeWait(sem_t*, int)", result, errno);
    }
    return result;
}
