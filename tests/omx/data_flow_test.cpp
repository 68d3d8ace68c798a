// Buffers on their way: every one comes back, none is handed out twice, data arrives whole and in
// order. Would catch: an input buffer lost after a refusal or an early answer, an unknown buffer
// accepted, a payload past the buffer's end, an end of stream announced before its data, outputs
// dropped or not resubmitted.
#include "tests/omx/omx_fixture.h"

namespace zem::test {
namespace {

using Unit = Outputs::Unit;

class DataFlowTest : public OmxTest {
  protected:
    void* reserve(QcomOmxInterface& component) {
        void* data = nullptr;
        EXPECT_EQ(0, component.reserveInputBuffer(&mBuffer, &data));
        return data;
    }
    /// How many input buffers can be reserved; gives them back.
    int freeInputs(QcomOmxInterface& component) {
        std::vector<void*> taken;
        void* buffer = nullptr;
        void* data = nullptr;
        while (component.reserveInputBuffer(&buffer, &data) == 0) {
            taken.push_back(buffer);
        }
        for (void* each : taken) {
            component.releaseInputBuffer(each);
        }
        return static_cast<int>(taken.size());
    }
    void* mBuffer = nullptr;
};

TEST_F(DataFlowTest, EveryInputBufferComesBack) {
    BareComponent component;
    mOmx->setEmptyAnswer(Answer::kNever);
    start(component);
    memcpy(reserve(component), "frame", 5);
    EXPECT_EQ(0, component.sendInputBuffer(mBuffer, 5, -7));
    EXPECT_TRUE(component.inputPending());
    ASSERT_EQ(1U, mOmx->inputs().size());
    EXPECT_EQ((Unit{'f', 'r', 'a', 'm', 'e'}), mOmx->inputs()[0].bytes);
    EXPECT_EQ(-7, mOmx->inputs()[0].timestamp);
    EXPECT_EQ(1, freeInputs(component));

    mOmx->sendEmptied(mOmx->buffers(0)[0]);
    mOmx->waitDelivered();
    EXPECT_FALSE(component.inputPending());
    EXPECT_EQ(1, mInputCalls.count);
    EXPECT_EQ(2, freeInputs(component));
}

TEST_F(DataFlowTest, AnswersBeforeTheCallReturnsAreKept) {
    BareComponent component;
    mOmx->setEmptyAnswer(Answer::kBeforeReturn);
    connect(component);
    for (uint8_t i = 0; i < 20; i++) {
        mOmx->queueOutput({i});
    }
    ASSERT_EQ(0, component.init());
    for (int i = 0; i < 20; i++) {
        reserve(component);
        ASSERT_EQ(0, component.sendInputBuffer(mBuffer, 1, i)) << i;
        EXPECT_FALSE(component.inputPending());
    }
    ASSERT_TRUE(eventually([&] { return mOutputs.seen().size() == 20; }));
    for (uint8_t i = 0; i < 20; i++) {
        EXPECT_EQ(Unit{i}, mOutputs.seen()[i]);
    }
}

TEST_F(DataFlowTest, RefusedOrMisfitInputIsTheDriversAgain) {
    BareComponent component;
    mOmx->setBuffers(0, 2, 100);
    start(component);
    std::vector<uint8_t> bytes(101);
    for (int i = 0; i < 3; i++) {  // more often than there are buffers
        mOmx->refuse("emptyBuffer");
        reserve(component);
        EXPECT_EQ(-1, component.sendInputBuffer(mBuffer, 4, 0));
        mOmx->refuse("emptyBuffer");
        EXPECT_EQ(-2, component.sendInputData(bytes.data(), 4, 0));
        mOmx->refuse("emptyBuffer");
        EXPECT_EQ(-2, component.sendEndOfInputFlag(0));
        EXPECT_FALSE(component.inputPending());
    }
    const int sent = mOmx->callCount("emptyBuffer");
    EXPECT_EQ(-2, component.sendInputData(bytes.data(), 101, 0));
    EXPECT_EQ(-2, component.sendInputData(nullptr, 1, 0));
    for (const int length : {101, -1}) {
        reserve(component);
        EXPECT_EQ(-1, component.sendInputBuffer(mBuffer, length, 0));
    }
    EXPECT_EQ(-1, component.sendInputBuffer(this, 1, 0)) << "a stranger";
    EXPECT_EQ(-1, component.sendFinalBuffer(nullptr, 0));
    EXPECT_EQ(sent, mOmx->callCount("emptyBuffer"));
    EXPECT_EQ(2, freeInputs(component));
    EXPECT_EQ(0, component.threadError());
}

TEST_F(DataFlowTest, NoInputAfterItsEnd) {
    BareComponent component;
    start(component);
    EXPECT_EQ(0, component.sendEndOfInputFlag(5));
    EXPECT_EQ(OMX_U32{OMX_BUFFERFLAG_EOS}, mOmx->inputs().back().flags);
    uint8_t byte = 0;
    void* data = nullptr;
    EXPECT_EQ(0, component.sendInputData(&byte, 1, 0));
    EXPECT_EQ(-2, component.reserveInputBuffer(&mBuffer, &data));
    EXPECT_EQ(1U, mOmx->inputs().size());
}

TEST_F(DataFlowTest, UnknownBuffersAreReportedOnce) {
    BareComponent component;
    start(component);
    mOmx->sendEmptied(9999);
    mOmx->sendEmptied(9998);
    mOmx->sendFilled(mOmx->buffers(0)[0], 1);  // of the wrong port
    mOmx->waitDelivered();
    EXPECT_EQ(24, component.threadError());
    EXPECT_EQ(1, mInputCalls.count);
    EXPECT_EQ(3, loggedCount("QCOMOMXINTERFACE - Buffer not found in buffer vector.\n"));
}

TEST_F(DataFlowTest, LastOutputIsDeliveredBeforeTheStreamEnds) {
    BareComponent component;
    start(component);
    const int before = mOmx->callCount("fillBuffer");
    mOmx->queueOutput({1}, OMX_BUFFERFLAG_EOS | OMX_BUFFERFLAG_ENDOFFRAME);
    ASSERT_TRUE(eventually([&] { return component.frameIsLast(); }));
    EXPECT_EQ((std::vector<Unit>{{1}}), mOutputs.seen());
    EXPECT_FALSE(mOutputs.endedBefore[0]);
    component.ExitDataOutputThread();
    EXPECT_EQ(before, mOmx->callCount("fillBuffer")) << "nothing is resubmitted after the end";
}

TEST_F(DataFlowTest, OutputBeyondItsBufferIsNotHandedOn) {
    BareComponent component;
    start(component);
    mOmx->sendFilled(mOmx->heldBuffers(1)[0], 4097);
    mOmx->sendFilled(mOmx->heldBuffers(1)[0], 4096);
    ASSERT_TRUE(eventually([&] { return mOutputs.seen().size() == 2; }));
    EXPECT_EQ(0U, mOutputs.seen()[0].size());
    EXPECT_EQ(4096U, mOutputs.seen()[1].size());
}

TEST_F(DataFlowTest, RefusedResubmissionLosesOnlyItsBuffer) {
    BareComponent component;
    start(component);
    mOmx->refuse("fillBuffer");
    for (uint8_t i = 0; i < 6; i++) {
        mOmx->queueOutput({i});
    }
    ASSERT_TRUE(eventually([&] { return mOutputs.seen().size() == 6; }));
    EXPECT_EQ(1, loggedCount("QCOMOMXINTERFACE - fillBuffer failed w/ error"));
    EXPECT_EQ(0, component.threadError());
    component.deInit(false);
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
    ASSERT_TRUE(eventually([&] { return mOutputs.seen().size() == 1; }));
    EXPECT_EQ((Unit{'h', 'e', 'a', 'p'}), mOutputs.seen()[0]);
}

}  // namespace
}  // namespace zem::test
