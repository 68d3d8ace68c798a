#include "tests/platform/h264_stream.h"

#include <gtest/gtest.h>

#include <random>

#include "platform/linux/codecs/av_decoder.h"
#include "platform/linux/codecs/h264_encoder.h"

namespace zem::test {
namespace {

// Coarse noise, which the encoder keeps, moved by `shift` bytes a picture.
std::vector<uint8_t> noiseFrame(size_t size, size_t shift) {
    std::minstd_rand random(7);
    std::vector<uint8_t> frame(size + shift);
    for (uint8_t& byte : frame) {
        byte = static_cast<uint8_t>(16 + random() % 220);
    }
    frame.erase(frame.begin(), frame.begin() + static_cast<ptrdiff_t>(shift));
    return frame;
}

std::vector<uint8_t> packed(const AVFrame& frame, int plane, int width, int height) {
    std::vector<uint8_t> bytes;
    for (int row = 0; row < height; row++) {
        const uint8_t* start = frame.data[plane] + static_cast<ptrdiff_t>(row) * frame.linesize[plane];
        bytes.insert(bytes.end(), start, start + width);
    }
    return bytes;
}

}  // namespace

std::vector<Unit> CodedStream::packets() const {
    std::vector<Unit> all{configuration};
    all.insert(all.end(), units.begin(), units.end());
    return all;
}

CodedStream codedStream(uint32_t width, uint32_t height, int count) {
    H264Settings settings;
    settings.input = EncoderInput::I420;
    settings.width = width;
    settings.height = height;
    settings.bitRate = 20000000;
    settings.keyInterval = 1000;
    const auto encoder = H264Encoder::open(settings);
    CodedStream stream;
    if (encoder == nullptr) {
        ADD_FAILURE() << "no encoder";
        return stream;
    }
    stream.configuration = encoder->configuration();
    for (int i = 0; i < count; i++) {
        EncodedPicture picture;
        const auto frame = noiseFrame(encoder->layout().frameSize, static_cast<size_t>(i) * 2);
        EXPECT_TRUE(encoder->encode(frame.data(), i == 0, &picture));
        stream.units.emplace_back(picture.unit.size());
        picture.unit.copyTo(stream.units.back().data());
    }
    return stream;
}

std::vector<Picture> picturesOf(const std::vector<Unit>& packets) {
    AvDecoder reader("h264");
    EXPECT_TRUE(reader.open([](AVCodecContext* context) {
        context->flags |= AV_CODEC_FLAG_LOW_DELAY;
        context->err_recognition = AV_EF_EXPLODE;
    }));
    std::vector<Picture> pictures;
    for (const Unit& packet : packets) {
        reader.send(packet.data(), packet.size(), 0);
        if (const AVFrame* frame = reader.receive()) {
            const int width = frame->width;
            const int height = frame->height;
            pictures.push_back({width, height, packed(*frame, 0, width, height),
                                packed(*frame, 1, width / 2, height / 2),
                                packed(*frame, 2, width / 2, height / 2)});
        }
    }
    return pictures;
}

}  // namespace zem::test
