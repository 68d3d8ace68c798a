// Buffers on their way: every one comes back, none is handed out twice, data arrives whole and in
// order. Would catch: an input buffer lost after a refusal or an early answer, an unknown buffer
// accepted, a payload past the buffer's end, an end of stream announced before its data, outputs
// dropped or not resubmitted, a record freed while it waits in a queue or delivered twice for one fill.
#include "omx/buffer_info.h"
#include "omx/record_queue.h"
#include "tests/omx/omx_fixture.h"

namespace zem::test {
namespace {

using Unit = Outputs::Unit;

class DataFlowTest : public OmxTest {
  protected:
    void* reserve() {
        void* data = nullptr;
        EXPECT_EQ(0, mBare.reserveInputBuffer(&mBuffer, &data));
        return data;
    }
    /// How many input buffers can be reserved; gives them back.
    size_t freeInputs() {
        std::vector<void*> taken;
        void* data = nullptr;
        for (void* buffer = nullptr; mBare.reserveInputBuffer(&buffer, &data) == 0;) {
            taken.push_back(buffer);
        }
        for (void* each : taken) {
            mBare.releaseInputBuffer(each);
        }
        return taken.size();
    }
    bool delivered(size_t count) {
        return eventually([&] { return mOutputs.seen().size() == count; });
    }
    BareComponent mBare;
    void* mBuffer = nullptr;
};

TEST_F(DataFlowTest, EveryInputBufferComesBack) {
    mOmx->setEmptyAnswer(Answer::kNever);
    start(mBare);
    memcpy(reserve(), "frame", 5);
    EXPECT_EQ(0, mBare.sendInputBuffer(mBuffer, 5, -7));
    EXPECT_TRUE(mBare.inputPending());
    ASSERT_EQ(1U, mOmx->inputs().size());
    EXPECT_EQ((Unit{'f', 'r', 'a', 'm', 'e'}), mOmx->inputs()[0].bytes);
    EXPECT_EQ(-7, mOmx->inputs()[0].timestamp);
    EXPECT_EQ(1U, freeInputs());

    mOmx->sendEmptied(mOmx->buffers(0)[0]);
    mOmx->waitDelivered();
    EXPECT_FALSE(mBare.inputPending());
    EXPECT_EQ(1, mInputCalls.count);
    EXPECT_EQ(2U, freeInputs());
}

TEST_F(DataFlowTest, AnswersBeforeTheCallReturnsAreKept) {
    mOmx->setEmptyAnswer(Answer::kBeforeReturn);
    connect(mBare);
    std::vector<Unit> sent;
    for (uint8_t i = 0; i < 20; i++) {
        sent.push_back({i});
        mOmx->queueOutput({i});
    }
    ASSERT_EQ(0, mBare.init());
    for (int i = 0; i < 20; i++) {
        reserve();
        ASSERT_EQ(0, mBare.sendInputBuffer(mBuffer, 1, i)) << i;
        EXPECT_FALSE(mBare.inputPending());
    }
    ASSERT_TRUE(delivered(20));
    EXPECT_EQ(sent, mOutputs.seen());
}

TEST_F(DataFlowTest, RefusedOrMisfitInputIsTheDriversAgain) {
    mOmx->setBuffers(0, 2, 100);
    start(mBare);
    std::vector<uint8_t> bytes(101);
    for (int i = 0; i < 3; i++) {  // more often than there are buffers
        mOmx->refuse("emptyBuffer");
        reserve();
        EXPECT_EQ(-1, mBare.sendInputBuffer(mBuffer, 4, 0));
        mOmx->refuse("emptyBuffer");
        EXPECT_EQ(-2, mBare.sendInputData(bytes.data(), 4, 0));
        mOmx->refuse("emptyBuffer");
        EXPECT_EQ(-2, mBare.sendEndOfInputFlag(0));
        EXPECT_FALSE(mBare.inputPending());
    }
    const int sent = mOmx->callCount("emptyBuffer");
    EXPECT_EQ(-2, mBare.sendInputData(bytes.data(), 101, 0));
    EXPECT_EQ(-2, mBare.sendInputData(nullptr, 1, 0));
    for (const int length : {101, -1}) {
        reserve();
        EXPECT_EQ(-1, mBare.sendInputBuffer(mBuffer, length, 0));
    }
    EXPECT_EQ(-1, mBare.sendInputBuffer(this, 1, 0)) << "a stranger";
    EXPECT_EQ(-1, mBare.sendFinalBuffer(nullptr, 0));
    EXPECT_EQ(sent, mOmx->callCount("emptyBuffer"));
    EXPECT_EQ(2U, freeInputs());
    EXPECT_EQ(0, mBare.threadError());
}

TEST_F(DataFlowTest, NoInputAfterItsEnd) {
    start(mBare);
    EXPECT_EQ(0, mBare.sendEndOfInputFlag(5));
    EXPECT_EQ(OMX_U32{OMX_BUFFERFLAG_EOS}, mOmx->inputs().back().flags);
    uint8_t byte = 0;
    void* data = nullptr;
    EXPECT_EQ(0, mBare.sendInputData(&byte, 1, 0));
    EXPECT_EQ(-2, mBare.reserveInputBuffer(&mBuffer, &data));
    EXPECT_EQ(1U, mOmx->inputs().size());
}

TEST_F(DataFlowTest, UnknownBuffersAreReportedOnce) {
    start(mBare);
    mOmx->sendEmptied(9999);
    mOmx->sendEmptied(9998);
    mOmx->sendFilled(mOmx->buffers(0)[0], 1);  // of the wrong port
    mOmx->waitDelivered();
    EXPECT_EQ(24, mBare.threadError());
    EXPECT_EQ(1, mInputCalls.count);
    EXPECT_EQ(3, loggedCount("QCOMOMXINTERFACE - Buffer not found in buffer vector.\n"));
}

TEST_F(DataFlowTest, LastOutputIsDeliveredBeforeTheStreamEnds) {
    start(mBare);
    const int before = mOmx->callCount("fillBuffer");
    mOmx->queueOutput({1}, OMX_BUFFERFLAG_EOS | OMX_BUFFERFLAG_ENDOFFRAME);
    ASSERT_TRUE(eventually([&] { return mBare.frameIsLast(); }));
    EXPECT_EQ((std::vector<Unit>{{1}}), mOutputs.seen());
    EXPECT_FALSE(mOutputs.endedBefore[0]);
    mBare.ExitDataOutputThread();
    EXPECT_EQ(before, mOmx->callCount("fillBuffer")) << "nothing is resubmitted after the end";
}

TEST_F(DataFlowTest, OutputBeyondItsBufferIsNotHandedOn) {
    start(mBare);
    mOmx->sendFilled(mOmx->heldBuffers(1)[0], 4097);
    mOmx->sendFilled(mOmx->heldBuffers(1)[0], 4096);
    ASSERT_TRUE(delivered(2));
    EXPECT_EQ(0U, mOutputs.seen()[0].size());
    EXPECT_EQ(4096U, mOutputs.seen()[1].size());
}

TEST_F(DataFlowTest, RefusedResubmissionLosesOnlyItsBuffer) {
    start(mBare);
    mOmx->refuse("fillBuffer");
    for (uint8_t i = 0; i < 6; i++) {
        mOmx->queueOutput({i});
    }
    ASSERT_TRUE(delivered(6));
    EXPECT_EQ(1, loggedCount("QCOMOMXINTERFACE - fillBuffer failed w/ error"));
    EXPECT_EQ(0, mBare.threadError());
    mBare.deInit(false);
    EXPECT_EQ(0, mClock.sleepsOf(2000000)) << "the refused buffer does not count as being out";
}

TEST_F(DataFlowTest, ComponentsOwnHeapIsWhereItsOutputLies) {
    BareComponent component(true);
    android::sp<android::MemoryDealer> dealer = new android::MemoryDealer(4096, "own heap");
    const android::sp<android::IMemory> block = dealer->allocate(4096);
    memcpy(block->pointer(), "heap", 4);
    component.onRegisterBuffers(dealer->getMemoryHeap());
    start(component);
    EXPECT_EQ(2, mOmx->callCount("allocateBuffer 1"));
    mOmx->sendFilled(mOmx->heldBuffers(1)[0], 4);
    ASSERT_TRUE(delivered(1));
    EXPECT_EQ((Unit{'h', 'e', 'a', 'p'}), mOutputs.seen()[0]);
}

TEST(Queue, RecordsLiveWhileQueuedAndQueueOnce) {
    android::sp<BufferInfo> record(new BufferInfo);
    {
        RecordQueue queue;
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
}  // namespace zem::test
