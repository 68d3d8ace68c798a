// The register keeps output threads apart, the queues keep order and life. Would catch: a closed
// interface that ends another one's thread, a thread without a slot past the hundredth, a record
// freed while it waits in a queue, a stack overrun by a long queue.
#include <gtest/gtest.h>

#include "omx/check_output_thread.h"
#include "omx/omx_compat.h"
#include "omx/qcom_omx_interface.h"
#include "omx/record_queue.h"
#include "omx/result_codes.h"
#include "tests/support/log_capture.h"

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
    registry.del(57);
    EXPECT_EQ(57, registry.add());
    EXPECT_EQ(102, registry.getCount(57));
    for (const int outside : {-1, 100}) {
        registry.del(outside);
        EXPECT_FALSE(registry.isAlive(outside));
    }
}

TEST(Queue, KeepsOrderAndStartsAgainAfterRunningEmpty) {
    SimpleQueue queue;
    int items[3];
    for (int round = 0; round < 2; round++) {
        EXPECT_EQ(nullptr, queue.dequeue());
        for (int& item : items) {
            queue.add(&item);
        }
        for (int& item : items) {
            EXPECT_EQ(&item, queue.dequeue());
        }
    }
    for (int i = 0; i < 1000000; i++) {
        queue.add(items);  // destroyed with the queue, without a recursion per node
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

TEST(Compat, FindsTheVendorWordWhateverItsType) {
    struct WithPointer {
        void* platform_private;
    } pointer{reinterpret_cast<void*>(uintptr_t{4096})};
    struct WithNumber {
        uint32_t platform_private;
    } number{8192};
    struct Without {
    } none;
    EXPECT_EQ(4096U, zem::compat::platformPrivate(pointer, 0));
    EXPECT_EQ(8192U, zem::compat::platformPrivate(number, 0));
    EXPECT_EQ(0U, zem::compat::platformPrivate(none, 0));
}

TEST(ResultTexts, OddOnes) {
    EXPECT_STREQ("Buffers not registered by OMX component.  Pmem not available.", resultDescription(7));
    EXPECT_STREQ("Invalid buffer passed.  Not found in buffer list.", resultDescription(24));
    EXPECT_STREQ("Application Error.  See Logs for Details", resultDescription(33));
    for (const int unknown : {32, -1, 34, 1 << 30}) {
        EXPECT_STREQ("Could not define result\n", resultDescription(unknown));
    }
}

TEST(Diagnostics, RowsOfSixteenAndARest) {
    uint8_t bytes[18];
    for (uint8_t i = 0; i < 18; i++) {
        bytes[i] = static_cast<uint8_t>(0x7D + i);
    }
    bytes[17] = ' ';
    zem::test::forgetLog();
    hexdump(bytes, 0);
    EXPECT_TRUE(zem::test::loggedLines().empty());
    hexdump(bytes, 18);
    EXPECT_TRUE(zem::test::logged(
        3, "0000:  7d  7e  7f  80  81  82  83  84  85  86  87  88  89  8a  8b  8c  }~.............."));
    EXPECT_TRUE(zem::test::logged(3, "0010:  8d  20 " + std::string(56, ' ') + " . "));
    EXPECT_STREQ("OMX_EventPortSettingsChanged", printOmxEventType(OMX_EventPortSettingsChanged));
    EXPECT_STREQ("OMX_EventMax", printOmxEventType(OMX_EventMax));
    EXPECT_STREQ("unknown", printOmxEventType(static_cast<OMX_EVENTTYPE>(9)));
}

}  // namespace
