// What a decoder asks of its component before it starts. Would catch: a picture order set on a component
// that has none or not set on the one that has, a wait after each packet where there must be none, a
// wrong buffer mode.
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

}  // namespace
}  // namespace zem::test
