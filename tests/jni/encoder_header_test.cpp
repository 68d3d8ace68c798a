// Proves how a stream header is made, waited for and given up, at Java's boundary, in steps of the clock.
// Catches a poll too many, a result taken before the last wait, a running encoder that an attempt which opens
// nothing ends, a header of another that is lost by it.
#include <gmock/gmock.h>

#include "context/hand_off.h"
#include "context/kiv_context.h"
#include "tests/jni/bridge.h"
#include "tests/support/fake_clock.h"

namespace zem::test {
namespace {

class EncoderHeader : public Bridge {
  protected:
    jboolean create(jint source = 1, jint id = 2) {
        return call<jboolean>(kVideoTx, "createVideoEncoderHeader", mPool, source, id, jint{320}, jint{240},
                              jint{7000}, jint{15}, jint{0x1E02});
    }
    jint take(FakeByteBuffer& buffer) { return callWith(&buffer, kVideoTx, "deleteVideoEncoderHeader"); }
    jint set(FakeByteBuffer& buffer, jint size) {
        return callWith(&buffer, kVideoRx, "setEncoderHeader", size);
    }
};

// The header comes during the sleep with this number; the last one is after the encoder's end.
TEST_F(EncoderHeader, IsWaitedForInTwentyMillisecondPolls) {
    const struct {
        size_t arrives;
        int polls;
        bool result;
    } cases[] = {{0, 1, true}, {8, 9, true}, {9, 10, true}, {10, 10, true}, {99, 10, false}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.arrives);
        resetFakeMedia();
        size_t whenClosed = 99;
        FakeClock clock(1000000);
        clock.onSleep = [&](size_t sleep) {
            uint8_t unit[] = {1, 2, 3};
            if (sleep == row.arrives) {
                copyHeaderForDecoder(unit, 3);
            }
            if (whenClosed == 99 && fakeEncoder().living == 0) {
                whenClosed = sleep;
                EXPECT_EQ(fakeScreen().living, 0);
            }
        };
        EXPECT_EQ(create(), row.result);
        std::vector<int64_t> sleeps(static_cast<size_t>(row.polls), 20000);
        sleeps.push_back(300000);
        EXPECT_EQ(clock.sleeps(), sleeps);
        EXPECT_EQ(whenClosed, sleeps.size() - 1);
        EXPECT_EQ(fakeEncoder().closes, std::vector<bool>{true});
    }
}

// With the header of the other end in the slot throughout: nothing may touch it.
TEST_F(EncoderHeader, AFailedAttemptOnlyReturns) {
    const struct {
        const char* what;
        jint source, id;
        int openResult;
        jboolean result;
        size_t sleeps;
        int screens, encoders, sinks;
    } cases[] = {
        {"unknown source", 3, 2, 1, JNI_FALSE, 0, 0, 1, 1},
        {"source that never opens", 2, 2, 1, JNI_FALSE, 0, 0, 1, 1},
        {"unknown id", 1, 5, 1, JNI_FALSE, 0, 1, 0, 1},
        {"no encoder", 1, 2, 0, JNI_FALSE, 0, 1, 0, 1},
        {"one is there at once", 1, 2, 1, JNI_TRUE, 1, 0, 0, 0},
    };
    FakeByteBuffer peer(5), got(5);
    peer.bytes = {9, 8, 7, 6, 5};
    ASSERT_EQ(set(peer, 5), 5);
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        FakeClock clock(1000000);
        call<void>(kVideoTx, "setVideoEncoderEnv", mPool);
        fakeEncoder().openResult = 1;
        ASSERT_TRUE(openEncoder());
        fakeEncoder().openResult = row.openResult;
        EXPECT_EQ(create(row.source, row.id), row.result);
        EXPECT_EQ(clock.sleeps().size(), row.sleeps);
        EXPECT_EQ(fakeScreen().living, row.screens);
        EXPECT_EQ(fakeEncoder().living, row.encoders);
        EXPECT_EQ(mVm.globalRefs(), row.sinks);
        EXPECT_TRUE(KivContext::getInstance()->ReadyEncoderHeader());
    }
    EXPECT_EQ(take(got), 5);
    EXPECT_EQ(got.bytes, peer.bytes);
    EXPECT_EQ(take(got), 0);
}

TEST_F(EncoderHeader, RefusalsKeepTheSlotAsItIs) {
    FakeByteBuffer buffer(5), small(4), heap(5, false);
    EXPECT_EQ(set(buffer, 0), -1);
    EXPECT_EQ(set(buffer, 6), -1);
    EXPECT_EQ(take(buffer), 0) << "nothing was stored";
    buffer.bytes = {1, 2, 3, 4, 5};
    EXPECT_EQ(set(buffer, 5), 5);
    buffer.bytes = {6, 6, 6, 6, 6};  // a copy was stored
    EXPECT_EQ(set(buffer, 5), 0);
    EXPECT_EQ(take(small), -1);
    EXPECT_EQ(take(heap), -1);
    EXPECT_EQ(take(buffer), 5);
    EXPECT_EQ(buffer.bytes, (std::vector<uint8_t>{1, 2, 3, 4, 5}));
}

}  // namespace
}  // namespace zem::test
