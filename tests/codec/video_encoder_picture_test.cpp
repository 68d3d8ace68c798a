// Proves what a captured picture becomes on its way into the component. Would catch a wrong component or
// layout for a chip, a swapped chroma byte, a stride ignored, and a read past an odd picture's end.
#include "codec/encode_output.h"
#include "tests/codec/video_encoder_fixture.h"

using namespace zem::test;

namespace {

using VideoEncoderPicture = VideoEncoderTest;

// All of bytes[from, from + count) are `value`.
void expectRun(const std::vector<uint8_t>& bytes, size_t from, size_t count, uint8_t value) {
    ASSERT_LE(from + count, bytes.size());
    EXPECT_EQ(std::vector<uint8_t>(count, value),
              std::vector<uint8_t>(bytes.begin() + static_cast<long>(from),
                                   bytes.begin() + static_cast<long>(from + count)));
}

// 2112 pixels; the chroma plane of Qualcomm chips starts at a multiple of 2048.
TEST_F(VideoEncoderPicture, ComponentAndLayoutByChip) {
    struct Case {
        const char* buildId;
        const char* cpuInfo;
        const char* component;
        int base;
        size_t chromaAt;
        bool forced;
    };
    const char* const qcom = "OMX.qcom.video.encoder.avc";
    for (const Case& c :
         {Case{"8960", nullptr, qcom, 0x2001, 4096, false}, Case{"8974", nullptr, qcom, 0x2002, 4096, true},
          Case{"8930", nullptr, qcom, 0x2003, 4096, false}, Case{"8x26", nullptr, qcom, 0x2004, 4096, false},
          Case{"8064", nullptr, qcom, 0x2100, 4096, false},
          Case{nullptr, nullptr, "OMX.SEC.avc.enc", 0x1001, 2112, false},
          Case{nullptr, nullptr, "OMX.Exynos.avc.enc", 0x1002, 2112, false},
          Case{nullptr, nullptr, "OMX.other.avc.enc", 0x2002, 4096, true},
          Case{nullptr, "Hardware : tarn", "OMX.tarn.avc.enc", 0x4001, 2112, false}}) {
        useChip(c.buildId, c.cpuInfo, {"OMX.google.avc.enc", c.component});
        ASSERT_EQ(open(66, 32), 1) << c.component;
        EXPECT_EQ(mEncoder->getHardwareBase(), c.base);
        EXPECT_EQ(mOmx->callCount(std::string("allocateNode ") + c.component), 1);
        ASSERT_EQ(encode(uniformPixels(66, 32), 66), 0);
        const std::vector<uint8_t> bytes = mOmx->inputs().back().bytes;
        ASSERT_EQ(bytes.size(), c.chromaAt + size_t{66} * 16);
        if (c.base == 0x4001) {
            expectRun(bytes, 0, 2112, kPlanarLuma);
            expectRun(bytes, 2112, 528, kPlanarU);
            expectRun(bytes, 2640, 528, kPlanarV);
        } else {
            expectRun(bytes, 0, 2112, kNv12Luma);
            for (size_t i = c.chromaAt; i < bytes.size(); i += 2) {
                ASSERT_EQ(bytes[i], kNv12First) << c.component;
                ASSERT_EQ(bytes[i + 1], kNv12Second) << c.component;
            }
        }
        mOmx->forgetCalls();
        mEncoder->close(false);
        EXPECT_EQ(mOmx->callCount("sendCommand"), c.forced ? 0 : 2) << c.component;
        expectNothingLeft();
    }
}

TEST_F(VideoEncoderPicture, NoHardwareNoEncoder) {
    useChip(nullptr, "Hardware : ?", {"OMX.google.avc.enc"});
    EXPECT_EQ(open(), 0);
    EXPECT_EQ(mOmx->callCount("allocateNode"), 0);
    EXPECT_EQ(encode(), -1);
}

// Strides are pixels; one above three times the width is taken for bytes.
TEST_F(VideoEncoderPicture, Strides) {
    ASSERT_EQ(open(), 1);
    struct Case {
        int stride;
        size_t pixelsBetweenRows;
    };
    for (const Case& c : {Case{32, 32}, Case{48, 48}, Case{96, 96}, Case{97, 32}, Case{128, 32}}) {
        std::vector<uint8_t> pixels(static_cast<size_t>(c.stride) * 16 * 4, 0);
        const std::vector<uint8_t> row = uniformPixels(32);
        for (size_t y = 0; y < 16; ++y) {
            std::copy(row.begin(), row.end(),
                      pixels.begin() + static_cast<long>(y * c.pixelsBetweenRows * 4));
        }
        mOmx->waitDelivered();
        ASSERT_EQ(encode(pixels, c.stride), 0) << c.stride;
        expectRun(mOmx->inputs().back().bytes, 0, 512, kNv12Luma);
    }
    EXPECT_EQ(encode(uniformPixels(32, 16), 31), -1);
    EXPECT_EQ(encode({}, 32), -1) << "no picture";
    EXPECT_EQ(loggedCount("is refused"), 2);
}

// The pictures end at a page that must not be read.
TEST_F(VideoEncoderPicture, OddSizesStayInsideThePicture) {
    const int sizes[][3] = {{1, 1, 0}, {1, 4, 0}, {33, 16, 0}, {32, 17, 0}, {33, 17, 5}, {5, 5, 1}};
    for (const bool planar : {false, true}) {
        for (const auto& [width, height, padding] : sizes) {
            useChip(nullptr, planar ? "Hardware : tarn" : "Hardware : msm",
                    {"OMX.qcom.video.encoder.avc", "OMX.tarn.avc.enc"});
            ASSERT_EQ(open(width, height), 1);
            const int stride = width + padding;
            const int size = width * height;
            // Two quarters of some odd sizes are less than one half: such a frame is not sent.
            ASSERT_EQ(encode(uniformPixels(stride, height), stride),
                      planar && size / 4 * 2 != size / 2 ? -1 : 0)
                << width << "x" << height;
        }
    }
}

TEST_F(VideoEncoderPicture, CameraFramesGoThroughUnchanged) {
    useChip(nullptr, nullptr, {"OMX.SEC.avc.enc"});
    ASSERT_EQ(open(), 1);
    mEncoder->setSkipConversion(true);
    std::vector<uint8_t> frame(768);
    for (size_t i = 0; i < frame.size(); ++i) {
        frame[i] = static_cast<uint8_t>(i * 7);
    }
    ASSERT_EQ(encode(frame, 32), 0);
    EXPECT_EQ(mOmx->inputs().back().bytes, frame);
}

}  // namespace
