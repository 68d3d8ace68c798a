// A decoder's events, and the change of its output port when pictures get another size. Would catch: a
// step of the hand-shake left out or in another order, a wrong number of pictures skipped, a buffer
// submitted after it was freed, a lock that a failure leaves behind, a teardown that waits for the event
// thread or is waited for by it. Meant above all for the sanitizer builds.
#include "tests/omx/decoder_fixture.h"

namespace zem::test {
namespace {

using Stages = std::vector<std::string>;

// The calls of a change without numbers that vary; repeated ones once.
Stages stagesOf(const std::vector<std::string>& calls) {
    Stages stages;
    for (const std::string& call : calls) {
        const bool numbered = call.rfind("freeBuffer", 0) == 0 || call.rfind("fillBuffer", 0) == 0;
        const std::string stage =
            numbered ? call.substr(0, call.rfind("freeBuffer", 0) == 0 ? 12 : 10) : call;
        if (stages.empty() || stages.back() != stage) {
            stages.push_back(stage);
        }
    }
    return stages;
}

class DecoderChangeTest : public DecoderTest, public testing::WithParamInterface<int> {};

TEST_P(DecoderChangeTest, GoesThroughTheHandShakeAndSkips) {
    start(GetParam());
    mOmx->queueOutput({1});
    ASSERT_TRUE(eventually([&] { return mOutputs.seen().size() == 1; }));
    ASSERT_TRUE(eventually([&] { return mOmx->heldBuffers(1).size() == 2; }));
    mOmx->forgetCalls();
    ASSERT_TRUE(change(640, 368, 3));
    ASSERT_TRUE(eventually([&] { return mOmx->heldBuffers(1).size() == 3; }));
    EXPECT_EQ((Stages{"sendCommand 2 1", "getParameter 2000001 1", "freeBuffer 1", "sendCommand 3 1",
                      "getParameter 2000001 1", "allocateBufferWithBackup 1", "fillBuffer"}),
              stagesOf(mOmx->calls()));
    EXPECT_EQ(640, mDecoder->portWidth(1));
    EXPECT_EQ(368, mDecoder->portHeight(1));
    for (uint8_t i = 1; i <= 16; i++) {
        mOmx->queueOutput({100, i});
    }
    ASSERT_TRUE(eventually([&] { return pictures() == 2; }));
    EXPECT_EQ((Outputs::Unit{100, 16}), mOutputs.seen().back()) << "five rounds of three buffers are skipped";
    EXPECT_EQ(0, mDecoder->threadError());
}

INSTANTIATE_TEST_SUITE_P(Chips, DecoderChangeTest, testing::Values(0x2001, 0x2002, 0x1002));

// The second change: what the first left over must not let it free buffers that are out.
TEST_F(DecoderTest, NothingIsSubmittedWhileThePortChanges) {
    start();
    ASSERT_TRUE(change(320, 240, 2));
    ASSERT_TRUE(eventually([&] { return mOmx->heldBuffers(1).size() == 2; }));
    reportSize(640, 368, 2);
    ASSERT_TRUE(askedToDisable());
    mOmx->forgetCalls();
    const auto held = mOmx->heldBuffers(1);
    mOmx->sendFilled(held[0], 0);
    mOmx->waitDelivered();
    EXPECT_EQ(0, mOmx->callCount("freeBuffer")) << "one is still out";
    mOmx->sendFilled(held[1], 0);
    ASSERT_TRUE(eventually([&] { return mOmx->buffers(1).empty(); }));
    EXPECT_EQ(0, mOmx->callCount("fillBuffer"));
    char packet = 'p';
    EXPECT_EQ(0, mDecoder->sendInputData(&packet, 1, 7)) << "input goes on";
}

TEST_F(DecoderTest, BuffersThatNeverComeBackAreTaken) {
    start();
    reportSize(640, 368, 2, false);
    ASSERT_TRUE(askedToDisable());
    ASSERT_TRUE(eventually([&] { return mOmx->buffers(1).empty(); }));
    EXPECT_EQ(1, loggedCount("keeps output buffers"));
    ASSERT_TRUE(completeDisable(2));
    completeEnable();
    EXPECT_TRUE(eventually([&] { return mOmx->heldBuffers(1).size() == 2; }));
}

TEST_F(DecoderTest, FailedChangeEndsTheDecoderAndLocksNothing) {
    for (const auto& failure : {std::pair<const char*, int>{"sendCommand", 20},
                                {"getParameter", 13},
                                {"allocateBufferWithBackup", 15}}) {
        mInputCalls.count = 0;
        start(0x2002);
        reportSize(640, 368, 2);
        ASSERT_TRUE(askedToDisable());
        ASSERT_TRUE(returnOutputs());
        mOmx->refuse(failure.first);
        mOmx->sendEvent(OMX_EventCmdComplete, OMX_CommandPortDisable, 1);
        ASSERT_TRUE(eventually([&] { return mDecoder->threadError() == failure.second; })) << failure.first;
        EXPECT_GE(mInputCalls.count, 1) << "a producer that waits must learn of it";
        auto delivered = std::async(std::launch::async, [this] { mOmx->waitDelivered(); });
        ASSERT_EQ(std::future_status::ready, delivered.wait_for(kSoon)) << "the filled queue is locked";
        EXPECT_EQ(failure.second, boundedDeInit(false));
    }
}

// Whether the error comes before deInit begins to wait or while it waits.
TEST_F(DecoderTest, ErrorEventEndsTheWaitForTheLastFrame) {
    for (const bool before : {true, false}) {
        start();
        const LongWaits waits(mClock);
        if (before) {
            mOmx->sendEvent(OMX_EventError, 1, 2);
            ASSERT_TRUE(eventually([&] { return mDecoder->threadError() == 27; }));
        }
        forgetLog();
        auto ended = std::async(std::launch::async, [this] { return mDecoder->deInit(false); });
        if (!before) {
            ASSERT_TRUE(eventually([] { return loggedCount("wait to end") == 1; }));
            mOmx->sendEvent(OMX_EventError, 1, 2);
        }
        ASSERT_EQ(std::future_status::ready, ended.wait_for(std::chrono::seconds(30)));
        EXPECT_EQ(27, ended.get());
    }
}

enum class Stage { kWaitsForBuffers, kFreed, kPopulated };

TEST_F(DecoderTest, TeardownInTheMiddleOfAChange) {
    for (const Stage stage : {Stage::kWaitsForBuffers, Stage::kFreed, Stage::kPopulated}) {
        for (const bool bypass : {true, false}) {
            start();
            reportSize(640, 368, 3);
            ASSERT_TRUE(askedToDisable());
            ASSERT_TRUE(stage == Stage::kWaitsForBuffers || returnOutputs());
            ASSERT_TRUE(stage != Stage::kPopulated || completeDisable(3));
            mPatience.reset();
            std::unique_ptr<LongWaits> waits;
            if (bypass) {  // an orderly end has waits that nothing but their length ends
                waits = std::make_unique<LongWaits>(mClock);
            }
            boundedDeInit(bypass);
            EXPECT_EQ(0, mOmx->liveBuffers());
            auto destroyed = std::async(std::launch::async, [this] { mDecoder.reset(); });
            ASSERT_EQ(std::future_status::ready, destroyed.wait_for(kSoon));
            EXPECT_EQ(0, mOmx->liveNodes());
        }
    }
}

// Outputs, changes and the end, all at once and at any point.
TEST_F(DecoderTest, ChangesUnderLoad) {
    for (int round = 0; round < 12; round++) {
        start(round % 2 == 0 ? 0x2002 : 0x2001);
        std::atomic<bool> stop{false};
        std::thread pictures([&] {
            while (!stop) {
                mOmx->queueOutput({1, 2, 3});
                usleep(50);
            }
        });
        for (int i = 0; i < round % 4; i++) {
            const auto buffers = 2 + static_cast<OMX_U32>(i);
            reportSize(64 + 2 * i, 64, buffers);
            // The pictures return the buffers: one returned twice would be the test's own mistake.
            EXPECT_TRUE(askedToDisable() && eventually([&] { return mOmx->buffers(1).empty(); }));
            mPatience.reset();
            EXPECT_TRUE(completeDisable(buffers));
            completeEnable();
        }
        mOmx->sendEvent(OMX_EventPortSettingsChanged, 1, 0);
        if (round % 3 != 0) {
            boundedDeInit(round % 3 == 1);
        }
        mDecoder.reset();
        stop = true;
        pictures.join();
        EXPECT_EQ(0, mOmx->liveBuffers());
    }
}

}  // namespace
}  // namespace zem::test
