// A clock for tests that act in the middle of a sleep: sleeps take no time, each runs a step of the test.
#pragma once

#include <time.h>

#include <functional>
#include <vector>

#include "base/clock.h"

namespace zem::test {

/// Installed for its lifetime. For code that sleeps on one thread and waits on none.
class SteppedClock final : public Clock {
  public:
    /// `step` gets the number of the sleep, from 0.
    explicit SteppedClock(std::function<void(size_t)> step) : mStep(std::move(step)) { setClock(this); }
    ~SteppedClock() override { setClock(nullptr); }
    SteppedClock(const SteppedClock&) = delete;
    SteppedClock& operator=(const SteppedClock&) = delete;

    void sleepMicros(int64_t micros) override {
        sleeps.push_back(micros);
        mStep(sleeps.size() - 1);
    }
    timespec deadlineAfterMicros(int64_t /*micros*/) override { return {}; }

    std::vector<int64_t> sleeps;  // microseconds asked for, in order

  private:
    const std::function<void(size_t)> mStep;
};

}  // namespace zem::test
