// Proves that the shared input semaphores survive every order of codecs coming and going. Would catch a
// drain that steals another codec's posts, and a post into a semaphore that is gone.
#include "codec/input_semaphore.h"

#include <gtest/gtest.h>

#include "base/clock.h"

namespace {

int drain(zem::InputSemaphore& semaphore) {
    int posts = 0;
    while (semaphore.waitUntil(zem::deadlineAfterMillis(0), "drain") == 0) {
        ++posts;
    }
    return posts;
}

TEST(InputSemaphore, OnlyTheFirstUserDrains) {
    zem::InputSemaphore& semaphore = zem::videoInputSemaphore();
    semaphore.post();
    semaphore.acquire();
    EXPECT_EQ(drain(semaphore), 0) << "left over from before";
    semaphoreEmptyBufferPost(nullptr, nullptr);
    semaphoreEmptyBufferPost2(nullptr, nullptr);  // the other path's
    semaphore.acquire();
    EXPECT_EQ(drain(semaphore), 1) << "the first user's post survives the second";
    semaphore.postToAll();
    EXPECT_EQ(drain(semaphore), 2) << "one for each that may wait";
    for (int i = 0; i < 3; ++i) {
        semaphore.release();
    }
    semaphore.acquire();
    semaphore.postToAll();
    EXPECT_EQ(drain(semaphore), 1) << "one release too many was ignored";
    semaphore.release();
    EXPECT_EQ(drain(zem::audioInputSemaphore()), 1);
}

}  // namespace
