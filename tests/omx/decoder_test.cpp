// What a decoder asks of its component, its events, and the change of its output port when pictures get
// another size. Would catch: a picture order set on a component that has none, a wait after each packet where
// there must be none, a step of the hand-shake left out or in another order, a wrong number of pictures
// skipped, a buffer submitted after it was freed, a lock that a failure leaves behind, a teardown that waits
// for the event thread or is waited for by it. Meant above all for the sanitizer builds.
#include "omx/hardware_base.h"
#include "omx/qcom_vendor_parameters.h"
#include "tests/omx/omx_fixture.h"

namespace zem::test {
namespace {

TEST_F(DecoderTest, EachComponentGetsWhatItNeeds) {
    const struct {
        const char* name;
        int hardwareBase;
        bool ordered;  // pictures in decoding order, no wait after a packet
        const char* inputCall;
    } cases[] = {{kQcomDecoder, HW_BASE_QCOM_8974, true, "useBuffer 0"},
                 {kQcomDecoder, HW_BASE_EXYNOS, true, "allocateBufferWithBackup 0"},
                 {kSecDecoder, HW_BASE_SEC, false, "useBuffer 0"},
                 {kSecDecoder, HW_BASE_TARN, false, "useBuffer 0"},
                 {kSecDecoder, HW_BASE_EXYNOS, false, "allocateBufferWithBackup 0"}};
    for (const auto& c : cases) {
        mOmx->forgetCalls();
        create(c.name, c.hardwareBase);
        ASSERT_EQ(0, mDecoder->init());
        EXPECT_EQ(c.ordered ? 1 : 0, mOmx->callCount("setParameter 7f000010 0")) << c.name;
        EXPECT_EQ(2, mOmx->callCount(c.inputCall)) << c.hardwareBase;
        EXPECT_EQ(2, mOmx->callCount("allocateBufferWithBackup 1"));
        mClock.forget();
        char packet = 'p';
        ASSERT_EQ(0, mDecoder->sendInputData(&packet, 1, 0));
        EXPECT_EQ(c.ordered ? 0 : 1, mClock.waitsOf(100000)) << c.name;
    }
    const auto order = mOmx->parameter<QcomPictureOrder>(kQcomIndexPictureOrder, 0);
    EXPECT_EQ(16U, order.nSize);
    EXPECT_EQ(2U, order.eOutputPictureOrder) << "decoding order";
    EXPECT_EQ(0U, order.nVersion.nVersion);
}

// The calls without numbers that vary; repeated ones once.
std::vector<std::string> stagesOf(const std::vector<std::string>& calls) {
    std::vector<std::string> stages;
    for (const std::string& call : calls) {
        const bool numbered = call.rfind("freeBuffer", 0) == 0 || call.rfind("fillBuffer", 0) == 0;
        stages.push_back(numbered ? call.substr(0, call[1] == 'r' ? 12 : 10) : call);
    }
    stages.erase(std::unique(stages.begin(), stages.end()), stages.end());
    return stages;
}

TEST_F(DecoderTest, ChangeGoesThroughTheHandShakeAndSkips) {
    for (const int hardwareBase : {0x2001, 0x2002, 0x1002}) {
        mOutputs.units.clear();
        start(hardwareBase);
        mOmx->queueOutput({1});
        ASSERT_TRUE(delivered(1) && holdsOutputs(2));
        mOmx->forgetCalls();
        ASSERT_TRUE(change(640, 368, 3) && holdsOutputs(3));
        EXPECT_EQ((std::vector<std::string>{"sendCommand 2 1", "getParameter 2000001 1", "freeBuffer 1",
                                            "sendCommand 3 1", "getParameter 2000001 1",
                                            "allocateBufferWithBackup 1", "fillBuffer"}),
                  stagesOf(mOmx->calls()));
        EXPECT_EQ(640, mDecoder->portWidth(1));
        EXPECT_EQ(368, mDecoder->portHeight(1));
        for (uint8_t i = 1; i <= 16; i++) {
            mOmx->queueOutput({100, i});
        }
        ASSERT_TRUE(delivered(2));
        EXPECT_EQ((Outputs::Unit{100, 16}), mOutputs.seen().back())
            << "five rounds of three buffers are skipped";
        EXPECT_EQ(0, mDecoder->threadError());
        mDecoder.reset();
        mOmx->setBuffers(1, 2, 4096);
    }
}

// The second change: what the first left over must not let it free buffers that are out.
TEST_F(DecoderTest, NothingIsSubmittedWhileThePortChanges) {
    start();
    ASSERT_TRUE(change(320, 240, 2) && holdsOutputs(2));
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
    EXPECT_TRUE(holdsOutputs(2));
}

TEST_F(DecoderTest, FailedChangeEndsTheDecoderAndLocksNothing) {
    for (const auto& [call, error] :
         {std::pair("sendCommand", 20), {"getParameter", 13}, {"allocateBufferWithBackup", 15}}) {
        mInputCalls.count = 0;
        start(0x2002);
        reportSize(640, 368, 2);
        ASSERT_TRUE(askedToDisable() && returnOutputs());
        mOmx->refuse(call);
        mOmx->sendEvent(OMX_EventCmdComplete, OMX_CommandPortDisable, 1);
        ASSERT_TRUE(eventually([&, wanted = error] { return mDecoder->threadError() == wanted; })) << call;
        EXPECT_TRUE(eventually([this] { return mInputCalls.count >= 1; }))
            << "a waiting producer learns of it";
        expectEnds([this] { mOmx->waitDelivered(); });  // the filled queue is not locked
        EXPECT_EQ(error, boundedDeInit(false));
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
        auto ended = std::async(std::launch::async, [this] { EXPECT_EQ(27, mDecoder->deInit(false)); });
        if (!before) {
            ASSERT_TRUE(eventually([] { return loggedCount("wait to end") == 1; }));
            mOmx->sendEvent(OMX_EventError, 1, 2);
        }
        expectEnd(std::move(ended));
    }
}

TEST_F(DecoderTest, TeardownInTheMiddleOfAChange) {
    for (const std::string stage : {"waits for buffers", "freed", "populated"}) {
        for (const bool bypass : {true, false}) {
            start();
            reportSize(640, 368, 3);
            ASSERT_TRUE(askedToDisable());
            ASSERT_TRUE(stage[0] == 'w' || returnOutputs());
            ASSERT_TRUE(stage[0] != 'p' || completeDisable(3));
            mPatience.reset();
            std::unique_ptr<LongWaits> waits;
            if (bypass) {  // an orderly end has waits that nothing but their length ends
                waits = std::make_unique<LongWaits>(mClock);
            }
            boundedDeInit(bypass);
            EXPECT_EQ(0, mOmx->liveBuffers());
            expectEnds([this] { mDecoder.reset(); });
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
