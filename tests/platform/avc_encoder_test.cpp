// Proves that the H.264 encoder component answers clients as its makers' components do (that each chip's
// takes its own layout, the sessions show end to end). Would catch an input buffer one byte too small, a
// configuration that is late or sent twice, a key-frame request that waits for the interval, a bit rate that
// stays, a frame read past its end, a unit that outgrows its buffer.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "platform/linux/codecs/frame_layout.h"
#include "tests/platform/h264_stream.h"
#include "tests/platform/stream_damage.h"
#include "tests/support/log_capture.h"

namespace zem::test {
namespace {

constexpr OMX_U32 kSemiPlanar = 21;

struct EncoderClient : CodecClient {
    explicit EncoderClient(bool qcom = false)
        : CodecClient(qcom ? "qcom" : "sec", qcom ? "OMX.qcom.video.encoder.avc" : "OMX.SEC.avc.enc") {}

    status_t setSize(OMX_U32 index, OMX_U32 width, OMX_U32 height, OMX_U32 colorFormat,
                     OMX_U32 frameRateQ16 = 30 << 16) {
        OMX_PARAM_PORTDEFINITIONTYPE wanted = port(index);
        wanted.nBufferSize = 300;  // a wish that is too small
        wanted.format.video.nFrameWidth = width;
        wanted.format.video.nFrameHeight = height;
        wanted.format.video.xFramerate = frameRateQ16;
        wanted.format.video.eColorFormat = static_cast<OMX_COLOR_FORMATTYPE>(colorFormat);
        return setPort(wanted);
    }
    // All that a chip with interleaved chroma is told before it starts.
    void configure(OMX_U32 width, OMX_U32 height, OMX_U32 bitRate, OMX_U32 control = 2,
                   OMX_U32 frameRateQ16 = 30 << 16) {
        EXPECT_EQ(OK, setSize(kInputPort, width, height, kSemiPlanar, frameRateQ16));
        EXPECT_EQ(OK, setSize(kOutputPort, width, height, kSemiPlanar, frameRateQ16));
        EXPECT_EQ(OK, setRate(control, bitRate));
    }
    status_t setRate(OMX_U32 control, OMX_U32 bitRate) {
        OMX_VIDEO_PARAM_BITRATETYPE fields{};
        fields.nPortIndex = kOutputPort;
        fields.eControlRate = static_cast<OMX_VIDEO_CONTROLRATETYPE>(control);
        fields.nTargetBitrate = bitRate;
        return set(OMX_IndexParamVideoBitrate, fields);
    }
    // Sends one frame and waits until its buffer is back.
    void code(const Bytes& frame, OMX_TICKS timestamp = 0) {
        send(frame, timestamp);
        awaitInputs();
    }
    template <typename T>
    status_t setConfig(OMX_INDEXTYPE index, const T& fields) {
        return omx->setConfig(node, index, &fields, sizeof fields);
    }
};

// Black and white dots: nothing costs an encoder more.
Bytes dots(size_t size) {
    static Random random(1);
    Bytes bytes = noise(size, random);
    std::transform(bytes.begin(), bytes.end(), bytes.begin(), [](uint8_t byte) { return byte % 2 * 255; });
    return bytes;
}

// Where each chip's encoder looks for the planes: a row too far is hard to see in a whole picture.
TEST(AvcEncoder, PlanesStandWhereTheChipsReadThem) {
    using Numbers = std::array<uint32_t, 4>;  // where chroma and Cr begin, bytes of a chroma row, of all
    const std::pair<EncoderInput, Numbers> cases[] = {
        {EncoderInput::Nv12ChromaAt2048, {231424, 0, 640, 346624}},
        {EncoderInput::Nv12, {230400, 0, 640, 345600}},
        {EncoderInput::I420, {230400, 288000, 320, 345600}}};
    for (const auto& [input, expected] : cases) {
        const FrameLayout l = frameLayoutOf(input, 640, 360);
        EXPECT_EQ((Numbers{l.chromaOffset, l.crOffset, l.chromaRowLength, l.frameSize}), expected);
    }
}

TEST(AvcEncoder, ConfigurationFirstAndOnceThenOneUnitAFrame) {
    EncoderClient client;
    client.configure(64, 48, 1000000);
    const auto frame = dots(size_t{64} * 48 * 3 / 2);
    EXPECT_EQ(client.port(kInputPort).nBufferSize, frame.size());
    for (int round = 0; round < 2; round++) {  // after a stop the stream begins anew
        SCOPED_TRACE(round);
        client.start();
        const OMX_TICKS times[] = {33333, -5, 66666};
        for (const OMX_TICKS time : times) {
            client.code(frame, time);
        }
        const auto outputs = client.finish(99999);
        client.stop();
        ASSERT_EQ(outputs.size(), 5u);
        EXPECT_EQ(outputs[0].flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_CODECCONFIG));
        EXPECT_EQ(outputs[0].bytes.at(4) & 0x1F, 7);
        for (size_t i = 1; i <= 3; i++) {
            const OMX_U32 key = i == 1 ? OMX_BUFFERFLAG_SYNCFRAME : 0;
            EXPECT_EQ(outputs[i].flags, OMX_BUFFERFLAG_ENDOFFRAME | key);
            EXPECT_EQ(outputs[i].timestamp, times[i - 1]);
            EXPECT_EQ(outputs[i].bytes.at(4) & 0x1F, i == 1 ? 5 : 1);
        }
        EXPECT_EQ(outputs[4].flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_EOS));
        EXPECT_EQ(outputs[4].timestamp, 99999);
        EXPECT_TRUE(outputs[4].bytes.empty());
    }
}

