// Proves the encoder's life cycles: every order of open, encode and close, with every call to the
// component refused once. Would catch a node, buffer or thread left behind, a close that hangs, and an
// output thread that meets freed memory.
#include <future>

#include "codec/encode_output.h"
#include "omx/buffer_info.h"
#include "tests/codec/video_encoder_fixture.h"

using namespace zem::test;

namespace {

using VideoEncoderLife = VideoEncoderTest;
using Units = std::vector<std::string>;

// Time passes quickly, except in the first wait.
class OneLongWait final : public zem::Clock {
  public:
    OneLongWait() { zem::setClock(this); }
    ~OneLongWait() override { zem::setClock(nullptr); }
    void sleepMicros(int64_t) override { usleep(100); }
    timespec deadlineAfterMicros(int64_t) override {
        return {time(nullptr) + (mWaiting.exchange(true) ? 0 : 60), 0};
    }
    std::atomic<bool> mWaiting{false};
};

TEST_F(VideoEncoderLife, OpenConfiguresEncodesAndCloses) {
    answerWith("unit");
    EXPECT_EQ(open(), 1);
    EXPECT_EQ(mEncoder->IsOpen(), 1);
    EXPECT_EQ(mEncoder->getWidth(), 32);
    EXPECT_EQ(mEncoder->getHeight(), 16);
    EXPECT_TRUE(logged(4, "omx encoder [gop:30, ratecontrol:1]"));
    EXPECT_TRUE(logged(4, "omx encoder [ret:1, codec:OMX.qcom.video.encoder.avc, hardware:2001]"));
    EXPECT_EQ(mOmx->parameter<OMX_VIDEO_PARAM_AVCTYPE>(OMX_IndexParamVideoAvc, 1).nPFrames, 30u);
    EXPECT_EQ(mOmx->parameter<OMX_VIDEO_PARAM_BITRATETYPE>(OMX_IndexParamVideoBitrate, 1).eControlRate, 1);
    EXPECT_EQ(mOmx->parameter<OMX_VIDEO_PARAM_BITRATETYPE>(OMX_IndexParamVideoBitrate, 1).nTargetBitrate,
              4000000u);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(encode(), 0);
        mOmx->waitDelivered();
    }
    EXPECT_GE(mClock.sleepsOf(30000), 4) << "paced";
    waitForUnits(4);
    EXPECT_EQ(deliveredUnits(), (Units{"unit0", "unit1", "unit2", "unit3"}));
    const auto lastId = mOmx->inputs().back().buffer;
    mEncoder->close(false);
    EXPECT_EQ(mEncoder->IsOpen(), 0);
    EXPECT_EQ(mOmx->inputs().back().flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_EOS));
    EXPECT_EQ(mOmx->inputs().back().buffer, lastId);
    EXPECT_EQ(mOmx->inputs().back().timestamp, 4 * 66666);
    EXPECT_EQ(deliveredUnits().back(), "tail");
    EXPECT_EQ(g_encodedSendCnt, 0) << "although the tail moved it on";
    expectNothingLeft();
    mEncoder->close(false);
    EXPECT_EQ(loggedCount("omxMpegVideoEncoder::close : end"), 1);
}

TEST_F(VideoEncoderLife, WhatOpenRefuses) {
    mEncoder = std::make_unique<omxMpegVideoEncoder>(nullptr);
    for (const int format : {0, 3, -1}) {
        EXPECT_EQ(mEncoder->open(format, 32, 16, 1, 1, 1, false), 0);
    }
    for (const int width : {0, -32, 1 << 30}) {
        EXPECT_EQ(mEncoder->open(1, width, 16, 1, 1, 1, false), 0);
    }
    EXPECT_EQ(mEncoder->getWidth(), -1) << "nothing has changed";
    EXPECT_EQ(mEncoder->open(2, 32, 16, 1, 1, 1, false), 1);
    EXPECT_EQ(mEncoder->open(1, 64, 64, 1, 1, 1, false), 0) << "an object starts a component once";
    EXPECT_EQ(mEncoder->IsOpen(), 0);
    EXPECT_EQ(mEncoder->encode(nullptr, 0, uniformPixels(64 * 64).data(), 64), -1);
    mEncoder = std::make_unique<omxMpegVideoEncoder>("OMX.qcom.video.encoder.avc");
    EXPECT_EQ(mEncoder->open(1, 32, 16, 1, 1, 1, false), 0) << "a name given starts nothing";
    EXPECT_TRUE(logged(4, "omxCodecCommon::omxCodecCommon + [OMX.qcom.video.encoder.avc]"));
    EXPECT_EQ(mOmx->callCount("allocateNode"), 1);
}

TEST_F(VideoEncoderLife, CloseBeforeOpenOnlyResets) {
    mEncoder = std::make_unique<omxMpegVideoEncoder>(nullptr);
    g_encodedSendCnt = 2;
    mEncoder->close(true);
    EXPECT_EQ(g_encodedSendCnt, 0);
    EXPECT_EQ(loggedCount("::close"), 0);
    EXPECT_TRUE(mClock.sleeps().empty());
}

