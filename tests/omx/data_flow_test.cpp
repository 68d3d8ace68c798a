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
    /// Whether each input buffer can be reserved; gives them back.
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
    EXPECT_EQ(mOmx->buffers(0)[0], component.inputBufferId(mBuffer));
    EXPECT_EQ(4096U, component.inputBufferCapacity(mBuffer));
    EXPECT_EQ(0, component.sendInputBuffer(mBuffer, 5, -7));
    EXPECT_TRUE(component.inputPending());
    ASSERT_EQ(1U, mOmx->inputs().size());
    EXPECT_EQ((Unit{'f', 'r', 'a', 'm', 'e'}), mOmx->inputs()[0].bytes);
    EXPECT_EQ(-7, mOmx->inputs()[0].timestamp);
    reserve(component);
    void* data = nullptr;
    EXPECT_EQ(-1, component.reserveInputBuffer(&mBuffer, &data));
    EXPECT_EQ(nullptr, mBuffer);
    uint8_t byte = 0;
    EXPECT_EQ(-1, component.sendInputData(&byte, 1, 0));

    mOmx->sendEmptied(mOmx->buffers(0)[0]);
    mOmx->waitDelivered();
    EXPECT_FALSE(component.inputPending());
    EXPECT_EQ(1, mInputCalls.count);
    EXPECT_EQ(1, freeInputs(component));
    mOmx->sendEmptied(mOmx->buffers(0)[0]);
    mOmx->waitDelivered();
    EXPECT_EQ(1, loggedCount("We already own input buffer"));
    EXPECT_EQ(0, component.threadError());
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

TEST_F(DataFlowTest, RefusedInputIsTheDriversAgain) {
    BareComponent component;
    start(component);
    uint8_t bytes[4] = {};
    mOmx->refuse("emptyBuffer");
    reserve(component);
    EXPECT_EQ(-1, component.sendInputBuffer(mBuffer, 4, 0));
    EXPECT_FALSE(component.inputPending());
    mOmx->refuse("emptyBuffer");
    EXPECT_EQ(-2, component.sendInputData(bytes, 4, 0));
    EXPECT_FALSE(component.inputPending());
    mOmx->refuse("emptyBuffer");
    EXPECT_EQ(-2, component.sendEndOfInputFlag(0));
    EXPECT_EQ(2, freeInputs(component)) << "and the input has not ended";
    mOmx->refuse("emptyBuffer");
    EXPECT_EQ(-1, component.sendFinalBuffer(&g_finalEncoderBuffer, 0));
    EXPECT_EQ(0, component.threadError());
}

TEST_F(DataFlowTest, WhatDoesNotFitIsNeverSent) {
    BareComponent component;
    mOmx->setBuffers(0, 2, 100);
    start(component);
    std::vector<uint8_t> bytes(101);
    EXPECT_EQ(-2, component.sendInputData(bytes.data(), 101, 0));
    EXPECT_EQ(-2, component.sendInputData(nullptr, 1, 0));
    EXPECT_EQ(0, component.sendInputData(bytes.data(), 100, 0));
    mOmx->waitDelivered();
    int stranger = 0;
    for (const int length : {101, -1}) {
        reserve(component);
        EXPECT_EQ(-1, component.sendInputBuffer(mBuffer, length, 0));
    }
    EXPECT_EQ(-1, component.sendInputBuffer(&stranger, 1, 0));
    EXPECT_EQ(-1, component.sendFinalBuffer(nullptr, 0));
    EXPECT_EQ(2, freeInputs(component));
    EXPECT_EQ(1, mOmx->callCount("emptyBuffer"));
}

TEST_F(DataFlowTest, NoInputAfterItsEnd) {
    BareComponent component;
    start(component);
    EXPECT_EQ(0, component.sendEndOfInputFlag(5));
    EXPECT_EQ(OMX_U32{OMX_BUFFERFLAG_EOS}, mOmx->inputs().back().flags);
    uint8_t byte = 0;
    EXPECT_EQ(0, component.sendInputData(&byte, 1, 0));
    EXPECT_EQ(1U, mOmx->inputs().size());
    void* data = nullptr;
    EXPECT_EQ(-2, component.reserveInputBuffer(&mBuffer, &data));
    EXPECT_TRUE(logged(6, "QCOMOMXINTERFACE - Client Shutting Down: Input Data ignored"));
}

