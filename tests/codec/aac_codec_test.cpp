// Proves what a call of the AAC codecs sends, waits for and returns, and that nothing it waits for can keep
// it. Would catch: a wake-up lost or left over, a ring of waits with output and message thread, a block
// that overruns the component's buffer, output that is torn, lost or delivered twice.
#include <gtest/gtest.h>

#include "codec/omx_aac_decoder.h"
#include "codec/omx_aac_encoder.h"
#include "tests/codec/component_fixture.h"

using namespace zem::test;

namespace {

constexpr char kEncoderName[] = "OMX.qcom.audio.encoder.aac";
constexpr char kDecoderName[] = "OMX.qcom.audio.decoder.aac";

class AacCodecTest : public ComponentTest {
  protected:
    AacCodecTest() {
        serve({kEncoderName, kDecoderName});
        OMX_AUDIO_PARAM_PORTFORMATTYPE format{};
        format.eEncoding = OMX_AUDIO_CodingAAC;
        mOmx->presetParameter(OMX_IndexParamAudioPortFormat, 1, format);
    }
    ~AacCodecTest() override {
        mEncoder.reset();
        mDecoder.reset();
        expectNothingLeft();
    }
    void open(bool encoder) {
        mEncoder = encoder ? std::make_unique<omxAacEncoder>(nullptr) : nullptr;
        mDecoder = encoder ? nullptr : std::make_unique<omxAacDecoder>(nullptr);
        ASSERT_EQ(encoder ? mEncoder->init(2, 44100, 4) : mDecoder->init(2, 44100, 4), 1);
    }
    int send(size_t size = 8) {
        std::vector<uint8_t> block(size, 's');
        const int bytes = static_cast<int>(size);
        return mEncoder != nullptr ? mEncoder->encode(block.data(), bytes)
                                   : mDecoder->decode(block.data(), bytes);
    }
    /// When an output comes, however slow the machine.
    int sendPatiently(size_t size = 8) {
        const LongWaits waits(mClock);
        return send(size);
    }
    omxCodecCommon& common() {
        return mEncoder != nullptr ? static_cast<omxCodecCommon&>(*mEncoder) : *mDecoder;
    }
    std::string pull(int max) {
        std::string out(static_cast<size_t>(max), '\0');
        auto* const bytes = reinterpret_cast<uint8_t*>(out.data());
        const int size = mEncoder != nullptr ? mEncoder->getData(bytes, max) : mDecoder->getData(bytes, max);
        return out.substr(0, static_cast<size_t>(size));
    }
    std::string take() {
        const GatheredOutput output = common().takeGathered();
        return {reinterpret_cast<char*>(output.bytes.get()), static_cast<size_t>(output.size)};
    }
    bool gathers(int bytes) {
        return eventually([=] { return common().GetUsedSize() >= bytes; });
    }
    using ComponentTest::answerWith;
    void answerWith(const std::string& text) { answerWith(std::vector<uint8_t>(text.begin(), text.end())); }
    /// The component keeps all input buffers.
    void exhaust() {
        mOmx->setInputHandler(nullptr);
        mOmx->setEmptyAnswer(Answer::kNever);
        for (size_t i = mOmx->buffers(0).size(); i > 0; i--) {
            EXPECT_EQ(send(), 0);
        }
    }
    /// What a call that has begun to wait returns when `wake` was called.
    int sentAfter(const std::function<void()>& wake) {
        forgetLog();  // from the line before the wait on outputs count for this call
        return blockedUntil([this] { return send(); }, [] { return loggedCount(":before ") == 1; }, wake);
    }

