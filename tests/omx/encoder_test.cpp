// What an encoder asks of its component, for each chip family. Would catch: the wrong pixel layout or
// buffer mode for a chip, a buffer size too small, coding tools left on, a failed step that leaves a
// node or hands out an encoder.
#include <OMX_Video.h>

#include "omx/hardware_base.h"
#include "tests/omx/omx_fixture.h"

namespace zem::test {
namespace {

class EncoderTest : public OmxTest {
  protected:
    /// Creates an encoder; null, with `result` set, on failure.
    std::unique_ptr<QcomOmxInterfaceEncoder> create(int hardwareBase, int frameRate = 30,
                                                    int iFrameInterval = 60) {
        encoderParams params{640, 480, frameRate, 1, 500000, iFrameInterval, hardwareBase, kCodec};
        auto* encoder = reinterpret_cast<QcomOmxInterfaceEncoder*>(this);  // must be overwritten
        mResult = QcomOmxInterfaceEncoder::Create(&encoder, &params);
        return std::unique_ptr<QcomOmxInterfaceEncoder>(encoder);
    }
    OMX_PARAM_PORTDEFINITIONTYPE port(OMX_U32 index) const {
        return mOmx->parameter<OMX_PARAM_PORTDEFINITIONTYPE>(OMX_IndexParamPortDefinition, index);
    }
    int mResult = 0;
};

struct Chip {
    int hardwareBase;
    const char* inputCall;
    const char* outputCall;
    OMX_COLOR_FORMATTYPE colour;
    OMX_U32 inputSize;
    OMX_U32 outputSize;
};

class ChipTest : public EncoderTest, public testing::WithParamInterface<Chip> {};

TEST_P(ChipTest, ConfiguresPortsAndObtainsBuffers) {
    const Chip& chip = GetParam();
    const auto encoder = create(chip.hardwareBase);
    ASSERT_EQ(0, mResult);
    for (OMX_U32 i = 0; i < 2; i++) {
        const auto& video = port(i).format.video;
        EXPECT_EQ(640U, video.nFrameWidth);
        EXPECT_EQ(480U, video.nFrameHeight);
        EXPECT_EQ(0x1E0000U, video.xFramerate);
        EXPECT_EQ(chip.colour, video.eColorFormat);
    }
    EXPECT_EQ(chip.inputSize, port(0).nBufferSize);
    EXPECT_EQ(chip.outputSize, port(1).nBufferSize);
    EXPECT_EQ(500000U, port(1).format.video.nBitrate);
    EXPECT_EQ(640, encoder->portWidth(1));
    EXPECT_EQ(480, encoder->portHeight(1));
    const auto rate = mOmx->parameter<OMX_VIDEO_PARAM_BITRATETYPE>(OMX_IndexParamVideoBitrate, 1);
    EXPECT_EQ(OMX_Video_ControlRateVariable, rate.eControlRate);
    EXPECT_EQ(500000U, rate.nTargetBitrate);
    EXPECT_EQ(20U, rate.nSize);
    EXPECT_EQ(0x00000001U, rate.nVersion.nVersion);

    ASSERT_EQ(0, encoder->init());
    EXPECT_EQ(2, mOmx->callCount(chip.inputCall));
    EXPECT_EQ(2, mOmx->callCount(chip.outputCall));
    EXPECT_EQ(4, mOmx->liveBuffers());
}

constexpr auto kNv12 = OMX_COLOR_FormatYUV420SemiPlanar;
INSTANTIATE_TEST_SUITE_P(
    Chips, ChipTest,
    testing::Values(Chip{HW_BASE_QCOM_8974, "useBuffer 0", "useBuffer 1", kNv12, 4096, 4096},
                    Chip{HW_BASE_UNKNOWN, "useBuffer 0", "useBuffer 1", kNv12, 4096, 4096},
                    Chip{HW_BASE_SEC, "useBuffer 0", "useBuffer 1", kNv12, 1024000, 4096},
                    Chip{HW_BASE_EXYNOS, "allocateBufferWithBackup 0", "allocateBufferWithBackup 1", kNv12,
                         1024000, 230400},
                    Chip{HW_BASE_TARN, "allocateBufferWithBackup 0", "useBuffer 1",
                         OMX_COLOR_FormatYUV420Planar, 4096, 4096}));

TEST_F(EncoderTest, SamsungCodingToolsAreRestrictedOthersKept) {
    struct Case {
        int hardwareBase;
        OMX_U32 pFramesBefore;
        bool restricted;
        OMX_U32 pictureTypes;
    };
    for (const Case& c : {Case{HW_BASE_SEC, 5, true, 7}, Case{HW_BASE_EXYNOS, 0, true, 1},
                          Case{HW_BASE_QCOM_8974, 0, false, 7}}) {
        OMX_VIDEO_PARAM_AVCTYPE avc;
        memset(&avc, 0x11, sizeof avc);
        avc.nPFrames = c.pFramesBefore;
        avc.nAllowedPictureTypes = 7;
        mOmx->presetParameter(OMX_IndexParamVideoAvc, 1, avc);
        ASSERT_NE(nullptr, create(c.hardwareBase));
        const auto set = mOmx->parameter<OMX_VIDEO_PARAM_AVCTYPE>(OMX_IndexParamVideoAvc, 1);
        const OMX_U32 off = c.restricted ? 0 : 0x11111111;
        const OMX_U32 on = c.restricted ? 1 : 0x11111111;
        EXPECT_EQ(60U, set.nPFrames);
        EXPECT_EQ(0U, set.nBFrames);
        EXPECT_EQ(c.pictureTypes, set.nAllowedPictureTypes);
        EXPECT_EQ(on, set.nRefFrames);
        EXPECT_EQ(on, static_cast<OMX_U32>(set.bUseHadamard));
        const OMX_U32 cleared[] = {set.nSliceHeaderSpacing,
                                   set.nRefIdx10ActiveMinus1,
                                   set.nRefIdx11ActiveMinus1,
                                   static_cast<OMX_U32>(set.bEntropyCodingCABAC),
                                   static_cast<OMX_U32>(set.bWeightedPPrediction),
                                   static_cast<OMX_U32>(set.bconstIpred),
                                   static_cast<OMX_U32>(set.bDirect8x8Inference),
                                   static_cast<OMX_U32>(set.bDirectSpatialTemporal),
                                   set.nCabacInitIdc};
        EXPECT_THAT(cleared, testing::Each(off));
        EXPECT_EQ(0x11111111U, static_cast<OMX_U32>(set.eLevel)) << "the rest is the component's";
    }
}

TEST_F(EncoderTest, ZeroesLeaveTheComponentsOwn) {
    auto definition = port(0);
    definition.format.video.xFramerate = 0xF0000;
    mOmx->presetParameter(OMX_IndexParamPortDefinition, 0, definition);
    ASSERT_NE(nullptr, create(HW_BASE_QCOM_8974, 0, 0));
    EXPECT_EQ(0xF0000U, port(0).format.video.xFramerate);
    EXPECT_EQ(0, mOmx->callCount("getParameter 600000d")) << "no AVC parameters without an interval";
}

struct Step {
    const char* call;
    int n;
    int code;
};

class FailedStepTest : public EncoderTest, public testing::WithParamInterface<Step> {};

TEST_P(FailedStepTest, LeavesNothing) {
    mOmx->refuse(GetParam().call, GetParam().n);
    EXPECT_EQ(nullptr, create(HW_BASE_QCOM_8974));
    EXPECT_EQ(GetParam().code, mResult);
    EXPECT_EQ(0, mOmx->liveNodes());
}

INSTANTIATE_TEST_SUITE_P(Steps, FailedStepTest,
                         testing::Values(Step{"listNodes", 1, 6}, Step{"allocateNode", 1, 4},
                                         Step{"getParameter", 1, 13}, Step{"setParameter", 1, 14},
                                         Step{"getParameter", 2, 13}, Step{"getParameter", 3, 13},
                                         Step{"setParameter", 3, 14}, Step{"getParameter", 4, 17},
                                         Step{"setParameter", 4, 18}, Step{"getParameter", 5, 17},
                                         Step{"setParameter", 5, 33}));

TEST_F(EncoderTest, RunTimeRequests) {
    const auto encoder = create(HW_BASE_QCOM_8974);
    ASSERT_NE(nullptr, encoder);
    EXPECT_EQ(0, encoder->requestIFrame());
    const auto refresh =
        mOmx->parameter<OMX_CONFIG_INTRAREFRESHVOPTYPE>(OMX_IndexConfigVideoIntraVOPRefresh, 1);
    EXPECT_EQ(OMX_TRUE, refresh.IntraRefreshVOP);
    EXPECT_EQ(0U, refresh.nSize);
    EXPECT_EQ(0, encoder->updateBitRate(123456));
    EXPECT_EQ(123456U,
              mOmx->parameter<OMX_VIDEO_CONFIG_BITRATETYPE>(OMX_IndexConfigVideoBitrate, 1).nEncodeBitrate);
    EXPECT_EQ(0, encoder->setupNalSize());
    EXPECT_EQ(1500U, mOmx->parameter<OMX_VIDEO_CONFIG_NALSIZE>(OMX_IndexConfigVideoNalSize, 1).nNaluBytes);

    mOmx->refuse("setConfig");
    EXPECT_EQ(16, encoder->requestIFrame());
    mOmx->refuse("getConfig");
    EXPECT_EQ(17, encoder->updateBitRate(1));
    mOmx->refuse("setConfig");
    EXPECT_EQ(18, encoder->updateBitRate(1));
    mOmx->refuse("setParameter");
    EXPECT_EQ(33, encoder->setupNalSize());
}

}  // namespace
}  // namespace zem::test
