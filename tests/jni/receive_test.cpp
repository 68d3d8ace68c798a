// Proves the receiving channel as Java meets it: units in, pictures in the pool, and closing against
// everything at once. Catches a buffer's offset ignored, a picture that misses its pool, a thread left
// attached, a lock held across Java or the decoder, a decoder that ends under a call or by its own thread,
// two decoders alive at once, a header decoded twice.
#include <gmock/gmock.h>

#include <future>
#include <map>
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

/// Ends the program when `work` hangs: nothing could be cleaned up behind it.
void mustEnd(const char* what, std::function<void()> work) {
    auto done = std::async(std::launch::async, std::move(work));
    if (done.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
        fprintf(stderr, "%s hangs\n", what);
        abort();
    }
}

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
    open();
    uint8_t unit[8] = {};
    EXPECT_EQ(KivContext::getInstance()->decodeVideo(unit, 8, 1), 0);
    mustEnd("closing during a delivery", [&] {
        closing.set_value();
        KivContext::getInstance()->closeVideoDecoder();
    });
    ASSERT_EQ(mPool.used().size(), 1u);
    EXPECT_EQ(mPool.used()[0].payload, Bytes(10, 3));
    EXPECT_EQ(fakeDecoder().endedByOutputThread, 0);
}

// Java is meant to serialise these calls. Here it does not: sanitizers and the decoder's own counts tell.
TEST_F(ReceiveBridge, ClosingRacesWithDecodesHeadersAndOpens) {
    FakeClock clock(1000000);
    KivContext* const context = KivContext::getInstance();
    std::atomic<int> headers{0};
    const std::function<void()> steps[] = {[=] {
                                               Bytes unit(30, 0);
                                               context->decodeVideo(unit.data(), 30, 1);
                                           },
                                           [=] {
                                               Bytes unit(21, 0);
                                               context->decodeVideo(unit.data(), 21, 0);
                                               context->getDecodedVideoHeight();
                                           },
                                           [=, &headers] {
                                               Bytes header(8, 0);
                                               const int number = ++headers;
                                               memcpy(header.data(), &number, sizeof number);
                                               header[7] = 1;
                                               context->keepEncoderHeader(header.data(), 8);
                                           },
                                           [=, &headers] {  // in every second round
                                               context->openVideoDecoder(2, 64, 48);
                                               context->closeVideoDecoder(headers % 2 == 0);
                                           }};
    for (int round = 0; round < 12; ++round) {
        fakeDecoder().output.assign(100, 5);
        fakeDecoder().waitsForClose = round % 3 == 2;
        fakeDecoder().units.clear();
        mPool.forgetUsed();
        mustEnd("a round of the race", [&] {
            JNIEnv* const env = mVm.env();
            const jobject pool = mVm.local(mPool);
            std::atomic<bool> stop{false};
            std::vector<std::thread> racers;
            for (size_t i = 0; i < (round % 2 == 1 ? 4 : 3); ++i) {
                racers.emplace_back([&stop, &step = steps[i]] {
                    while (!stop) {
                        step();
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
            env->DeleteLocalRef(pool);
        });
        std::map<Bytes, int> decoded;
        for (const Bytes& unit : fakeDecoder().units) {
            EXPECT_LE(unit.size() == 8 ? ++decoded[unit] : 0, 1) << "a header was decoded again";
        }
        EXPECT_EQ(fakeDecoder().living, 0);
        EXPECT_EQ(mVm.globalRefs() + mPool.lentBuffers(), 0);
    }
    EXPECT_EQ(fakeDecoder().overlappingCalls, 0);
    EXPECT_EQ(fakeDecoder().overlappingLives, 0);
    EXPECT_EQ(fakeDecoder().endedInCall, 0);
    EXPECT_EQ(fakeDecoder().endedByOutputThread, 0);
}

}  // namespace
}  // namespace zem::test
