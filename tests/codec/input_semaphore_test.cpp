// Proves that the shared input semaphores survive every order of codecs coming and going. Would catch a
// drain that steals another codec's posts, and a post into a semaphore that is gone.
#include "codec/input_semaphore.h"

#include <gtest/gtest.h>

#include "base/clock.h"
#include "tests/support/fake_clock.h"
#include "tests/support/log_capture.h"

namespace {

bool take(zem::InputSemaphore& semaphore) {
    return semaphore.waitUntil(zem::deadlineAfterMillis(0), "take") == 0;
}

int drain(zem::InputSemaphore& semaphore) {
    int posts = 0;
    while (take(semaphore)) {
        ++posts;
    }
    return posts;
}

TEST(InputSemaphore, OnlyTheFirstUserDrains) {
    zem::InputSemaphore& semaphore = zem::videoInputSemaphore();
    semaphore.post();
    semaphore.acquire();
    EXPECT_EQ(drain(semaphore), 0) << "left over from before";
    semaphore.post();
    semaphore.acquire();
    EXPECT_EQ(drain(semaphore), 1) << "the first user's post survives the second";
    semaphore.postToAll();
    EXPECT_EQ(drain(semaphore), 2) << "one for each that may wait";
    for (int i = 0; i < 3; ++i) {
        semaphore.release();
    }
    semaphore.postToAll();
    EXPECT_EQ(drain(semaphore), 0);
    semaphore.acquire();
    semaphore.postToAll();
    EXPECT_EQ(drain(semaphore), 1) << "one release too many was ignored";
    semaphore.release();
}

TEST(InputSemaphore, CallbacksPostTheirOwn) {
    omx_setup_input_semaphore(nullptr);
    semaphoreEmptyBufferPost(nullptr, nullptr);
    semaphoreEmptyBufferPost2(nullptr, nullptr);
    EXPECT_EQ(drain(zem::videoInputSemaphore()), 1);
    EXPECT_EQ(drain(zem::audioInputSemaphore()), 1);
    omx_teardown_input_semaphore();
    EXPECT_EQ(drain(zem::videoInputSemaphore()), 1) << "frees a waiter";
    semaphoreEmptyBufferPost(nullptr, nullptr);
    omx_setup_input_semaphore(nullptr);
    EXPECT_EQ(drain(zem::videoInputSemaphore()), 0);
    omx_teardown_input_semaphore();
}

TEST(InputSemaphore, WaitEndsInTimeAndLogsOnlyErrors) {
    zem::test::FakeClock clock;
    zem::test::forgetLog();
    drain(zem::videoInputSemaphore());
    semaphoreEmptyBufferWait(3000);
    EXPECT_EQ(clock.waitsOf(3000000), 1);
    EXPECT_TRUE(zem::test::loggedLines().empty());
    EXPECT_EQ(zem::videoInputSemaphore().waitUntil({1, -1}, "void semaphoreEmptyBufferWait(int)"), -1);
    EXPECT_TRUE(zem::test::logged(
        6, "void semaphoreEmptyBufferWait(int), sem_timedwait return -1, errno=" + std::to_string(EINVAL)));
}

}  // namespace
