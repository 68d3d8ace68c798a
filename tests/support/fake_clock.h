// Clocks for tests. One remembers every sleep and wait that was asked for, and makes them short;
// the other is for tests of what must end a wait: the wait's own length does not.
#pragma once

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "base/clock.h"

namespace zem::test {

/// Installed for its lifetime. Sleeps and waits last 1/`divisor` of what was asked, so that threads
/// keep their order while a 3000 ms limit passes in 30 ms.
class FakeClock final : public Clock {
  public:
    explicit FakeClock(int64_t divisor = 100) : mDivisor(divisor) { setClock(this); }
    ~FakeClock() override { setClock(nullptr); }
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    void sleepMicros(int64_t micros) override {
        record(mSleeps, micros);
        if (onSleep) {
            onSleep(sleeps().size() - 1);
        }
        usleep(static_cast<useconds_t>(micros / mDivisor));
    }

    timespec deadlineAfterMicros(int64_t micros) override {
        record(mWaits, micros);
        timeval now{};
        gettimeofday(&now, nullptr);
        const int64_t total = now.tv_usec + micros / mDivisor;
        return {static_cast<time_t>(now.tv_sec + total / 1000000), static_cast<long>(total % 1000000) * 1000};
    }

    /// Acts in the middle of a sleep, whose number it gets, from 0. Set before threads sleep.
    std::function<void(size_t)> onSleep;

    /// The lengths in microseconds of all sleeps, all timed waits, and the sleeps and waits of the thread
    /// that made the clock, in order of their start.
    std::vector<int64_t> sleeps() const { return copy(mSleeps); }
    std::vector<int64_t> waits() const { return copy(mWaits); }
    std::vector<int64_t> ownPauses() const { return copy(mOwn); }
    /// How many sleeps or waits of exactly `micros` were asked for.
    long sleepsOf(int64_t micros) const { return count(sleeps(), micros); }
    long waitsOf(int64_t micros) const { return count(waits(), micros); }
    void forget() {
        std::lock_guard<std::mutex> lock(mMutex);
        for (auto* list : {&mSleeps, &mWaits, &mOwn}) {
            list->clear();
        }
    }

  private:
    void record(std::vector<int64_t>& list, int64_t micros) {
        std::lock_guard<std::mutex> lock(mMutex);
        list.push_back(micros);
        if (std::this_thread::get_id() == mThread) {
            mOwn.push_back(micros);
        }
    }
    std::vector<int64_t> copy(const std::vector<int64_t>& list) const {
        std::lock_guard<std::mutex> lock(mMutex);
        return list;
    }
    static long count(const std::vector<int64_t>& list, int64_t micros) {
        return static_cast<long>(std::count(list.begin(), list.end(), micros));
    }

    const int64_t mDivisor;
    const std::thread::id mThread = std::this_thread::get_id();
    mutable std::mutex mMutex;  // guards the lists
    std::vector<int64_t> mSleeps, mWaits, mOwn;
};

/// While it lives, waits last minutes unless they are ended by what they wait for, and sleeps hardly
/// anything. Engine threads may run: they use a clock that is never destroyed.
class LongWaits {
  public:
    explicit LongWaits(Clock& before) : mBefore(before) { setClock(&minutes()); }
    ~LongWaits() { setClock(&mBefore); }
    LongWaits(const LongWaits&) = delete;
    LongWaits& operator=(const LongWaits&) = delete;
    /// How many waits have begun.
    int waits() const { return minutes().waits - mWaitsBefore; }

  private:
    class MinuteClock final : public Clock {
      public:
        void sleepMicros(int64_t) override { usleep(100); }
        timespec deadlineAfterMicros(int64_t) override {
            ++waits;
            return {time(nullptr) + 300, 0};
        }
        std::atomic<int> waits{0};
    };
    static MinuteClock& minutes() {
        static MinuteClock& only = *new MinuteClock;
        return only;
    }
    Clock& mBefore;
    const int mWaitsBefore = minutes().waits;
};

}  // namespace zem::test
