// Proves the AAC components as the engine drives them: a tone goes in and comes out, whatever the pieces it
// is sent in; the configuration comes first; nothing that a stream holds stops the decoder. Would catch
// channels exchanged, samples lost where pieces meet, a unit split or swallowed, a rate that stays the
// default, a last unit that is never drained, an error event or a format change of damaged bytes.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "tests/platform/codec_client.h"

namespace zem::test {
namespace {

constexpr const char* kEncoder = "OMX.qcom.audio.encoder.aac";
constexpr const char* kDecoder = "OMX.qcom.audio.decoder.aac";
constexpr OMX_U32 kAdts = OMX_AUDIO_AACStreamFormatMP4ADTS;

struct Format {
    OMX_U32 rate, channels;
};

class AacClient : public CodecClient {
  public:
    AacClient(const char* codec, const Format& format, const char* profile = "qcom")
        : CodecClient(profile, codec), mPcmPort(codec == kEncoder ? kInputPort : kOutputPort) {
        EXPECT_EQ(setPcm(format), OK);
    }
    status_t setPcm(const Format& format, OMX_U32 bits = 16) {
        OMX_AUDIO_PARAM_PCMMODETYPE pcm = this->pcm();
        pcm.nSamplingRate = format.rate;
        pcm.nChannels = format.channels;
        pcm.nBitPerSample = bits;
        return set(OMX_IndexParamAudioPcm, pcm);
    }
    OMX_AUDIO_PARAM_PCMMODETYPE pcm() {
        OMX_AUDIO_PARAM_PCMMODETYPE pcm{};
        pcm.nPortIndex = mPcmPort;
        EXPECT_EQ(get(OMX_IndexParamAudioPcm, &pcm), OK);
        return pcm;
    }
    status_t setAac(OMX_U32 bitRate, OMX_U32 form = OMX_AUDIO_AACStreamFormatMP4FF) {
        OMX_AUDIO_PARAM_AACPROFILETYPE aac{};
        aac.nPortIndex = 1 - mPcmPort;
        EXPECT_EQ(get(OMX_IndexParamAudioAac, &aac), OK);
        aac.nBitRate = bitRate;
        aac.eAACStreamFormat = static_cast<OMX_AUDIO_AACSTREAMFORMATTYPE>(form);
        return set(OMX_IndexParamAudioAac, aac);
    }

