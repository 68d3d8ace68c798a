// Proves with the platform's real components that what goes in as PCM comes out as PCM. Would catch any
// disagreement about rates, channels, buffer sizes or the stream's configuration.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "codec/omx_aac_decoder.h"
#include "codec/omx_aac_encoder.h"

namespace {

constexpr int kRate = 44100;
constexpr double kPi = 3.14159265358979;
constexpr int kMostBytes = 1 << 20;
constexpr size_t kBlockFrames = 1024;  // of one access unit

/// Hertz, by the first channel's rising zero crossings between two of them.
double pitchOf(const std::vector<int16_t>& pcm, size_t channels) {
    double first = -1, last = -1;
    int periods = -1;
    for (size_t i = channels; i < pcm.size(); i += channels) {
        const double before = pcm[i - channels], now = pcm[i];
        if (before < 0 && now >= 0) {
            const size_t frame = i / channels;
            last = static_cast<double>(frame) - now / (now - before);
            first = first < 0 ? last : first;
            periods++;
        }
    }
    return periods > 0 ? periods * kRate / (last - first) : 0;
}

class AacTone : public testing::TestWithParam<int> {};

TEST_P(AacTone, KeepsItsPitch) {
    const int channels = GetParam();
    const size_t width = static_cast<size_t>(channels);
    omxAacEncoder encoder(nullptr);
    omxAacDecoder decoder(nullptr);
    ASSERT_EQ(encoder.init(channels, kRate, 4), 1);
    ASSERT_EQ(decoder.init(channels, kRate, 4), 1);
    std::vector<int16_t> heard;
    std::vector<int16_t> pcm(kMostBytes / 2);
    for (size_t block = 0; block < 60; block++) {
        std::vector<int16_t> samples(kBlockFrames * width);
        for (size_t i = 0; i < samples.size(); i++) {
            const size_t frame = block * kBlockFrames + i / width;
            const double time = static_cast<double>(frame) / kRate;
            samples[i] = static_cast<int16_t>(12000 * std::sin(2 * kPi * 1000 * time));
        }
        ASSERT_GE(encoder.encode(reinterpret_cast<uint8_t*>(samples.data()),
                                 static_cast<int>(samples.size() * sizeof(int16_t))),
                  0);
        const GatheredOutput units = encoder.takeGathered();
        if (units.size > 0) {
            ASSERT_GE(decoder.decode(units.bytes.get(), units.size), 0);
        }
        const int bytes = decoder.getData(reinterpret_cast<uint8_t*>(pcm.data()), kMostBytes);
        heard.insert(heard.end(), pcm.begin(), pcm.begin() + bytes / 2);
    }
    ASSERT_GT(heard.size(), 50 * kBlockFrames * width) << "nearly all of it";
    heard.erase(heard.begin(), heard.begin() + static_cast<long>(4 * kBlockFrames * width));
    EXPECT_NEAR(pitchOf(heard, width), 1000, 1);
}

INSTANTIATE_TEST_SUITE_P(Channels, AacTone, testing::Values(1, 2));

}  // namespace
