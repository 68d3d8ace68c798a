#include "base/timing.h"

#include <fcntl.h>
#include <unistd.h>

#include <mutex>

#include "base/clock.h"
#include "base/log.h"

namespace {

constexpr int kTypes = 4;
constexpr int kAveraged = 100;

struct DelaySum {
    int count;
    unsigned millis;
};

std::mutex gDelayLock;  // guards the two below
DelaySum gDelays[kTypes] = {};
unsigned gLastTick = 0;  // of all types: the delay is that between any two events

}  // namespace

unsigned getTimeTick() {
    const timeval time = zem::now();
    return static_cast<unsigned>(time.tv_sec) * 1000U + static_cast<unsigned>(time.tv_usec / 1000);
}

int getTimeDelay(int type) {
    if (type < 0 || type >= kTypes) {
        return 0;
    }
    const std::lock_guard<std::mutex> lock(gDelayLock);
    const unsigned tick = getTimeTick();
    DelaySum& delay = gDelays[type];
    delay.count++;
    delay.millis += tick - gLastTick;
    gLastTick = tick;
    if (delay.count >= kAveraged) {
        LOGE("## TYPE <%d> delay (avg of %d times) : %d.", type, kAveraged,
             static_cast<int>(delay.millis) / kAveraged);
        delay = {};
    }
    return static_cast<int>(delay.millis);
}

timespec* setDelayTimeout(int ms, timespec* ts) {
    *ts = zem::deadlineAfterMillis(ms);
    return ts;
}

void saveAsFile(char* path, uint8_t* data, int size) {
    const int file = path != nullptr ? open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0664) : -1;
    if (file < 0) {
        LOGE("%s cannot open %s to save", "void saveAsFile(char*, uint8_t*, int)",
             path != nullptr ? path : "(null)");
        return;
    }
    if (data != nullptr && size > 0) {
        [[maybe_unused]] const ssize_t written = write(file, data, static_cast<size_t>(size));
    }
    close(file);
}
