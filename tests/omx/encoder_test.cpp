// What an encoder asks of its component, for each chip family. Would catch: the wrong pixel layout or
// buffer mode for a chip, a buffer size too small, coding tools left on.
#include <OMX_Video.h>

#include "omx/hardware_base.h"
#include "tests/omx/omx_fixture.h"

namespace zem::test {
namespace {

class EncoderTest : public OmxTest {
  protected:
    std::unique_ptr<QcomOmxInterfaceEncoder> create(int hardwareBase) {
        encoderParams params{640, 480, 30, 1, 500000, 60, hardwareBase, kCodec};
        QcomOmxInterfaceEncoder* encoder = nullptr;
        EXPECT_EQ(0, QcomOmxInterfaceEncoder::Create(&encoder, &params));
        return std::unique_ptr<QcomOmxInterfaceEncoder>(encoder);
    }
};

constexpr const char* kBackup = "allocateBufferWithBackup";
constexpr auto kNv12 = OMX_COLOR_FormatYUV420SemiPlanar;

TEST_F(EncoderTest, EachChipGetsItsPortsAndBuffers) {
    const struct {
        int hardwareBase;
        OMX_COLOR_FORMATTYPE colour;
        std::string inputCall, outputCall;
        OMX_U32 inputSize, outputSize;
    } chips[] = {{HW_BASE_QCOM_8974, kNv12, "useBuffer", "useBuffer", 4096, 4096},
                 {HW_BASE_SEC, kNv12, "useBuffer", "useBuffer", 1024000, 4096},
                 {HW_BASE_EXYNOS, kNv12, kBackup, kBackup, 1024000, 230400},
                 {HW_BASE_TARN, OMX_COLOR_FormatYUV420Planar, kBackup, "useBuffer", 4096, 4096}};
    for (const auto& chip : chips) {
        SCOPED_TRACE(chip.hardwareBase);
        mOmx->setBuffers(0, 2, 4096);
        mOmx->setBuffers(1, 2, 4096);
        const auto encoder = create(chip.hardwareBase);
        ASSERT_NE(nullptr, encoder);
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
        const auto rate = mOmx->parameter<OMX_VIDEO_PARAM_BITRATETYPE>(OMX_IndexParamVideoBitrate, 1);
        EXPECT_EQ(OMX_Video_ControlRateVariable, rate.eControlRate);
        EXPECT_EQ(500000U, rate.nTargetBitrate);
        EXPECT_EQ(20U, rate.nSize);
        mOmx->forgetCalls();
        ASSERT_EQ(0, encoder->init());
        EXPECT_EQ(2, mOmx->callCount(chip.inputCall + " 0"));
        EXPECT_EQ(2, mOmx->callCount(chip.outputCall + " 1"));
    }
}

TEST_F(EncoderTest, SamsungCodingToolsAreRestrictedOthersKept) {
    const struct {
        int hardwareBase;
        OMX_U32 pFramesBefore;
        bool restricted;
        OMX_U32 pictureTypes;
    } cases[] = {{HW_BASE_SEC, 5, true, 7}, {HW_BASE_EXYNOS, 0, true, 1}, {HW_BASE_QCOM_8974, 0, false, 7}};
    for (const auto& c : cases) {
        OMX_VIDEO_PARAM_AVCTYPE avc;
        memset(&avc, 0x11, sizeof avc);
        avc.nPFrames = c.pFramesBefore;
        avc.nAllowedPictureTypes = 7;
        mOmx->presetParameter(OMX_IndexParamVideoAvc, 1, avc);
        ASSERT_NE(nullptr, create(c.hardwareBase));
        const auto set = mOmx->parameter<OMX_VIDEO_PARAM_AVCTYPE>(OMX_IndexParamVideoAvc, 1);
        const OMX_U32 off = c.restricted ? 0 : 0x11111111;
        EXPECT_EQ(60U, set.nPFrames);
        EXPECT_EQ(0U, set.nBFrames);
        EXPECT_EQ(c.pictureTypes, set.nAllowedPictureTypes);
        EXPECT_EQ(c.restricted ? 1U : 0x11111111U, set.nRefFrames);
        EXPECT_EQ(off, static_cast<OMX_U32>(set.bEntropyCodingCABAC));
        EXPECT_EQ(off, static_cast<OMX_U32>(set.bWeightedPPrediction));
        EXPECT_EQ(0x11111111U, static_cast<OMX_U32>(set.eLevel)) << "the rest is the component's";
    }
}

TEST_F(EncoderTest, RunTimeRequests) {
    const auto encoder = create(HW_BASE_QCOM_8974);
    ASSERT_NE(nullptr, encoder);
    EXPECT_EQ(0, encoder->requestIFrame());
    EXPECT_EQ(OMX_TRUE,
              mOmx->parameter<OMX_CONFIG_INTRAREFRESHVOPTYPE>(OMX_IndexConfigVideoIntraVOPRefresh, 1)
                  .IntraRefreshVOP);
    EXPECT_EQ(0, encoder->updateBitRate(123456));
    EXPECT_EQ(123456U,
              mOmx->parameter<OMX_VIDEO_CONFIG_BITRATETYPE>(OMX_IndexConfigVideoBitrate, 1).nEncodeBitrate);
    mOmx->refuse("setConfig");
    EXPECT_EQ(16, encoder->requestIFrame());
    mOmx->refuse("setConfig");
    EXPECT_EQ(18, encoder->updateBitRate(1));
}

}  // namespace
}  // namespace zem::test