  private:
    const OMX_U32 mPcmPort;
};

// A tone of its own in each channel, 440 and 660 Hz.
Bytes tone(const Format& format, size_t samples) {
    std::vector<int16_t> pcm;
    for (size_t i = 0; i < samples; i++) {
        for (OMX_U32 channel = 0; channel < format.channels; channel++) {
            const double turns = static_cast<double>(i) * (440 + 220 * channel) / format.rate;
            pcm.push_back(static_cast<int16_t>(12000 * std::sin(2 * M_PI * turns)));
        }
    }
    Bytes bytes(pcm.size() * sizeof(int16_t));
    memcpy(bytes.data(), pcm.data(), bytes.size());
    return bytes;
}

// All outputs for `pcm` sent in pieces of `piece` bytes, each with the time of its first sample.
std::vector<Output> encoded(const Format& format, const Bytes& pcm, size_t piece, OMX_U32 bitRate = 0,
                            const char* profile = "qcom") {
    AacClient client(kEncoder, format, profile);
    EXPECT_EQ(client.setAac(bitRate), OK);
    client.start();
    for (size_t at = 0; at < pcm.size(); at += piece) {
        const auto from = pcm.begin() + static_cast<ptrdiff_t>(at);
        const auto size = static_cast<ptrdiff_t>(std::min(piece, pcm.size() - at));
        const size_t sample = at / (2 * format.channels);
        client.send({from, from + size}, static_cast<OMX_TICKS>(1000 + sample * 1000000 / format.rate));
    }
    return client.finish(77);
}

// The units of `outputs`, `group` to a buffer; with the configuration in front of the first.
std::vector<Bytes> gathered(const std::vector<Output>& outputs, size_t group, bool configured) {
    std::vector<Bytes> packets(1);
    for (size_t i = configured ? 0 : 1; i + 1 < outputs.size(); i++) {
        if (i > 1 && (i - 1) % group == 0) {
            packets.emplace_back();
        }
        packets.back().insert(packets.back().end(), outputs[i].bytes.begin(), outputs[i].bytes.end());
    }
    return packets;
}

std::vector<int16_t> samplesOf(const std::vector<Output>& outputs) {
    std::vector<int16_t> samples;
    for (const Output& output : outputs) {
        const size_t count = output.bytes.size() / sizeof(int16_t);
        samples.resize(samples.size() + count);
        memcpy(samples.data() + samples.size() - count, output.bytes.data(), count * sizeof(int16_t));
    }
    return samples;
}

// How far `samples`, the coder's delay of 1024 taken off, are above their difference from `pcm`, in dB.
double signalToNoise(const std::vector<int16_t>& samples, const Bytes& pcm, const Format& format) {
    std::vector<int16_t> sent(pcm.size() / sizeof(int16_t));
    memcpy(sent.data(), pcm.data(), pcm.size());
    const size_t delay = 1024 * format.channels;
    double signal = 0;
    double noise = 1;
    for (size_t i = 0; i < sent.size() && i + delay < samples.size(); i++) {
        signal += std::pow(sent[i], 2);
        noise += std::pow(sent[i] - samples[i + delay], 2);
    }
    return samples.size() < sent.size() + delay ? 0 : 10 * std::log10(signal / noise);
}

// Of every profile, rate and number of channels; with and without the configuration; clients that know the
// format beforehand, and that must be told.
TEST(Aac, ToneComesBackAtItsTimes) {
    const struct {
        const char* profile;
        Format format, expected;
        OMX_U32 bitRate;
        size_t group;
        bool configured;
    } cases[] = {
        {"qcom", {44100, 2}, {44100, 2}, 0, 1, true},
        {"qcom-tiled", {48000, 1}, {48000, 1}, 96000, 3, true},
        {"sec", {44100, 2}, {44100, 2}, 128000, 100, false},
        {"exynos", {8000, 1}, {8000, 1}, 500000, 2, false},
        {"tarn", {96000, 2}, {44100, 1}, 320000, 7, true},
        {"qcom", {7350, 1}, {48000, 2}, 0, 1, true},
        {"qcom", {22050, 1}, {22050, 1}, 64000, 4, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.profile << " " << c.format.rate << " " << c.bitRate);
        const Bytes pcm = tone(c.format, 20 * 1024 + 300);
        const auto outputs = encoded(c.format, pcm, 4096, c.bitRate, c.profile);
        ASSERT_EQ(outputs.size(), 24U);  // the configuration, one unit of delay, 21, the end
        EXPECT_EQ(outputs[0].flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_CODECCONFIG));
        EXPECT_EQ(outputs[0].bytes.size(), 2U);
        for (size_t i = 3; i + 1 < outputs.size(); i++) {
            const auto time = static_cast<double>(1000 + (i - 2) * 1024 * 1000000 / c.format.rate);
            EXPECT_NEAR(static_cast<double>(outputs[i].timestamp), time, 2);
        }
        EXPECT_EQ(outputs.back().flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_EOS));
        EXPECT_EQ(outputs.back().timestamp, 77);

        AacClient client(kDecoder, c.expected, c.profile);
        client.start();
        for (const Bytes& packet : gathered(outputs, c.group, c.configured)) {
            client.send(packet, 5000);
        }
        const auto decoded = client.finish(99);
        EXPECT_EQ(decoded.size(), 23U);
        EXPECT_EQ(decoded.back().timestamp, 99);
        EXPECT_EQ(decoded[std::min<size_t>(c.group, 22) - 1].timestamp,
                  static_cast<OMX_TICKS>(5000 + (std::min<size_t>(c.group, 22) - 1) * 1024 * 1000000 /
                                                    c.format.rate));
        EXPECT_EQ(client.changes, c.expected.rate == c.format.rate ? 0 : 1);
        EXPECT_EQ(client.pcm().nSamplingRate, c.format.rate);
        EXPECT_GT(signalToNoise(samplesOf(decoded), pcm, c.format), 15);
    }
}

}  // namespace
}  // namespace zem::test
