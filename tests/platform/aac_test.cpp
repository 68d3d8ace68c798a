// Proves the AAC components as the engine drives them: a tone goes in and comes out, whatever the pieces it
// is sent in; nothing that a stream holds stops the decoder. Would catch channels exchanged, samples lost
// where pieces meet, a unit split or swallowed, a bit rate that stays the default, a last unit that is never
// drained, inputs that pile up in a codec, an error event or a change of format for damaged bytes.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/platform/stream_damage.h"

namespace zem::test {
namespace {

constexpr const char* kEncoder = "OMX.qcom.audio.encoder.aac";
constexpr const char* kDecoder = "OMX.qcom.audio.decoder.aac";

struct Format {
    OMX_U32 rate, channels;

    OMX_TICKS after(OMX_TICKS time, size_t samples) const {
        return time + static_cast<OMX_TICKS>(samples * 1000000 / rate);
    }
};

class AacClient : public CodecClient {
  public:
    AacClient(const char* codec, const Format& format, const char* profile = "qcom")
        : CodecClient(profile, codec), mPcmPort(codec == kEncoder ? kInputPort : kOutputPort) {
        EXPECT_EQ(setPcm(format), OK);
    }
    OMX_AUDIO_PARAM_PCMMODETYPE pcm() {
        OMX_AUDIO_PARAM_PCMMODETYPE pcm{};
        pcm.nPortIndex = mPcmPort;
        EXPECT_EQ(get(OMX_IndexParamAudioPcm, &pcm), OK);
        return pcm;
    }
    status_t setPcm(const Format& format, OMX_U32 bits = 16) {
        OMX_AUDIO_PARAM_PCMMODETYPE fields = pcm();
        fields.nSamplingRate = format.rate;
        fields.nChannels = format.channels;
        fields.nBitPerSample = bits;
        return set(OMX_IndexParamAudioPcm, fields);
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

using Samples = std::vector<int16_t>;

Samples samplesOf(const Bytes& bytes) {
    Samples samples(bytes.size() / sizeof(int16_t));
    memcpy(samples.data(), bytes.data(), samples.size() * sizeof(int16_t));
    return samples;
}

Bytes bytesOf(const std::vector<Output>& outputs) {
    Bytes all;
    for (const Output& output : outputs) {
        all.insert(all.end(), output.bytes.begin(), output.bytes.end());
    }
    return all;
}

// A tone of its own in each channel, 440 and 660 Hz.
Bytes tone(const Format& format, size_t samples) {
    Samples pcm;
    for (size_t i = 0; i < samples * format.channels; i++) {
        const size_t turns = i / format.channels * (440 + 220 * (i % format.channels));
        pcm.push_back(
            static_cast<int16_t>(12000 * std::sin(2 * M_PI * static_cast<double>(turns) / format.rate)));
    }
    Bytes bytes(pcm.size() * sizeof(int16_t));
    memcpy(bytes.data(), pcm.data(), bytes.size());
    return bytes;
}

// All outputs for `pcm` sent in pieces, each with the time of its first sample, the first at 1000.
std::vector<Output> encode(AacClient& client, const Bytes& pcm, size_t piece = 4096) {
    const auto format = client.pcm();
    for (size_t at = 0; at < pcm.size(); at += piece) {
        const auto* from = pcm.data() + at;
        const Format timing{format.nSamplingRate, 0};
        client.send({from, from + std::min(piece, pcm.size() - at)},
                    timing.after(1000, at / (size_t{2} * format.nChannels)));
    }
    return client.finish(77);
}

std::vector<Output> encoded(const Format& format, const Bytes& pcm, OMX_U32 bitRate = 0,
                            const char* profile = "qcom") {
    AacClient client(kEncoder, format, profile);
    EXPECT_EQ(client.setAac(bitRate), OK);
    client.start();
    return encode(client, pcm);
}

// The units of a stream, `group` to a buffer, the configuration in front of the first or left out.
Packets packetsOf(const std::vector<Output>& stream, size_t group, bool configured) {
    Packets packets{configured ? stream[0].bytes : Bytes()};
    for (size_t i = 1; i + 1 < stream.size(); i++) {
        if (i > 1 && (i - 1) % group == 0) {
            packets.emplace_back();
        }
        packets.back().insert(packets.back().end(), stream[i].bytes.begin(), stream[i].bytes.end());
    }
    return packets;
}

// How far the end of `decoded` is above its difference from the end of `pcm`, in dB; the coder's last unit is
// filled up with `padding` samples of silence.
double signalToNoise(const Bytes& decoded, const Bytes& pcm, const Format& format, size_t padding,
                     size_t count) {
    const Samples sent = samplesOf(pcm);
    Samples played = samplesOf(decoded);
    const size_t end = played.size() - std::min(played.size(), padding * format.channels);
    double signal = 0;
    double fault = 1;
    for (size_t i = 1; i <= count * format.channels && i <= sent.size(); i++) {
        signal += std::pow(sent[sent.size() - i], 2);
        fault += std::pow(sent[sent.size() - i] - (i <= end ? played[end - i] : 0), 2);
    }
    return 10 * std::log10(signal / fault);
}

constexpr size_t kSamples = 20 * 1024 + 300;  // 21 units, and one for the coder's delay
constexpr size_t kPadding = 1024 - 300;

// With and without the configuration; units one by one and end to end; decoders that are told the format, and
// that must find it out.
TEST(Aac, ToneComesBackOnEveryChip) {
    const struct {
        const char* profile;
        size_t group;
        Format format, expected;
        OMX_U32 bitRate;
        bool configured;
    } cases[] = {
        {"qcom", 1, {44100, 2}, {44100, 2}, 0, true},
        {"qcom-tiled", 3, {48000, 1}, {48000, 1}, 96000, true},
        {"sec", 9, {44100, 2}, {44100, 2}, 128000, false},
        {"exynos", 2, {8000, 1}, {8000, 1}, 500000, false},
        {"tarn", 7, {96000, 2}, {44100, 1}, 320000, true},
        {"qcom", 1, {7350, 1}, {48000, 2}, 0, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.profile << " " << c.format.rate);
        const Bytes pcm = tone(c.format, kSamples);
        const auto stream = encoded(c.format, pcm, c.bitRate, c.profile);
        ASSERT_EQ(stream.size(), 24U);
        EXPECT_EQ(stream[0].flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_CODECCONFIG));
        EXPECT_EQ(stream[0].bytes.size(), 2U);
        for (size_t i = 2; i < 23; i++) {
            EXPECT_NEAR(static_cast<double>(stream[i].timestamp),
                        static_cast<double>(c.format.after(1000, (i - 2) * 1024)), 2);
        }
        EXPECT_EQ(stream[23].flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_EOS));
        EXPECT_EQ(stream[23].timestamp, 77);

        AacClient client(kDecoder, c.expected, c.profile);
        client.start();
        for (const Bytes& packet : packetsOf(stream, c.group, c.configured)) {
            client.send(packet, 5000);
        }
        const auto decoded = client.finish(99);
        ASSERT_EQ(decoded.size(), 23U);
        EXPECT_EQ(decoded[22].timestamp, 99);
        EXPECT_EQ(decoded[c.group - 1].timestamp, c.format.after(5000, (c.group - 1) * 1024));
        EXPECT_EQ(client.changes, c.expected.rate == c.format.rate ? 0 : 1);
        EXPECT_EQ(client.pcm().nSamplingRate, c.format.rate);
        EXPECT_GT(signalToNoise(bytesOf(decoded), pcm, c.format, kPadding, kSamples), 20);
    }
}

TEST(Aac, PiecesAndRestartsMakeNoDifference) {
    const Format format{44100, 2};
    const Bytes pcm = tone(format, 3 * 1024 + 50);
    const Bytes whole = bytesOf(encoded(format, pcm));
    AacClient client(kEncoder, format);
    for (const size_t piece : {1U, 7U, 4095U, 16384U}) {
        client.start();
        EXPECT_EQ(bytesOf(encode(client, pcm, piece)), whole) << piece;
        // Behind an end the stream begins anew, without a configuration.
        EXPECT_EQ(bytesOf(encode(client, pcm, 4096)), Bytes(whole.begin() + 2, whole.end())) << piece;
        client.stop();
    }
}

TEST(Aac, BitRateIsKept) {
    Random random(1);
    const Format format{44100, 2};
    const Bytes pcm = noise(size_t{44100} * 4, random);
    for (const OMX_U32 rate : {64000U, 192000U, 1U, 0xFFFFFFFFU}) {  // the last two are no stream's
        const double bits = 8.0 * static_cast<double>(bytesOf(encoded(format, pcm, rate)).size());
        const double expected = rate == 1 ? 16000 : std::min(rate, 529200U);
        EXPECT_NEAR(bits, expected, expected * 0.4) << rate;
    }
}

// Whatever came before, a whole stream is heard at the end, and the format is still the stream's.
TEST(Aac, DamageIsSurvived) {
    const Format format{44100, 2};
    const Bytes pcm = tone(format, kSamples);
    const Packets stream = packetsOf(encoded(format, pcm), 4, true);
    Random random(1);
    AacClient client(kDecoder, format);
    client.start();
    for (int round = 0; round < 20; round++) {
        for (const Damage& damage : kDamages) {
            Packets packets = stream;
            damage.apply(packets, random);
            packets.emplace_back(8192, static_cast<uint8_t>(random()));
            for (const Bytes& packet : packets) {
                client.send(packet, 1);
            }
            client.send(noise(random() % 9, random), 1, OMX_BUFFERFLAG_CODECCONFIG);
            client.send({0x12, 0x10}, 1, OMX_BUFFERFLAG_CODECCONFIG);
        }
    }
    // Now and then one tells of another number of channels, and no configuration comes to the rescue.
    for (int i = 0; i < 3000; i++) {
        Bytes packet = stream[1];
        flipBits(packet, random);
        client.send(packet, 1);
    }
    EXPECT_EQ(client.changes, 0);
    for (const Bytes& packet : packetsOf(encoded(format, pcm), 4, false)) {
        client.send(packet, 2);
    }
    const auto decoded = client.finish(3);
    EXPECT_GT(signalToNoise(bytesOf(decoded), pcm, format, kPadding, kSamples - 4096), 20);
    EXPECT_EQ(client.pcm().nSamplingRate, 44100U);
    EXPECT_EQ(client.pcm().nChannels, 2U);
}

// A unit with a header of its own, which says 48000 Hz and one channel.
Bytes selfDescribed(Bytes unit) {
    const size_t size = unit.size() + 7;
    const auto low = [](size_t bits) { return static_cast<uint8_t>(bits); };
    unit.insert(unit.begin(),
                {0xFF, 0xF1, 0x4C, low(0x40 | size >> 11), low(size >> 3), low(size << 5 | 0x1F), 0xFC});
    return unit;
}

TEST(Aac, OneUnitChangesNoFormatTwoDo) {
    const Format stereo{44100, 2};
    const Format mono{48000, 1};
    const Packets units = packetsOf(encoded(stereo, tone(stereo, 4096)), 1, true);
    const Bytes other = selfDescribed(packetsOf(encoded(mono, tone(mono, 4096)), 1, false)[2]);
    AacClient client(kDecoder, stereo);
    client.start();
    for (const Bytes& unit : {units[0], other, units[1], other, units[2]}) {
        client.send(unit);
    }
    EXPECT_EQ(client.finish().size(), 4U) << "three of the stream's, and the end";
    EXPECT_EQ(client.changes, 0);
    client.send(other);
    client.send(other);
    client.finish();
    EXPECT_EQ(client.changes, 1);
    EXPECT_EQ(client.pcm().nChannels, 1U);
    EXPECT_EQ(client.pcm().nSamplingRate, 48000U);
}

// A client that gives no outputs gets no inputs back: nothing piles up in the codec.
TEST(Aac, InputsWaitForOutputs) {
    const Format format{44100, 2};
    const Bytes pcm = tone(format, 4096);
    const Bytes coded = packetsOf(encoded(format, pcm), 100, true)[0];
    for (const char* codec : {kEncoder, kDecoder}) {
        AacClient client(codec, format);
        client.advanceTo(OMX_StateExecuting);
        for (size_t i = 0; i < 8; i++) {
            const Bytes& payload = codec == kEncoder ? pcm : coded;
            ASSERT_EQ(client.empty(i, {payload.begin(), payload.end()}), OK);
        }
        EXPECT_EQ(client.observer->take(1).size(), 1U);
        usleep(20000);
        EXPECT_NE(client.empty(1, "x"), OK) << codec;
    }
}

TEST(Aac, RefusesWhatItHasNoMeansFor) {
    const struct {
        Format format;
        OMX_U32 bits;
        bool fine;
    } cases[] = {{{44100, 2}, 16, true},  {{44101, 2}, 16, false}, {{0, 2}, 16, false},
                 {{44100, 0}, 16, false}, {{44100, 3}, 16, false}, {{44100, 2}, 8, false}};
    for (const char* codec : {kEncoder, kDecoder}) {
        AacClient client(codec, {8000, 1});
        const OMX_U32 pcmPort = codec == kEncoder ? kInputPort : kOutputPort;
        for (const auto& c : cases) {
            EXPECT_EQ(client.setPcm(c.format, c.bits) == OK, c.fine) << c.format.rate << " " << c.bits;
            EXPECT_EQ(client.pcm().nSamplingRate, 44100U);
        }
        EXPECT_NE(client.setAac(0, OMX_AUDIO_AACStreamFormatMP4ADTS), OK);
        for (const OMX_U32 index : {kInputPort, kOutputPort}) {
            OMX_AUDIO_PARAM_PORTFORMATTYPE walk{};
            walk.nPortIndex = index;
            ASSERT_EQ(client.get(OMX_IndexParamAudioPortFormat, &walk), OK);
            EXPECT_EQ(walk.eEncoding, index == pcmPort ? OMX_AUDIO_CodingPCM : OMX_AUDIO_CodingAAC);
            walk.nIndex = 1;
            EXPECT_EQ(client.get(OMX_IndexParamAudioPortFormat, &walk), android::BAD_INDEX);
            OMX_PARAM_PORTDEFINITIONTYPE wanted = client.port(index);
            EXPECT_EQ(wanted.eDomain, OMX_PortDomainAudio);
            wanted.nBufferSize = 24576;
            wanted.format.audio.eEncoding = OMX_AUDIO_CodingMP3;
            EXPECT_NE(client.setPort(wanted), OK);
            wanted.format.audio.eEncoding = walk.eEncoding;
            EXPECT_EQ(client.setPort(wanted), OK);
            EXPECT_EQ(client.port(index).nBufferSize, 24576U);
        }
        client.expectExactSize<OMX_AUDIO_PARAM_PORTFORMATTYPE>(OMX_IndexParamAudioPortFormat, pcmPort);
        client.expectExactSize<OMX_AUDIO_PARAM_PCMMODETYPE>(OMX_IndexParamAudioPcm, pcmPort);
        client.expectExactSize<OMX_AUDIO_PARAM_AACPROFILETYPE>(OMX_IndexParamAudioAac, 1 - pcmPort);
    }
}

}  // namespace
}  // namespace zem::test
