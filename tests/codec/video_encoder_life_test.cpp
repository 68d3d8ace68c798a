// Proves the encoder's life cycles: open, encode and close, with every call to the component refused
// once, and over a component that keeps or refuses its input. Would catch a node or buffer left behind,
// an input buffer lost, a wait that never ends or that nothing but its limit ends.
#include <atomic>
#include <thread>

#include "codec/encode_output.h"
#include "codec/input_semaphore.h"
#include "omx/buffer_info.h"
#include "tests/codec/video_encoder_fixture.h"

using namespace zem::test;

namespace {

using VideoEncoderLife = VideoEncoderTest;
using Units = std::vector<std::string>;

TEST_F(VideoEncoderLife, OpenConfiguresEncodesAndCloses) {
    answerWith("unit");
    ASSERT_EQ(open(), 1);
    EXPECT_EQ(mEncoder->getWidth(), 32);
    EXPECT_EQ(mEncoder->getHeight(), 16);
    EXPECT_EQ(mOmx->parameter<OMX_VIDEO_PARAM_AVCTYPE>(OMX_IndexParamVideoAvc, 1).nPFrames, 30u);
    const auto rate = mOmx->parameter<OMX_VIDEO_PARAM_BITRATETYPE>(OMX_IndexParamVideoBitrate, 1);
    EXPECT_EQ(rate.eControlRate, 1);
    EXPECT_EQ(rate.nTargetBitrate, 4000000u);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(encode(), 0);
        mOmx->waitDelivered();
    }
    EXPECT_GE(mClock.sleepsOf(30000), 4) << "paced";
    EXPECT_TRUE(eventually([] { return deliveredUnits().size() == 4; }));
    const auto lastId = mOmx->inputs().back().buffer;
    const LongWaits waits(mClock);  // the tail ends the wait for it
    mEncoder->close(false);
    EXPECT_EQ(deliveredUnits(), (Units{"unit0", "unit1", "unit2", "unit3", "tail"}));
    EXPECT_EQ(mEncoder->IsOpen(), 0);
    EXPECT_EQ(mOmx->inputs().back().flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_EOS));
    EXPECT_EQ(mOmx->inputs().back().buffer, lastId);
    EXPECT_EQ(mOmx->inputs().back().timestamp, 4 * 66666);
    EXPECT_EQ(g_encodedSendCnt, 0) << "although the tail moved it on";
    expectNothingLeft();
    mEncoder->close(false);
    EXPECT_EQ(loggedCount("omxMpegVideoEncoder::close : end"), 1);
}

TEST_F(VideoEncoderLife, WhatOpenRefuses) {
    mEncoder = std::make_unique<omxMpegVideoEncoder>(nullptr);
    const int refused[][2] = {{0, 32}, {3, 32}, {1, 0}, {1, -32}, {1, 1 << 30}};  // format, width
    for (const auto& each : refused) {
        EXPECT_EQ(mEncoder->open(each[0], each[1], 16, 1, 1, 1, false), 0);
    }
    EXPECT_EQ(mEncoder->open(2, 32, 16, 1, 1, 1, false), 1);
    EXPECT_EQ(mEncoder->open(1, 64, 64, 1, 1, 1, false), 0) << "an object starts a component once";
    EXPECT_EQ(mEncoder->encode(nullptr, 0, uniformPixels(64, 64).data(), 64), -1);
    EXPECT_EQ(mOmx->callCount("allocateNode"), 1);
}

TEST_F(VideoEncoderLife, HeaderOnlyOutputGoesToTheHeader) {
    answerWith("header");
    EXPECT_EQ(open(32, 16, true), 1);
    ASSERT_EQ(encode(), 0);
    mOmx->waitDelivered();
    const LongWaits waits(mClock);
    mEncoder->close(false);
    EXPECT_EQ(delivered(HandedOff::kHeader), (Units{"header0", "tail"}));
    EXPECT_TRUE(deliveredUnits().empty());
}

