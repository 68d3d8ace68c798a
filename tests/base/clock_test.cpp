// Proves that the timed waits end when they should, whatever interrupts them.
#include "base/clock.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include "tests/support/fake_clock.h"
#include "tests/support/log_capture.h"

namespace {

double secondsOf(const timespec& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Catches a nanosecond field that runs over its second, which sem_timedwait refuses with EINVAL.
TEST(Clock, DeadlineIsNormalisedAndInTheFuture) {
    for (int millis : {0, 1, 400, 999, 1000, 2500}) {
        const double before = static_cast<double>(time(nullptr));
        const timespec deadline = zem::deadlineAfterMillis(millis);
        EXPECT_GE(deadline.tv_nsec, 0);
        EXPECT_LT(deadline.tv_nsec, 1000000000);
        EXPECT_GE(secondsOf(deadline), before + millis / 1000.0);
        EXPECT_LT(secondsOf(deadline), before + millis / 1000.0 + 30);
    }
}

TEST(SemTimeWait, TakesPostedSemaphoreAndTimesOutOnEmptyOne) {
    zem::test::FakeClock clock;
    sem_t semaphore;
    ASSERT_EQ(sem_init(&semaphore, 0, 1), 0);
    EXPECT_EQ(semTimeWait(&semaphore, 3000), 0);
    EXPECT_EQ(semTimeWait(&semaphore, 3000), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(clock.waitsOf(3000000), 2);
    EXPECT_EQ(zem::test::loggedCount("sem_timedwait"), 0) << "a time-out is no error";
    sem_destroy(&semaphore);
}

// Catches a wait that gives up, or starts its time anew, when a signal reaches the thread.
TEST(SemTimeWait, SignalsDoNotEndTheWait) {
    struct sigaction action {};
    struct sigaction old {};
    action.sa_handler = [](int) {};  // no SA_RESTART: the wait is interrupted
    sigaction(SIGUSR1, &action, &old);
    sem_t semaphore;
    ASSERT_EQ(sem_init(&semaphore, 0, 0), 0);
    std::atomic<int> result{7};
    std::thread waiter([&] { result = semTimeWait(&semaphore, 20000); });
    for (int i = 0; i < 5; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        pthread_kill(waiter.native_handle(), SIGUSR1);
    }
    EXPECT_EQ(result.load(), 7) << "still waiting";
    sem_post(&semaphore);
    waiter.join();
    EXPECT_EQ(result.load(), 0);
    sem_destroy(&semaphore);
    sigaction(SIGUSR1, &old, nullptr);
}

}  // namespace
