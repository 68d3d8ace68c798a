// The register keeps output threads apart, the queue keeps its records alive. Would catch: a closed
// interface that ends another one's thread, a thread without a slot past the hundredth, a record
// freed while it waits in a queue or delivered twice for one fill.
#include <gtest/gtest.h>

#include "omx/buffer_info.h"
#include "omx/check_output_thread.h"
#include "omx/record_queue.h"

namespace {

TEST(Registry, LateOwnerLeavesTheSlotsNewOwnerAlone) {
    CheckOutputThread registry;
    int first = 0;
    int second = 0;
    const int slot = registry.add(&first);
    registry.del(slot);
    EXPECT_FALSE(registry.isAlive(slot));
    ASSERT_EQ(slot, registry.add(&second));
    registry.del(slot, first);
    EXPECT_EQ(second, registry.getCount(slot));
    registry.del(slot, second);
    EXPECT_FALSE(registry.isAlive(slot));
}

TEST(Registry, HundredAndFirstSharesSlotZeroWithoutTakingIt) {
    CheckOutputThread registry;
    for (int i = 0; i < 100; i++) {
        EXPECT_EQ(i, registry.add());
    }
    int serial = 0;
    EXPECT_EQ(0, registry.add(&serial));
    EXPECT_EQ(101, serial);
    registry.del(0, serial);
    EXPECT_EQ(1, registry.getCount(0)) << "the sharer must not end the owner's thread";
    for (const int outside : {-1, 100}) {
        registry.del(outside);
        EXPECT_FALSE(registry.isAlive(outside));
    }
}

TEST(Queue, RecordsLiveWhileQueuedAndQueueOnce) {
    android::sp<BufferInfo> record(new BufferInfo);
    {
        zem::RecordQueue queue;
        EXPECT_TRUE(queue.push(record));
        EXPECT_FALSE(queue.push(record));
        EXPECT_EQ(2, record->getStrongCount());
        EXPECT_EQ(record, queue.pop());
        EXPECT_EQ(nullptr, queue.pop().get());
        EXPECT_EQ(1, record->getStrongCount());
        EXPECT_TRUE(queue.push(record)) << "it may come again once it was taken";
    }
    EXPECT_EQ(1, record->getStrongCount()) << "an abandoned queue lets go";
}

}  // namespace