TEST_F(VideoEncoderLife, CloseTypeIsNotForEveryChip) {
    for (const char* component : {"OMX.SEC.avc.enc", "OMX.Exynos.avc.enc"}) {
        useChip(nullptr, nullptr, {component});
        ASSERT_EQ(open(), 1);
        mEncoder->setCloseType(true);
        ASSERT_EQ(encode(), 0);
        mOmx->forgetCalls();
        mEncoder->close(false);
        EXPECT_EQ(mOmx->callCount("sendCommand"), component[4] == 'S' ? 2 : 0) << component;
    }
}

TEST_F(VideoEncoderLife, ComponentThatStoppedClosesTheEncoder) {
    FakeClock clock(10);  // a limit well above the pauses between the posts
    ASSERT_EQ(open(), 1);
    mOmx->setEmptyAnswer(Answer::kNever);
    EXPECT_EQ(encode(), 0);
    clock.forget();
    EXPECT_EQ(encode(), 0);
    EXPECT_EQ(clock.sleepsOf(30000), 11) << "ten looks at a busy component, and the pace";
    std::atomic<bool> stop{false};
    std::thread otherCodec([&stop] {  // whose posts do not lengthen the limit
        while (!stop) {
            semaphoreEmptyBufferPost(nullptr, nullptr);
            usleep(1000);
        }
    });
    EXPECT_EQ(encode(), -2);
    stop = true;
    otherCodec.join();
    EXPECT_TRUE(logged(6, "QCOMOMXINTERFACE - OMX TERMINATED. timeout. STOP SENDING DATA."));
    EXPECT_EQ(mEncoder->IsOpen(), 0);
    expectNothingLeft();
    EXPECT_EQ(encode(), -1);
    EXPECT_EQ(open(), 1) << "the next one works";
    mEncoder.reset();  // the clock must outlive its threads
}

TEST_F(VideoEncoderLife, ReturnedBufferOrCloseRequestEndsTheWait) {
    for (const bool returned : {true, false}) {
        useChip("8960", nullptr, {"OMX.qcom.video.encoder.avc"});
        ASSERT_EQ(open(), 1);
        mOmx->setEmptyAnswer(Answer::kNever);
        ASSERT_EQ(encode(), 0);
        ASSERT_EQ(encode(), 0);
        {
            const LongWaits limits(mClock);
            const auto wake = [&] {
                returned ? mOmx->sendEmptied(mOmx->buffers(0)[1]) : mEncoder->requestClose();
            };
            EXPECT_EQ(blockedUntil([this] { return encode(); }, [&] { return limits.waits() > 0; }, wake),
                      returned ? 0 : -1);
        }
        EXPECT_EQ(mEncoder->IsOpen(), 1) << "closing is the requester's";
        mEncoder.reset();
    }
}

TEST_F(VideoEncoderLife, RefusedFramesCostNoBuffer) {
    ASSERT_EQ(open(), 1);
    for (int i = 0; i < 3; ++i) {  // more often than there are buffers
        mOmx->refuse("emptyBuffer");
        EXPECT_EQ(encode(), -1);
    }
    EXPECT_EQ(encode(), 0);
    mOmx->sendEmptied(9999);
    mOmx->waitDelivered();
    EXPECT_EQ(encode(), -1) << "the component has failed";
    EXPECT_EQ(mOmx->inputs().size(), 2u) << "and is sent to all the same";
    mOmx->setBuffers(0, 2, 1000);  // a picture needs 2304
    ASSERT_EQ(open(), 1);
    EXPECT_EQ(encode(), -1);
    EXPECT_EQ(loggedCount("component's buffer has 1000"), 1);
}

TEST_F(VideoEncoderLife, EveryCallRefusedOnce) {
    FakeClock fast(1000);
    for (const char* component : {"OMX.qcom.video.encoder.avc", "OMX.Exynos.avc.enc"}) {
        useChip(component[4] == 'q' ? "8960" : nullptr, nullptr, {component});
        mOmx->setStateAnswer(Answer::kBeforeReturn);
        mOmx->setEmptyAnswer(Answer::kBeforeReturn);
        answerWith("u");
        for (const bool skipFinal : {false, true}) {
            expectEachRefusalClean([this, skipFinal] {
                const int opened = open();
                const int encoded = encode() + encode();
                mEncoder->close(skipFinal);
                mEncoder.reset();
                return opened == 1 && encoded == 0;
            });
        }
    }
}

}  // namespace