TEST(AvcEncoder, KeyFramesByIntervalAndOnRequest) {
    EncoderClient client;
    client.configure(128, 64, 1000000);
    OMX_VIDEO_PARAM_AVCTYPE avc{};
    avc.nPortIndex = kOutputPort;
    ASSERT_EQ(client.get(OMX_IndexParamVideoAvc, &avc), OK);
    avc.nPFrames = 9;
    ASSERT_EQ(client.set(OMX_IndexParamVideoAvc, avc), OK);
    OMX_CONFIG_INTRAREFRESHVOPTYPE refresh{};
    refresh.nPortIndex = kOutputPort;
    refresh.IntraRefreshVOP = OMX_TRUE;
    client.start();
    for (int i = 0; i < 17; i++) {
        if (i == 13) {
            client.setConfig(OMX_IndexConfigVideoIntraVOPRefresh, refresh);
        }
        client.code(dots(size_t{128} * 64 * 3 / 2));
    }
    std::string pattern;
    for (const auto& output : client.finish()) {
        pattern += (output.flags & OMX_BUFFERFLAG_SYNCFRAME) != 0 ? 'I' : 'p';
    }
    EXPECT_EQ(pattern, "pIpppppppppIppIpppp");  // the configuration and the end count as p
}

TEST(AvcEncoder, BitRateIsKeptAndChangesWhileCoding) {
    EncoderClient client;
    client.configure(320, 240, 4000000);
    client.start();
    for (const OMX_U32 rate : {4000000u, 500000u}) {
        OMX_VIDEO_CONFIG_BITRATETYPE fields;
        memset(&fields, 0xA5, sizeof fields);  // read with a header that was never filled, the port included
        ASSERT_EQ(client.omx->getConfig(client.node, OMX_IndexConfigVideoBitrate, &fields, sizeof fields),
                  OK);
        fields.nPortIndex = kOutputPort;
        fields.nEncodeBitrate = rate;
        ASSERT_EQ(client.setConfig(OMX_IndexConfigVideoBitrate, fields), OK);
        for (int i = 0; i < 60; i++) {  // noise costs what the rate allows
            client.code(dots(size_t{320} * 240 * 3 / 2));
        }
    }
    const auto outputs = client.finish();
    ASSERT_EQ(outputs.size(), 122u);
    double bits[2] = {};  // of each phase's last second
    for (size_t i = 0; i < 120; i++) {
        bits[i / 60] += i % 60 < 30 ? 0 : 8.0 * static_cast<double>(outputs[i + 1].bytes.size());
    }
    EXPECT_NEAR(bits[0], 4000000, 1200000);
    EXPECT_NEAR(bits[1], 500000, 250000);
}

