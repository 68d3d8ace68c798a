// Proves the receiving channel as Java meets it: units in, pictures in the pool, and closing against
// everything at once. Catches a buffer's offset ignored, a picture that misses its pool, a thread left
// attached, a lock held across Java or the decoder, a decoder that ends under a call or by its own thread,
// two decoders alive at once.
#include <gmock/gmock.h>

#include <future>
#include <thread>

#include "context/kiv_context.h"
#include "tests/jni/bridge.h"
#include "tests/support/fake_clock.h"

namespace zem::test {
namespace {

using ::testing::ElementsAre;

using Bytes = std::vector<uint8_t>;

class ReceiveBridge : public Bridge {
  protected:
    void open() {
        call<void>(kVideoRx, "setVideoDecoderEnv", mPool);
        ASSERT_TRUE(call<jboolean>(kVideoRx, "openVideoDecoder", mPool, jint{2}, jint{64}, jint{48}));
    }
    jint decode(FakeByteBuffer& buffer, jint offset, jint size, jboolean flag = JNI_TRUE) {
        return callWith(&buffer, kVideoRx, "decodeVideo", offset, size, flag);
    }
};

TEST_F(ReceiveBridge, UnitsReachTheDecoder) {
    fakeDecoder().width = 30;
    fakeDecoder().height = 15;
    FakeByteBuffer buffer(8), header(3);
    buffer.bytes = {0, 1, 2, 3, 4, 5, 6, 7};
    header.bytes = {9, 8, 7};
    EXPECT_EQ(callWith(&header, kVideoRx, "setEncoderHeader", jint{2}), 2);
    open();
    EXPECT_EQ(decode(buffer, 1, 7), 0);
    EXPECT_EQ(decode(buffer, 3, 5), 0);
    EXPECT_EQ(decode(buffer, 8, 0, JNI_FALSE), 0);
    EXPECT_THAT(fakeDecoder().units, ElementsAre(Bytes{9, 8}, Bytes{3, 4, 5, 6, 7}, Bytes{}));
    EXPECT_EQ(call(kVideoRx, "getDecodedVideoWidth", mPool), 30);
    EXPECT_EQ(call(kVideoRx, "getDecodedVideoHeight", mPool), 15);
    call<void>(kVideoRx, "closeVideoDecoder", mPool);
    EXPECT_EQ(decode(buffer, 0, 8), -1);
}

// The pool is busy with a picture for as long as closing takes to begin: neither may wait for the other.
TEST_F(ReceiveBridge, ClosingDoesNotHoldUpADelivery) {
    fakeDecoder().output.assign(10, 3);
    std::promise<void> closing;
    auto begun = closing.get_future().share();
    mPool.beforeUsed = [&] {
        begun.wait();
        KivContext* const context = KivContext::getInstance();
        for (int i = 0; i < 1000; ++i) {
            context->getDecodedVideoWidth();
            context->IsDecoderOpen();
        }
    };
    // Not as Java does it: a call's references would mix with the delivery's.
    call<void>(kVideoRx, "setVideoDecoderEnv", mPool);
    ASSERT_TRUE(KivContext::getInstance()->openVideoDecoder(2, 64, 48));
    while (mPool.requests() == 0) {
        std::this_thread::yield();
    }
    closing.set_value();
    KivContext::getInstance()->closeVideoDecoder();
    ASSERT_FALSE(mPool.used().empty());
    EXPECT_EQ(mPool.used()[0].payload, Bytes(10, 3));
    EXPECT_EQ(fakeDecoder().endedByOutputThread, 0);
}

// Java is meant to serialise these calls. Here it does not: sanitizers and the decoder's own counts tell.
TEST_F(ReceiveBridge, ClosingRacesWithDecodesHeadersAndOpens) {
    FakeClock clock(1000000);
    fakeDecoder().output.assign(100, 5);
    KivContext* const context = KivContext::getInstance();
    JNIEnv* const env = mVm.env();
    const jobject pool = mVm.local(mPool);
    for (int round = 0; round < 12; ++round) {
        fakeDecoder().waitsForClose = round % 3 == 2;
        mPool.forgetUsed();
        std::atomic<bool> stop{false};
        std::vector<std::thread> racers;
        for (int i = 0; i < 3; ++i) {
            racers.emplace_back([&stop, context, i, round] {
                Bytes unit(21 + i, 0);
                while (!stop) {
                    context->decodeVideo(unit.data(), 21 + i, i);
                    context->getDecodedVideoHeight();
                    context->keepEncoderHeader(unit.data(), 8);
                    if (i == 2 && round % 2 == 1) {
                        context->openVideoDecoder(2, 64, 48);
                        context->closeVideoDecoder(round % 4 == 1);
                    }
                }
            });
        }
        for (int i = 0; i < 5; ++i) {
            context->setSink(KivContext::Sink::Decoder,
                             std::make_shared<KivContext::DataCallback>(env, pool));
            context->openVideoDecoder(2, 64, 48);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            context->closeVideoDecoder();
        }
        stop = true;
        for (std::thread& racer : racers) {
            racer.join();
        }
        context->closeVideoDecoder();
        EXPECT_EQ(fakeDecoder().living, 0);
        EXPECT_EQ(mVm.globalRefs() + mPool.lentBuffers(), 0);
    }
    env->DeleteLocalRef(pool);
    EXPECT_EQ(fakeDecoder().overlappingCalls, 0);
    EXPECT_EQ(fakeDecoder().overlappingLives, 0);
    EXPECT_EQ(fakeDecoder().endedInCall, 0);
    EXPECT_EQ(fakeDecoder().endedByOutputThread, 0);
}

}  // namespace
}  // namespace zem::test
