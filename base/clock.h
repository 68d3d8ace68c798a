// Every sleep and every timed wait of the engine, so that tests can shorten them.
#pragma once

#include <semaphore.h>
#include <sys/time.h>
#include <time.h>

#include <cstdint>

namespace zem {

/// What the waits below ask for time. The default sleeps for real; a test may install one that
/// records the lengths and shortens them. Called from any thread.
class Clock {
  public:
    virtual ~Clock() = default;
    /// Blocks the calling thread for `micros` microseconds.
    virtual void sleepMicros(int64_t micros) = 0;
    /// The time of day.
    virtual timeval now();
    /// The absolute CLOCK_REALTIME time at which a wait of `micros`, 0 or more, that starts now is over.
    virtual timespec deadlineAfterMicros(int64_t micros);
};

/// Installs `clock` (not owned) for the whole process; null restores the real one. For tests, and
/// only while no engine thread runs.
void setClock(Clock* clock);

/// The time of day on the installed clock.
timeval now();

/// Sleeps for `micros` microseconds on the installed clock.
void sleepMicros(int64_t micros);

/// Sleeps for `millis` milliseconds on the installed clock.
void sleepMillis(int64_t millis);

/// The absolute time `millis` milliseconds from now on the installed clock, for sem_timedwait and
/// pthread_cond_timedwait.
timespec deadlineAfterMillis(int64_t millis);

/// Takes `semaphore`, waiting until the absolute `deadline` (CLOCK_REALTIME); interrupted waits go on.
/// Returns 0 when it was taken, else -1 with errno: ETIMEDOUT, or what is wrong.
int semWaitUntil(sem_t* semaphore, const timespec& deadline);

}  // namespace zem

/// Takes `semaphore`, waiting at most `milliseconds`. Returns 0 when it was taken, -1 on time-out or
/// error; an error other than a time-out is logged. Interrupted waits go on to the same deadline.
int semTimeWait(sem_t* semaphore, int milliseconds);
