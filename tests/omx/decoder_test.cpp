// What a decoder asks of its component before it starts. Would catch: a picture order set on a component
// that has none or not set on the one that has, a wait after each packet where there must be none, a
// wrong buffer mode, vendor structures of another size or port, a failed step that leaves a node.
#include <OMX_Video.h>

#include "omx/hardware_base.h"
#include "omx/qcom_vendor_parameters.h"
#include "tests/omx/decoder_fixture.h"

namespace zem::test {
namespace {

TEST_F(DecoderTest, EachComponentGetsWhatItNeeds) {
    struct Case {
        const char* name;
        int hardwareBase;
        bool ordered;  // pictures in decoding order, no wait after a packet
        const char* inputCall;
    };
    for (const Case& c : {Case{kQcomDecoder, HW_BASE_QCOM_8974, true, "useBuffer 0"},
                          Case{kQcomDecoder, HW_BASE_EXYNOS, true, "allocateBufferWithBackup 0"},
                          Case{kSecDecoder, HW_BASE_SEC, false, "useBuffer 0"},
                          Case{kSecDecoder, HW_BASE_TARN, false, "useBuffer 0"},
                          Case{kSecDecoder, HW_BASE_EXYNOS, false, "allocateBufferWithBackup 0"}}) {
        mOmx->forgetCalls();
        ASSERT_EQ(0, create(c.name, c.hardwareBase));
        ASSERT_EQ(0, mDecoder->init());
        EXPECT_EQ(c.ordered ? 1 : 0, mOmx->callCount("setParameter 7f000010 0")) << c.name;
        EXPECT_EQ(2, mOmx->callCount(c.inputCall)) << c.hardwareBase;
        EXPECT_EQ(2, mOmx->callCount("allocateBufferWithBackup 1"));
        mClock.forget();
        char packet = 'p';
        ASSERT_EQ(0, mDecoder->sendInputData(&packet, 1, 0));
        EXPECT_EQ(c.ordered ? 0 : 1, mClock.waitsOf(100000)) << c.name;
    }
    const auto order = mOmx->parameter<QcomPictureOrder>(kQcomIndexPictureOrder, 0);
    EXPECT_EQ(16U, order.nSize);
    EXPECT_EQ(2U, order.eOutputPictureOrder) << "decoding order";
    EXPECT_EQ(0U, order.nVersion.nVersion);
}

TEST_F(DecoderTest, VendorSettings) {
    ASSERT_EQ(0, create(kQcomDecoder, HW_BASE_QCOM_8974));
    const int orders[][2] = {{0, 1}, {1, 2}, {2, 0}, {-1, 0}};
    for (const auto& order : orders) {
        EXPECT_EQ(0, mDecoder->setPictureOrder(order[0]));
        const auto set = mOmx->parameter<QcomPictureOrder>(kQcomIndexPictureOrder, 0);
        EXPECT_EQ(static_cast<OMX_U32>(order[1]), set.eOutputPictureOrder);
    }
    const int packings[][2] = {{1, 3}, {2, 1}, {0, 0}, {3, 0}};
    for (const auto& packing : packings) {
        EXPECT_EQ(0, mDecoder->setInputPackingFormat(packing[0]));
        const auto set = mOmx->parameter<QcomFramePacking>(kQcomIndexFramePacking, 0);
        EXPECT_EQ(static_cast<OMX_U32>(packing[1]), set.eFramePackingFormat);
        EXPECT_EQ(24U, set.nSize);
        EXPECT_EQ(0x00000101U, set.nVersion.nVersion);
    }
    const int codings[][2] = {{0, 7}, {1, 4}, {2, 3}, {3, 5}, {4, 5}, {-1, 5}};
    for (const auto& coding : codings) {
        EXPECT_EQ(0, mDecoder->setInputCompressionFormat(coding[0]));
        const auto set = mOmx->parameter<OMX_PARAM_PORTDEFINITIONTYPE>(OMX_IndexParamPortDefinition, 0);
        EXPECT_EQ(coding[1], static_cast<int>(set.format.video.eCompressionFormat)) << coding[0];
    }
    for (const OMX_U32 port : {0U, 1U}) {
        EXPECT_EQ(0, mDecoder->setupPortDef(static_cast<int>(port)));
        const auto set = mOmx->parameter<OMX_PARAM_PORTDEFINITIONTYPE>(OMX_IndexParamPortDefinition, port);
        EXPECT_EQ(port == 1 ? 15U : 2U, set.nBufferCountActual);
    }
}

TEST_F(DecoderTest, RefusedSettings) {
    ASSERT_EQ(0, create(kQcomDecoder, HW_BASE_QCOM_8974));
    struct Case {
        const char* call;
        std::function<int()> setting;
        int code;
    };
    const Case cases[] = {{"setParameter", [&] { return mDecoder->setPictureOrder(1); }, 30},
                          {"setParameter", [&] { return mDecoder->setInputPackingFormat(1); }, 31},
                          {"getParameter", [&] { return mDecoder->setInputCompressionFormat(0); }, -1},
                          {"setParameter", [&] { return mDecoder->setInputCompressionFormat(0); }, -1},
                          {"getParameter", [&] { return mDecoder->setupPortDef(1); }, 13},
                          {"setParameter", [&] { return mDecoder->setupPortDef(1); }, 14}};
    for (const Case& c : cases) {
        forgetLog();
        mOmx->refuse(c.call);
        EXPECT_EQ(c.code, c.setting());
        EXPECT_EQ(1U, loggedLines().size()) << "said once";
    }
}

TEST_F(DecoderTest, FailedStepsLeaveNothing) {
    const std::pair<const char*, int> steps[] = {{"listNodes", 6}, {"allocateNode", 4}, {"setParameter", 30}};
    for (const auto& step : steps) {
        mOmx->refuse(step.first);
        EXPECT_EQ(step.second, create(kQcomDecoder, HW_BASE_QCOM_8974));
        EXPECT_EQ(0, mOmx->liveNodes());
    }
    EXPECT_EQ(6, create("OMX.unknown", HW_BASE_SEC));
    EXPECT_EQ(6, create(nullptr, HW_BASE_SEC));
}

}  // namespace
}  // namespace zem::test