TEST_F(DataFlowTest, FinalBufferIsTheOneReservedLast) {
    BareComponent component;
    start(component);
    reserve(component);
    const auto id = component.inputBufferId(mBuffer);
    component.releaseInputBuffer(mBuffer);
    EXPECT_EQ(0, component.sendFinalBuffer(&g_finalEncoderBuffer, 9));
    EXPECT_EQ(1, mOmx->callCount("emptyBuffer " + std::to_string(id) + " 0 1 9"));
    ASSERT_TRUE(eventually([&] { return component.frameIsLast(); }));
    reserve(component);  // the input has not ended
}

TEST_F(DataFlowTest, SynchronousComponentsAreWaitedForAtMostSoLong) {
    BareComponent component;
    mOmx->setEmptyAnswer(Answer::kNever);
    start(component);
    uint8_t byte = 0;
    mClock.forget();
    component.mWaitAfterSendData = true;
    EXPECT_EQ(0, component.sendInputData(&byte, 1, 0));
    EXPECT_EQ(1, mClock.waitsOf(100000));
    component.mWaitAfterSendBuffer = true;
    reserve(component);
    mClock.forget();
    EXPECT_EQ(0, component.sendInputBuffer(mBuffer, 1, 0));
    EXPECT_LE(1, mClock.waitsOf(3000000));
}

TEST_F(DataFlowTest, AnAnswerThatCameLateIsNotTakenForTheNext) {
    BareComponent component;
    mOmx->setEmptyAnswer(Answer::kNever);
    start(component);
    component.mWaitAfterSendData = true;
    mOmx->sendEmptied(mOmx->buffers(0)[1]);
    mOmx->waitDelivered();
    const EndlessClock clock;
    uint8_t byte = 0;
    auto sending = std::async(std::launch::async, [&] { return component.sendInputData(&byte, 1, 0); });
    EXPECT_EQ(std::future_status::timeout, sending.wait_for(std::chrono::milliseconds(20)));
    ASSERT_TRUE(eventually([&] { return mOmx->heldBuffers(0).size() == 1; }));
    mOmx->sendEmptied(mOmx->buffers(0)[0]);
    ASSERT_EQ(std::future_status::ready, sending.wait_for(kSoon));
    EXPECT_EQ(0, sending.get());
    component.deInit(true);
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

TEST_F(DataFlowTest, SkippedOutputsAreResubmittedUnseen) {
    BareComponent component;
    component.mSkipOutputCount = 2;
    start(component);
    const int before = mOmx->callCount("fillBuffer");
    for (uint8_t i = 0; i < 4; i++) {
        mOmx->queueOutput({i});
    }
    ASSERT_TRUE(eventually([&] { return mOmx->callCount("fillBuffer") == before + 4; }));
    EXPECT_EQ((std::vector<Unit>{{2}, {3}}), mOutputs.seen());
}

TEST_F(DataFlowTest, LastOutputIsDeliveredBeforeTheStreamEnds) {
    BareComponent component;
    start(component);
    const int before = mOmx->callCount("fillBuffer");
    mOmx->holdMessages(true);
    mOmx->queueOutput({1}, OMX_BUFFERFLAG_EOS | OMX_BUFFERFLAG_ENDOFFRAME);
    EXPECT_FALSE(component.frameIsLast());
    mOmx->holdMessages(false);
    ASSERT_TRUE(eventually([&] { return component.frameIsLast(); }));
    EXPECT_EQ((std::vector<Unit>{{1}}), mOutputs.seen());
    EXPECT_FALSE(mOutputs.endedBefore[0]);
    component.ExitDataOutputThread();
    EXPECT_EQ(before, mOmx->callCount("fillBuffer")) << "nothing is resubmitted after the end";
    EXPECT_EQ(0, component.deInit(false));
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
    BareComponent component(BareComponent::kSharedMemory, BareComponent::kComponentAllocates);
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
