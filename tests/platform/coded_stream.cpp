#include "tests/platform/coded_stream.h"

#include <gtest/gtest.h>

#include <random>

#include "platform/linux/codecs/h264_encoder.h"
#include "tests/platform/h264_reader.h"

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
    H264Reader reader;
    std::vector<Picture> pictures;
    Picture picture;
    for (const Unit& packet : packets) {
        if (reader.read(packet, &picture)) {
            pictures.push_back(picture);
        }
    }
    return pictures;
}

}  // namespace zem::test
