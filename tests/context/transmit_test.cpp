// Proves the transmit path step by step on a fake screen and encoder: which pictures are encoded, which are
// refused, how long a re-open waits, what camera frames change. Catches a picture read past its end, a
// stride ignored, a priming on the wrong chip, a camera frame that outlives its encoder.
#include <gtest/gtest.h>

#include "context/kiv_context.h"
#include "tests/context/fake_media.h"
#include "tests/support/fake_clock.h"

namespace zem::test {
namespace {

class Transmit : public ::testing::Test {
  protected:
    Transmit() { resetFakeMedia(); }
    ~Transmit() override {
        resetFakeMedia();
        EXPECT_EQ(fakeScreen().living + fakeEncoder().living, 0);
    }

    /// An open input and encoder of 64x48, unprimed.
    void openBoth(int width = 64, int height = 48) {
        ASSERT_TRUE(context().openVideoInput(1, width, height));
        ASSERT_TRUE(context().openVideoEncoder(2, 1000, 30, 0x3C01, false));
    }
    static KivContext& context() { return *KivContext::getInstance(); }
    static size_t encodes() { return fakeEncoder().calls.size(); }
};

TEST_F(Transmit, OpensTheEncoderAtTheInputsSize) {
    EXPECT_EQ(context().captureScreen(1), -1) << "no input";
    EXPECT_TRUE(context().openVideoInput(1, 64, 48));
    EXPECT_EQ(context().captureScreen(1), -1) << "no encoder";
    EXPECT_EQ(fakeScreen().captures, 0);
    EXPECT_FALSE(context().openVideoInput(3, 64, 48)) << "an unknown source";
    EXPECT_EQ(fakeScreen().living, 0) << "the former input is gone";
    EXPECT_FALSE(context().openVideoEncoder(2, 1, 2, 3, false)) << "no input";
    ASSERT_TRUE(context().openVideoInput(1, 640, 360));
    EXPECT_FALSE(context().openVideoEncoder(5, 1, 2, 3, false));
    EXPECT_TRUE(context().openVideoEncoder(2, 4000000, 30, 0x1E01, true));
    fakeEncoder().openResult = 0;
    EXPECT_FALSE(context().openVideoEncoder(2, 1, 2, 3, false));
    EXPECT_EQ(fakeEncoder().living, 0);
    EXPECT_EQ(fakeEncoder().opens[0], "1 640x360 4000000 30 1e01 1");
    fakeEncoder().openResult = 1;
    openBoth();
    context().openVideoDecoder(1, 64, 48);  // overwrites the id that both directions share
    EXPECT_EQ(context().captureScreen(1), 0);
    EXPECT_EQ(encodes(), 0u);
}

TEST_F(Transmit, PrimesWhereTheChipNeedsIt) {
    const std::pair<int, int> rows[] = {{0x2001, 1}, {0x2100, 1}, {0x1002, 1}, {0x4001, 1}, {0x4005, 0}};
    for (const auto& [base, expected] : rows) {
        resetFakeMedia();
        fakeEncoder().hardwareBase = base;
        openBoth();
        EXPECT_EQ(encodes(), static_cast<size_t>(expected)) << std::hex << base;
        EXPECT_EQ(fakeScreen().captures, expected) << std::hex << base;
    }
}

TEST_F(Transmit, CaptureScreenEncodesOnlyWhatFits) {
    const struct {  // differs from a 64x48 screen on a 64x48 encoder in this, with that in the end
        const char* what;
        int encode, width, height, stride, missingBytes, format, result;
        size_t encodes;
    } cases[] = {
        {"padded rows", 1, 64, 48, 80, 0, 1, 7, 1},   {"not asked for", 0, 64, 48, 0, 0, 1, 0, 0},
        {"other width", 1, 66, 48, 0, 0, 1, 0, 0},    {"other height", 1, 64, 46, 0, 0, 1, 0, 0},
        {"byte missing", 1, 64, 48, 0, 1, 1, 0, 0},   {"short rows", 1, 64, 48, 60, 0, 1, -1, 0},
        {"16-bit pixels", 1, 64, 48, 0, 0, 4, -1, 0}, {"plain", 1, 64, 48, 0, 0, 1, 7, 1},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        resetFakeMedia();
        openBoth();
        fakeScreen().format = row.format;
        context().openVideoInput(1, row.width, row.height);
        fakeScreen().stride = row.stride;
        fakeScreen().missingBytes = row.missingBytes;
        fakeEncoder().result = 7;
        EXPECT_EQ(context().captureScreen(row.encode), row.result);
        EXPECT_EQ(fakeScreen().captures, 1);
        ASSERT_EQ(encodes(), row.encodes);
        if (row.encodes == 1) {
            EXPECT_EQ(fakeEncoder().calls[0].stride, row.stride != 0 ? row.stride : 64);
            EXPECT_EQ(fakeEncoder().calls[0].outSize, 204800);
        }
    }
    fakeScreen().failing = true;
    EXPECT_EQ(context().captureScreen(1), -1);
    EXPECT_EQ(encodes(), 1u);
}

TEST_F(Transmit, CapturedDataIsPackedAndBounded) {
    const struct {
        int format, stride, size, result;
        bool copies;
    } cases[] = {
        {1, 0, 12288, 12288, true},  {1, 0, 12287, -1, false},
        {1, 80, 12288, 12288, true}, {4, 0, 6144, 6144, false},  // 16-bit pixels and BGRA are only counted
        {5, 0, 12288, 12288, false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.size);
        resetFakeMedia();
        fakeScreen().format = row.format;
        fakeScreen().stride = row.stride;
        openBoth();
        context().captureScreen(0);
        std::vector<uint8_t> dst(static_cast<size_t>(row.size), 255);
        EXPECT_EQ(context().getCapturedScreenData(dst.data(), row.size), row.result);
        const int stride = row.stride != 0 ? row.stride : 64;
        for (size_t i = 0; i < dst.size(); ++i) {
            const int source = static_cast<int>(i) / 256 * stride * 4 + static_cast<int>(i) % 256;
            ASSERT_EQ(dst[i], row.copies ? source % 251 : 255) << i;
        }
    }
}

// Before the first capture the client holds a 32x32 probe.
TEST_F(Transmit, AProbeIsNoPicture) {
    std::vector<uint8_t> dst(12288);
    EXPECT_EQ(context().getCapturedScreenData(dst.data(), 12288), -1) << "no input";
    EXPECT_EQ(context().getVideoEncoderData(dst.data(), 12288), -1) << "no input";
    openBoth();
    EXPECT_EQ(context().getCapturedScreenData(dst.data(), 12288), -1);
    EXPECT_EQ(context().getVideoEncoderData(dst.data(), 12288), -1);
    EXPECT_EQ(encodes(), 0u);
    context().captureScreen(0);
    EXPECT_EQ(context().getVideoEncoderData(dst.data(), 12288), 0);
    EXPECT_EQ(fakeEncoder().calls[0].outSize, 12288);
}

TEST_F(Transmit, CameraFramesReplaceTheScreenUntilTheEncoderGoes) {
    constexpr int kFrame = 64 * 48 * 3 / 2;
    std::vector<uint8_t> frame(kFrame + 100, 77);
    EXPECT_EQ(context().setCameraData(frame.data(), kFrame), -1) << "no encoder";
    openBoth();
    context().captureScreen(0);
    EXPECT_EQ(context().setCameraData(frame.data(), kFrame - 1), -1);
    EXPECT_EQ(context().setCameraData(frame.data(), kFrame), kFrame);
    EXPECT_EQ(context().setCameraData(frame.data(), kFrame + 100), kFrame + 100) << "a larger one";
    EXPECT_EQ(context().captureScreen(1), 0);
    ASSERT_EQ(encodes(), 1u);
    EXPECT_EQ(fakeEncoder().calls[0].first, 77);
    EXPECT_TRUE(fakeEncoder().calls[0].skipsConversion);
    EXPECT_NE(fakeEncoder().calls[0].in, frame.data()) << "a copy: Java's buffer may change";
    EXPECT_EQ(fakeScreen().captures, 1) << "the screen is not captured any more";
    openBoth(128, 96);  // a re-open without a close: the frame would be far too small for this one
    EXPECT_EQ(context().captureScreen(1), 0);
    EXPECT_FALSE(fakeEncoder().calls[1].skipsConversion);
    EXPECT_EQ(fakeScreen().captures, 2);
}

TEST_F(Transmit, ReopeningWaitsForAnEncoderThatIsStillOpen) {
    const std::pair<int, long> cases[] = {{99, 7}, {0, 0}, {3, 3}};
    for (const auto& [openQueries, sleeps] : cases) {
        SCOPED_TRACE(openQueries);
        resetFakeMedia();
        FakeClock clock(1000);
        openBoth();
        fakeEncoder().openQueries = openQueries;
        EXPECT_TRUE(context().openVideoEncoder(2, 1, 2, 3, false));
        EXPECT_EQ(clock.sleepsOf(1000000), sleeps);
        EXPECT_EQ(fakeEncoder().living, 1) << "the former one is gone";
    }
}

}  // namespace
}  // namespace zem::test