// Rates that no stream can have are replaced; the largest units have room in the output buffer.
TEST(AvcEncoder, EveryRateGivesAReadableStream) {
    const struct {
        OMX_U32 control, bitRate, frameRateQ16;
    } cases[] = {{2, 0, 30 << 16}, {2, 1, 30 << 16},         {2, 0x80000000, 30 << 16},
                 {2, 1000000, 0},  {1, 1000000, 0xFFFF0000}, {0, 240000000, 30 << 16}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.control << " " << c.bitRate << " " << c.frameRateQ16);
        EncoderClient client;
        client.configure(320, 176, c.bitRate, c.control, c.frameRateQ16);
        client.start();
        client.code(dots(size_t{320} * 176 * 3 / 2));
        client.code(dots(size_t{320} * 176 * 3 / 2));
        const auto outputs = client.finish();
        ASSERT_EQ(outputs.size(), 4u);
        const auto seen = picturesOf({outputs[0].bytes, outputs[1].bytes, outputs[2].bytes});
        ASSERT_EQ(seen.size(), 2u);
        EXPECT_EQ(seen[1].width, 320);
    }
}

TEST(AvcEncoder, ShortFramesAreDroppedAndReturned) {
    EncoderClient client(true);
    client.configure(80, 48, 1000000);
    client.start();
    const size_t whole = 4096 + 80 * 48 / 2;  // the chroma begins at a multiple of 2048
    forgetLog();
    for (const size_t size : {whole - 1, size_t{80} * 48 * 3 / 2, size_t{0}}) {
        client.code(dots(size));
    }
    EXPECT_EQ(loggedCount("is dropped"), 3);
    client.code(dots(whole), 7);
    const auto outputs = client.finish();
    ASSERT_EQ(outputs.size(), 3u);
    EXPECT_EQ(outputs[1].timestamp, 7);
}

TEST(AvcEncoder, RefusesWhatItCannotCode) {
    constexpr OMX_U32 kPlanar = 19;  // another chip's
    const OMX_U32 cases[][3] = {{641, 360, kSemiPlanar}, {640, 361, kSemiPlanar},       {0, 0, kSemiPlanar},
                                {4098, 16, kSemiPlanar}, {0xFFFFFFF0, 16, kSemiPlanar}, {640, 360, kPlanar}};
    EncoderClient client(true);
    const OMX_U32 width = client.port(kInputPort).format.video.nFrameWidth;
    for (const auto& [w, h, colorFormat] : cases) {
        EXPECT_NE(client.setSize(kInputPort, w, h, colorFormat), OK) << w << "x" << h;
        EXPECT_EQ(client.port(kInputPort).format.video.nFrameWidth, width) << w << "x" << h;
    }
    EXPECT_NE(client.setRate(0xFFFFFFFF, 1000000), OK);
    client.expectExactSize<OMX_VIDEO_PARAM_PORTFORMATTYPE>(OMX_IndexParamVideoPortFormat, kOutputPort);
    client.expectExactSize<OMX_VIDEO_PARAM_BITRATETYPE>(OMX_IndexParamVideoBitrate, kOutputPort);
    client.expectExactSize<OMX_VIDEO_PARAM_AVCTYPE>(OMX_IndexParamVideoAvc, kOutputPort);
    client.expectExactSize<OMX_VIDEO_CONFIG_NALSIZE>(OMX_IndexConfigVideoNalSize, kOutputPort);
}

}  // namespace
}  // namespace zem::test