TEST_F(VideoEncoderLife, HeaderOnlyOutputGoesToTheHeader) {
    answerWith("header");
    EXPECT_EQ(open(32, 16, true), 1);
    EXPECT_TRUE(logged(4, "omx encoder(only create) ret:1"));
    ASSERT_EQ(encode(), 0);
    mOmx->waitDelivered();
    mEncoder->close(false);
    EXPECT_EQ(deliveredHeaders(), (Units{"header0", "tail"}));
    EXPECT_TRUE(deliveredUnits().empty());
}

TEST_F(VideoEncoderLife, CloseWithoutAFrameAbandonsTheStream) {
    ASSERT_EQ(open(), 1);
    mOmx->forgetCalls();
    mEncoder->close(false);
    EXPECT_TRUE(logged(4, "omxMpegVideoEncoder::omx_send_final_data (m_omxTimeStampLfile == 0)"));
    EXPECT_EQ(mOmx->callCount("sendCommand"), 0);
}

TEST_F(VideoEncoderLife, CloseTypeIsForTwoChips) {
    struct Case {
        const char* component;
        bool heeded;
    };
    for (const Case& c : {Case{"OMX.SEC.avc.enc", false}, Case{"OMX.Exynos.avc.enc", true},
                          Case{"OMX.other.avc.enc", true}}) {  // the last stands for 0x2002, forced by itself
        useChip(nullptr, nullptr, {c.component});
        ASSERT_EQ(open(), 1);
        const bool force = mEncoder->getHardwareBase() != 0x2002;
        mEncoder->setCloseType(force);
        mOmx->forgetCalls();
        ASSERT_EQ(encode(), 0);
        mEncoder->close(false);
        EXPECT_EQ(mOmx->callCount("sendCommand") == 0, c.heeded && force) << c.component;
        EXPECT_EQ(loggedCount("deinit set force"), c.heeded ? 1 : 0);
    }
}

TEST_F(VideoEncoderLife, ComponentThatStoppedClosesTheEncoder) {
    ASSERT_EQ(open(), 1);
    mOmx->setEmptyAnswer(Answer::kNever);
    EXPECT_EQ(encode(), 0);
    mClock.forget();
    EXPECT_EQ(encode(), 0);
    EXPECT_EQ(mClock.sleepsOf(30000), 11) << "ten looks at a busy component, and the pace";
    EXPECT_EQ(encode(), -2);
    EXPECT_TRUE(logged(4, "omxMpegVideoEncoder::close : omx_send_final_data (f:1)"));
    EXPECT_EQ(mEncoder->IsOpen(), 0);
    expectNothingLeft();
    EXPECT_EQ(encode(), -1);
    EXPECT_EQ(open(), 1) << "the next one works";
}

TEST_F(VideoEncoderLife, CloseRequestFreesABlockedEncode) {
    ASSERT_EQ(open(), 1);
    mOmx->setEmptyAnswer(Answer::kNever);
    ASSERT_EQ(encode(), 0);
    ASSERT_EQ(encode(), 0);
    OneLongWait limits;
    auto blocked = std::async(std::launch::async, [this] { return encode(); });
    while (!limits.mWaiting) {
        usleep(100);
    }
    mEncoder->requestClose();
    ASSERT_EQ(blocked.wait_for(std::chrono::milliseconds(1500)), std::future_status::ready);
    EXPECT_EQ(blocked.get(), -1);
    EXPECT_EQ(loggedCount("timeout"), 0);
    EXPECT_EQ(mEncoder->IsOpen(), 1) << "closing is the requester's";
    mEncoder.reset();
}

// Outputs are still on their way whenever the encoder goes.
TEST_F(VideoEncoderLife, RapidCycles) {
    answerWith("u");
    for (int i = 0; i < 24; ++i) {
        ASSERT_EQ(open(), 1);
        for (int frame = 0; frame < i % 4; ++frame) {
            ASSERT_EQ(encode(), 0);
        }
        if (i % 2 == 0) {
            mEncoder->close(i % 3 == 0);
        }
        mEncoder.reset();
        expectNothingLeft();
        EXPECT_EQ(g_firstEncoded, nullptr);
    }
}

TEST_F(VideoEncoderLife, EveryCallRefusedOnce) {
    FakeClock fast(1000);
    mOmx->setStateAnswer(Answer::kBeforeReturn);
    mOmx->setEmptyAnswer(Answer::kBeforeReturn);
    answerWith("u");
    const auto session = [this] {
        const int opened = open();
        int encoded = 0;
        for (int i = 0; i < 3; ++i) {
            encoded += encode();
        }
        mEncoder->close(false);
        mEncoder.reset();
        return opened == 1 && encoded == 0;
    };
    ASSERT_TRUE(session());
    const int calls = mOmx->callCount("");
    ASSERT_GT(calls, 30);
    for (int n = 1; n <= calls; ++n) {
        mOmx->refuseCall(n);
        session();
        expectNothingLeft();
        mOmx->refuseCall(0);
    }
    EXPECT_TRUE(session());
}

}  // namespace
