// What AAC components are asked for, and how the decoder changes its port. Would catch: a wrong field of
// a port or a profile, a refusal that leaves a node or a dangling pointer behind, a walk without end, an
// output dropped after a change.
#include <OMX_Audio.h>

#include "omx/qcom_omx_interface_audio_dec.h"
#include "omx/qcom_omx_interface_audio_enc.h"
#include "tests/omx/omx_fixture.h"

namespace zem::test {
namespace {

constexpr auto kFormatIndex = OMX_IndexParamAudioPortFormat;

class AudioTest : public DecoderTest {
  protected:
    AudioTest() { listAac(); }
    void listAac() {
        OMX_AUDIO_PARAM_PORTFORMATTYPE format{};
        format.eEncoding = OMX_AUDIO_CodingAAC;
        mOmx->presetParameter(kFormatIndex, 1, format);
    }
    /// Null when creation failed; mResult is Create's.
    template <typename Component>
    std::unique_ptr<Component> made(int channels = 2, const char* name = kSecDecoder) {
        audioEncParams params{channels, 96000, 44100, 16, name};
        Component* component = nullptr;
        mResult = Component::Create(&component, &params);
        return std::unique_ptr<Component>(component);
    }
    OMX_AUDIO_PARAM_PCMMODETYPE pcm(OMX_U32 index) const {
        return mOmx->parameter<OMX_AUDIO_PARAM_PCMMODETYPE>(OMX_IndexParamAudioPcm, index);
    }
    int mResult = 0;
    /// Every read and write of a set-up of `steps` of each, refused; but for the read `harmless`.
    template <typename Component>
    void expectRefusalsClean(int steps, int harmless) {
        Component* unconnected = nullptr;
        EXPECT_EQ(28, Component::Create(&unconnected, nullptr));
        delete unconnected;
        EXPECT_EQ(nullptr, made<Component>(2, "OMX.none"));
        EXPECT_EQ(6, mResult);
        mOmx->refuse("allocateNode");
        EXPECT_EQ(nullptr, made<Component>());
        EXPECT_EQ(4, mResult);
        for (const std::string call : {"getParameter", "setParameter"}) {
            for (int step = 1; step <= steps; step++) {
                listAac();  // a walk that is refused writes back what it has
                mOmx->refuse(call, step);
                const bool works = call == "getParameter" && step == harmless;
                EXPECT_EQ(works, made<Component>() != nullptr) << call << step;
                EXPECT_EQ(0, mResult);
                EXPECT_EQ(0, mOmx->liveNodes());
            }
        }
    }
};

TEST_F(AudioTest, RefusedSetUpLeavesNothing) {
    expectRefusalsClean<QcomOmxInterfaceAudioEnc>(5, 3);
    expectRefusalsClean<QcomOmxInterfaceAudioDec>(3, 0);
}

TEST_F(AudioTest, EncoderParameters) {
    for (const int channels : {1, 2}) {
        const auto encoder = made<QcomOmxInterfaceAudioEnc>(channels);
        ASSERT_NE(nullptr, encoder);
        EXPECT_EQ(OMX_AUDIO_CodingPCM, port(0).format.audio.eEncoding);
        EXPECT_EQ(OMX_AUDIO_CodingAAC, port(1).format.audio.eEncoding);
        EXPECT_EQ(OMX_TRUE, port(1).format.audio.bFlagErrorConcealment);
        EXPECT_EQ(static_cast<OMX_U32>(channels), pcm(0).nChannels);
        EXPECT_EQ(44100U, pcm(0).nSamplingRate);
        const auto aac = mOmx->parameter<OMX_AUDIO_PARAM_AACPROFILETYPE>(OMX_IndexParamAudioAac, 1);
        EXPECT_EQ(96000U, aac.nBitRate);
        EXPECT_EQ(2, aac.eAACProfile);
        EXPECT_EQ(5, aac.eAACStreamFormat);
        EXPECT_EQ(channels == 1 ? 3 : 0, static_cast<int>(aac.eChannelMode));
        mOmx->forgetCalls();
        ASSERT_EQ(0, encoder->init());
        EXPECT_EQ(4, mOmx->callCount("useBuffer"));
    }
}

TEST_F(AudioTest, FormatWalkEnds) {
    mOmx->presetParameter(kFormatIndex, 1, OMX_AUDIO_PARAM_PORTFORMATTYPE{});
    EXPECT_NE(nullptr, made<QcomOmxInterfaceAudioEnc>()) << "a list without end and without AAC";
    mOmx->forgetCalls();
    mOmx->refuse("getParameter", 5);
    EXPECT_NE(nullptr, made<QcomOmxInterfaceAudioEnc>());
    EXPECT_EQ(3, mOmx->callCount("getParameter 4000001 1"));
    EXPECT_EQ(1, mOmx->callCount("setParameter 4000001 1")) << "what the refusal left";
}

TEST_F(AudioTest, DecoderParameters) {
    mDecoder = made<QcomOmxInterfaceAudioDec>();
    ASSERT_NE(nullptr, mDecoder);
    const struct {
        OMX_U32 size, alignment;
        OMX_AUDIO_CODINGTYPE coding;
        const char* type;
    } expected[] = {{8192, 1, OMX_AUDIO_CodingAAC, "audio/aac"},
                    {24576, 2, OMX_AUDIO_CodingPCM, "audio/raw"}};
    for (OMX_U32 i = 0; i < 2; i++) {
        const auto definition = port(i);
        EXPECT_EQ(8U, definition.nBufferCountActual);
        EXPECT_EQ(expected[i].size, definition.nBufferSize);
        EXPECT_EQ(expected[i].alignment, definition.nBufferAlignment);
        EXPECT_EQ(expected[i].coding, definition.format.audio.eEncoding);
        EXPECT_STREQ(expected[i].type, definition.format.audio.cMIMEType);
    }
    EXPECT_EQ(44100U, pcm(1).nSamplingRate);
    mOmx->forgetCalls();
    ASSERT_EQ(0, mDecoder->init());
    EXPECT_EQ(8, mOmx->callCount("useBuffer 0"));
    EXPECT_EQ(8, mOmx->callCount("allocateBufferWithBackup 1"));
}

TEST_F(AudioTest, DecoderDeliversRightAfterAChange) {
    mDecoder = made<QcomOmxInterfaceAudioDec>();
    mDecoder->registerOutputCallback(Outputs::callback, &mOutputs);
    ASSERT_EQ(0, mDecoder->init());
    ASSERT_TRUE(change(7, 7, 3));
    EXPECT_EQ(0, mDecoder->portWidth(1)) << "no picture";
    mOmx->queueOutput({1, 2});
    EXPECT_TRUE(delivered(1));
    const LongWaits waits(mClock);
    mOmx->sendEvent(OMX_EventError, 1, 2);
    EXPECT_EQ(27, boundedDeInit(false)) << "an error ends the wait for the last output";
}

}  // namespace
}  // namespace zem::test
