// A clock for tests of what must end a wait: the wait's own length does not.
#pragma once

#include <time.h>
#include <unistd.h>

#include "base/clock.h"

namespace zem::test {

/// While it lives, waits last minutes unless they are ended by what they wait for, and sleeps hardly
/// anything. Engine threads may run: they use a clock that is never destroyed.
class LongWaits {
  public:
    explicit LongWaits(Clock& before) : mBefore(before) {
        static MinuteClock& minutes = *new MinuteClock;
        setClock(&minutes);
    }
    ~LongWaits() { setClock(&mBefore); }
    LongWaits(const LongWaits&) = delete;
    LongWaits& operator=(const LongWaits&) = delete;

  private:
    class MinuteClock final : public Clock {
      public:
        void sleepMicros(int64_t) override { usleep(100); }
        timespec deadlineAfterMicros(int64_t) override { return {time(nullptr) + 300, 0}; }
    };
    Clock& mBefore;
};

}  // namespace zem::test