    std::unique_ptr<omxAacEncoder> mEncoder;
    std::unique_ptr<omxAacDecoder> mDecoder;
};

TEST_F(AacCodecTest, SendsGathersAndHandsOut) {
    for (const bool encoder : {true, false}) {
        open(encoder);
        answerWith("unit");
        EXPECT_EQ(sendPatiently(), 8);
        EXPECT_EQ(sendPatiently(7), 7);
        EXPECT_EQ(mOmx->inputs().back().bytes.size(), 7U);
        EXPECT_EQ(mOmx->inputs().back().timestamp, encoder ? 200000 : 100000);
        EXPECT_EQ(pull(7), "") << "it stays";
        EXPECT_EQ(pull(8), "unitunit");
        EXPECT_EQ(take(), "");
        EXPECT_EQ(sendPatiently(), 8);
        EXPECT_EQ(take(), "unit");
        EXPECT_EQ(common().GetUsedSize(), 0);
    }
    EXPECT_EQ(delivered(HandedOff::kSound).size(), 0U);
}

TEST_F(AacCodecTest, NoOutputInTimeIsNoFailure) {
    for (const bool encoder : {true, false}) {
        open(encoder);
        mOmx->setInputHandler(nullptr);
        mClock.forget();
        EXPECT_EQ(send(), 0);
        EXPECT_EQ(mClock.waitsOf(500000), 1);
        EXPECT_EQ(mClock.sleepsOf(5000), encoder ? 1 : 0);
        mOmx->queueOutput({'l', 'a', 't', 'e'});  // nobody waits for it
        EXPECT_TRUE(gathers(4));
        EXPECT_EQ(send(), 0) << "what came between the calls wakes none";
        answerWith("unit");
        EXPECT_EQ(sendPatiently(), 8);
        EXPECT_EQ(take(), "lateunit");
    }
}

// Output thread, message thread and a call that waits for a buffer: none may wait for the next.
TEST_F(AacCodecTest, InputComesBackBehindOutputs) {
    open(true);
    exhaust();
    const auto held = mOmx->heldBuffers(0);
    const LongWaits waits(mClock);
    EXPECT_EQ(sentAfter([&] {
                  mOmx->queueOutput({'a'});
                  mOmx->queueOutput({'b'});
                  mOmx->sendEmptied(held[0]);
              }),
              8)
        << "an output that came during the wait for a buffer counts";
    EXPECT_TRUE(gathers(2));
    EXPECT_EQ(take(), "ab");
}

TEST_F(AacCodecTest, RequestToCloseEndsEveryWait) {
    for (const bool encoder : {true, false}) {
        open(encoder);
        mOmx->setInputHandler(nullptr);
        mOmx->setEmptyAnswer(Answer::kLater);
        {
            const LongWaits waits(mClock);
            EXPECT_EQ(sentAfter([this] { common().requestClose(); }), 0) << "for an output";
        }
        open(encoder);
        exhaust();
        const size_t sent = mOmx->inputs().size();
        EXPECT_EQ(sentAfter([this] { common().requestClose(); }), 0) << "for an input buffer";
        EXPECT_EQ(mOmx->inputs().size(), sent);
        ASSERT_EQ(encoder ? mEncoder->init(1, 8000, 0) : mDecoder->init(1, 8000, 0), 1);
        mOmx->setEmptyAnswer(Answer::kLater);
        answerWith("again");
        EXPECT_EQ(sendPatiently(), 8) << "an init forgets the request";
    }
}

TEST_F(AacCodecTest, WhatCannotBeSent) {
    open(true);
    answerWith("unit");
    for (int i = 0; i < 3; i++) {  // more than buffers: none stays reserved
        EXPECT_EQ(send(4097), 0);
        mOmx->refuse("emptyBuffer");
        EXPECT_EQ(send(), 0);
    }
    EXPECT_EQ(loggedCount("block of 4097 bytes"), 3);
    EXPECT_EQ(mEncoder->encode(nullptr, 4), -1);
    EXPECT_EQ(sendPatiently(4096), 4096);
    open(false);
    answerWith("unit");
    EXPECT_EQ(mDecoder->decode(nullptr, 4), -1);
    EXPECT_EQ(send(8193), 0);
    EXPECT_EQ(loggedCount("8193 bytes at"), 1);
    EXPECT_EQ(sendPatiently(8192), 8192);
    exhaust();
    sentAfter([this] { mOmx->sendEvent(OMX_EventError, 1, 0); });
    EXPECT_EQ(send(), -1) << "a component that has failed";
}

TEST_F(AacCodecTest, ComponentThatCannotBeStarted) {
    for (const bool encoder : {true, false}) {
        for (const char* call : {"allocateNode", "setParameter", "useBuffer", "fillBuffer"}) {
            mOmx->refuse(call);
            open(encoder);
            EXPECT_EQ(send(), -1) << call;
            EXPECT_EQ(loggedCount("::init : no component"), 1);
            EXPECT_EQ(mOmx->liveNodes(), 0);
            forgetLog();
        }
    }
}

TEST(AacBitrate, EndsOfTheTable) {
    EXPECT_EQ(omxAacEncoder::getBitrate(-1) + omxAacEncoder::getBitrate(11), 0);
    EXPECT_EQ(omxAacEncoder::getBitrate(0), 64000);
    EXPECT_EQ(omxAacEncoder::getBitrate(10), 500000);
}

}  // namespace
