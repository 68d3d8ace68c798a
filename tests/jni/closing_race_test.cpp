// Java is meant to serialise its calls. Here it does not: data calls, opens, closes and deliveries of both
// video paths meet. Sanitizers and the codecs' own counts tell. Catches a codec that ends under a call, by
// its own output thread or while another is alive, pixels let go under their reader, a reference left in
// the VM, a close that waits for a call that waits for the close.
#include <gtest/gtest.h>

#include <thread>

#include "context/kiv_context.h"
#include "tests/jni/bridge.h"
#include "tests/support/fake_clock.h"

namespace zem::test {
namespace {

using Bytes = std::vector<uint8_t>;

class ClosingRace : public Bridge {
  protected:
    void SetUp() override {
        Bridge::SetUp();
        mContext = KivContext::getInstance();
        mSelf = mVm.local(mPool);
    }
    void setSink(KivContext::Sink sink) {
        mContext->setSink(sink, std::make_shared<KivContext::DataCallback>(mVm.env(), mSelf));
    }
    void openAndClose() {
        setSink(KivContext::Sink::Encoder);
        setSink(KivContext::Sink::Decoder);
        while (fakeScreen().living !=
               0) {  // there is one at a time: a call may still read the last one's pixels
            std::this_thread::yield();
        }
        mContext->openVideoInput(1, 64, 48);
        mContext->openVideoEncoder(2, 1, 2, 3, false);
        mContext->openVideoDecoder(2, 64, 48);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        mContext->closeVideoInput();
        mContext->closeVideoEncoder();
        mContext->closeVideoDecoder();
    }
    void sendAndReceive(int number, bool camera) {
        Bytes bytes(12288);
        number == 0 ? mContext->captureScreen(1) : mContext->getVideoEncoderData(bytes.data(), 100);
        mContext->getCapturedScreenData(bytes.data(), 64 * 48 * 4);
        if (camera) {  // after it the screen is not captured any more
            mContext->setCameraData(bytes.data(), 64 * 48 * 3 / 2);
        }
        mContext->decodeVideo(bytes.data(), 21 + number, number);
        mContext->getDecodedVideoHeight();
        mContext->keepEncoderHeader(bytes.data(), 8);
    }
    static void expectSound(const FakeCodec& codec) {
        EXPECT_EQ(codec.living, 0);
        EXPECT_EQ(codec.overlappingCalls, 0);
        EXPECT_EQ(codec.overlappingLives, 0);
        EXPECT_EQ(codec.endedInCall, 0);
        EXPECT_EQ(codec.endedByOutputThread, 0);
    }

    KivContext* mContext = nullptr;
    jobject mSelf = nullptr;
};

TEST_F(ClosingRace, LeavesNothingOpenAndNothingBroken) {
    FakeClock clock(1000000);
    fakeEncoder().output.assign(100, 5);
    fakeDecoder().output.assign(100, 5);
    for (int round = 0; round < 20; ++round) {
        fakeEncoder().waitsForClose = round % 3 == 1;
        fakeDecoder().waitsForClose = round % 3 == 2;
        mPool.forgetUsed();
        std::atomic<bool> stop{false};
        std::vector<std::thread> racers;
        for (int i = 0; i < 3; ++i) {
            racers.emplace_back([&, i] {
                while (!stop) {
                    sendAndReceive(i, round % 5 == 4);
                    if (i == 2 && round % 2 == 1) {  // a second opener
                        mContext->openVideoEncoder(2, 1, 2, 3, false);
                        mContext->closeVideoEncoder();
                        mContext->openVideoDecoder(2, 64, 48);
                        mContext->closeVideoDecoder(round % 4 == 1);
                    }
                }
            });
        }
        for (int i = 0; i < 5; ++i) {
            openAndClose();
        }
        stop = true;
        for (std::thread& racer : racers) {
            racer.join();
        }
        mContext->closeVideoDecoder();  // a header may have come last
        EXPECT_EQ(fakeScreen().living, 0);
        EXPECT_EQ(mVm.globalRefs() + mPool.lentBuffers(), 0);
    }
    mVm.env()->DeleteLocalRef(mSelf);
    expectSound(fakeEncoder());
    expectSound(fakeDecoder());
}

}  // namespace
}  // namespace zem::test
