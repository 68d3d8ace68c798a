// A device with one H.264 encoder that the test scripts, and what it takes to encode on it.
#pragma once

#include "codec/omx_mpeg_video_encoder.h"
#include "tests/codec/component_fixture.h"
#include "tests/codec/fake_identification.h"
#include "tests/support/guarded_buffer.h"

namespace zem::test {

// A colour whose bytes differ, and what the two converters make of it: the NV12 one reads red for blue.
constexpr uint8_t kPixel[] = {200, 30, 90, 255};
constexpr uint8_t kNv12Luma = 67, kNv12First = 144, kNv12Second = 203;
constexpr uint8_t kPlanarLuma = 88, kPlanarU = 129, kPlanarV = 208;

/// Pixels of that colour, exactly as many.
inline std::vector<uint8_t> uniformPixels(int width, int height = 1) {
    std::vector<uint8_t> bytes;
    for (int i = 0; i < width * height; ++i) {
        bytes.insert(bytes.end(), kPixel, kPixel + sizeof kPixel);
    }
    return bytes;
}

class VideoEncoderTest : public ComponentTest {
  protected:
    VideoEncoderTest() { useChip("8960", nullptr, {"OMX.qcom.video.encoder.avc"}); }
    ~VideoEncoderTest() override {
        mEncoder.reset();
        expectNothingLeft();
    }

    void useChip(const char* buildId, const char* cpuInfo, std::vector<std::string> components) {
        mEncoder.reset();
        setIdentification(buildId, cpuInfo);
        serve(std::move(components));
        mOmx->setBuffers(0, 2, 16384);
    }
    int open(int width = 32, int height = 16, bool headerOnly = false) {
        mEncoder = std::make_unique<omxMpegVideoEncoder>(nullptr);
        return mEncoder->open(1, width, height, 4000000, 15, 0x1E01, headerOnly);
    }
    int encode(const std::vector<uint8_t>& pixels, int stride) {
        uint8_t out = 0x5A;
        GuardedBuffer picture(pixels);
        const int result = mEncoder->encode(&out, 1, pixels.empty() ? nullptr : picture.data(), stride);
        EXPECT_EQ(out, 0x5A) << "the caller's buffer is not the encoder's";
        return result;
    }
    int encode() { return encode(uniformPixels(32, 16), 32); }
    /// Every frame brings an output of this text and its number, the end of the stream "tail".
    void answerWith(const std::string& text) {
        auto* const omx = mOmx.get();
        omx->setInputHandler([omx, text, number = std::make_shared<int>(0)](const SentInput& input) {
            const bool ends = (input.flags & OMX_BUFFERFLAG_EOS) != 0;
            const std::string unit = ends ? "tail" : text + std::to_string((*number)++);
            omx->queueOutput({unit.begin(), unit.end()});
        });
    }

    std::unique_ptr<omxMpegVideoEncoder> mEncoder;
};

}  // namespace zem::test
