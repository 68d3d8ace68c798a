// Proves what the encoder promises beyond the component: rates and settings that no stream can have are
// replaced, and every way of controlling the rate gives a stream of the asked size. Would catch a rate of 0
// that stops the encoder from opening, a unit that outgrows the output buffer, a start code of three bytes.
#include "platform/linux/codecs/h264_encoder.h"

#include <gtest/gtest.h>

#include <random>

#include "platform/linux/codecs/av_log.h"
#include "tests/platform/h264_reader.h"

namespace zem {
namespace {

// Black and white dots: nothing costs an encoder more.
std::vector<uint8_t> noise(size_t size, uint32_t seed) {
    std::minstd_rand random(seed);
    std::vector<uint8_t> bytes(size);
    for (uint8_t& byte : bytes) {
        byte = (random() >> 8) % 2 == 0 ? 0 : 255;
    }
    return bytes;
}

struct Case {
    const char* name;
    H264Settings settings;
};

H264Settings settingsOf(void (*change)(H264Settings&)) {
    H264Settings settings;
    settings.width = 320;
    settings.height = 176;
    settings.bitRate = 4000000;
    change(settings);
    return settings;
}

TEST(H264Encoder, EverySettingGivesAReadableStream) {
    sendAvMessagesToLog();
    const Case cases[] = {
        {"as it comes", settingsOf([](H264Settings&) {})},
        {"no bit rate", settingsOf([](H264Settings& s) { s.bitRate = 0; })},
        {"tiny bit rate", settingsOf([](H264Settings& s) { s.bitRate = 1; })},
        {"negative bit rate", settingsOf([](H264Settings& s) { s.bitRate = 0x80000000; })},
        {"highest bit rate", settingsOf([](H264Settings& s) { s.bitRate = 240000000; })},
        {"no frame rate", settingsOf([](H264Settings& s) { s.frameRateQ16 = 0; })},
        {"broken frame rate", settingsOf([](H264Settings& s) { s.frameRateQ16 = 0xFFFF0000; })},
        {"a frame a second", settingsOf([](H264Settings& s) { s.frameRateQ16 = 1 << 16; })},
        {"29.97", settingsOf([](H264Settings& s) { s.frameRateQ16 = 1964114; })},
        {"variable", settingsOf([](H264Settings& s) { s.rateControl = H264RateControl::Variable; })},
        {"quality", settingsOf([](H264Settings& s) { s.rateControl = H264RateControl::Quality; })},
        {"baseline", settingsOf([](H264Settings& s) { s.profile = H264Profile::Baseline; })},
        {"no cabac", settingsOf([](H264Settings& s) { s.cabac = false; })},
        {"endless", settingsOf([](H264Settings& s) { s.keyInterval = 0xFFFFFFFF; })},
        {"key frames only", settingsOf([](H264Settings& s) { s.keyInterval = 0; })},
        {"small slices", settingsOf([](H264Settings& s) { s.maxNalSize = 1500; })},
        {"smallest", settingsOf([](H264Settings& s) { s.width = s.height = 16; })},
        {"tall", settingsOf([](H264Settings& s) { s.width = 16, s.height = 4096; })},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto encoder = H264Encoder::open(c.settings);
        ASSERT_NE(encoder, nullptr);
        test::H264Reader reader;
        test::Picture picture;
        EXPECT_FALSE(reader.read(encoder->configuration(), &picture));
        for (uint32_t i = 0; i < 3; i++) {
            const auto frame = noise(encoder->layout().frameSize, i);
            EncodedPicture encoded;
            ASSERT_TRUE(encoder->encode(frame.data(), false, &encoded));
            ASSERT_LE(encoded.unit.size(), largestUnitSize(c.settings.width, c.settings.height));
            std::vector<uint8_t> unit(encoded.unit.size());
            encoded.unit.copyTo(unit.data());
            const std::vector<uint8_t> start(unit.begin(), unit.begin() + 4);
            EXPECT_EQ(start, (std::vector<uint8_t>{0, 0, 0, 1}));
            EXPECT_EQ(unit[4] & 0x1F, encoded.key ? 5 : 1);  // a slice, no supplemental information
            ASSERT_TRUE(reader.read(unit, &picture));
            EXPECT_EQ(picture.width, static_cast<int>(c.settings.width));
            EXPECT_EQ(picture.height, static_cast<int>(c.settings.height));
            EXPECT_EQ(picture.key, encoded.key);
        }
    }
}

}  // namespace
}  // namespace zem
