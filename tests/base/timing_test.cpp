// Proves the clock arithmetic at its edges. Would catch a nanosecond field that runs over its second, a
// delay measured from the same type's last event, a sum that does not start anew.
#include "base/timing.h"

#include <gtest/gtest.h>

#include <climits>

#include "base/clock.h"
#include "tests/support/log_capture.h"

namespace {

class StoppedClock final : public zem::Clock {
  public:
    StoppedClock() { zem::setClock(this); }
    ~StoppedClock() override { zem::setClock(nullptr); }
    void sleepMicros(int64_t) override {}
    timeval now() override { return time; }
    timeval time{};
};

TEST(Timing, DeadlinesCarry) {
    StoppedClock clock;
    struct Case {
        timeval now;
        int ms;
        timespec deadline;
    };
    for (const Case& c : {Case{{12, 700000}, 1500, {14, 200000000}}, Case{{12, 600000}, 400, {13, 0}},
                          Case{{12, 999999}, 999, {13, 998999000}}, Case{{7, 0}, 0, {7, 0}}}) {
        clock.time = c.now;
        timespec deadline{};
        EXPECT_EQ(setDelayTimeout(c.ms, &deadline), &deadline);
        EXPECT_EQ(deadline.tv_sec, c.deadline.tv_sec);
        EXPECT_EQ(deadline.tv_nsec, c.deadline.tv_nsec);
    }
}

TEST(Timing, DelaysAddUpAndWrap) {
    StoppedClock clock;
    clock.time = {4294968, 1000};  // past the 32 bits
    EXPECT_EQ(getTimeTick(), 705U);
    EXPECT_EQ(getTimeDelay(0), 705) << "the first measures from 0";
    for (const int type : {-1, 4, INT_MAX, INT_MIN}) {
        EXPECT_EQ(getTimeDelay(type), 0);
    }
    clock.time.tv_usec += 30000;
    EXPECT_EQ(getTimeDelay(3), 30) << "from the last event of any type";
    clock.time.tv_usec += 10000;
    for (int i = 2; i < 100; i++) {
        EXPECT_EQ(getTimeDelay(0), 715);
    }
    EXPECT_EQ(getTimeDelay(0), 0);
    EXPECT_TRUE(zem::test::logged(6, "## TYPE <0> delay (avg of 100 times) : 7."));
    clock.time.tv_usec -= 5000;
    EXPECT_EQ(getTimeDelay(3), 25) << "time that is set back";
}

}  // namespace
