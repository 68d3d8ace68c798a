// Proves that the H.264 encoder component of every chip codes the picture that stands in its input buffer, in
// the chip's layout, and answers clients as its makers' components do. Would catch swapped chroma bytes, a
// chroma offset that is ignored, an input buffer one byte too small, a configuration that is late or sent
// twice, a key-frame request that waits for the interval, a bit rate that stays, a frame read past its end, a
// unit that outgrows its buffer.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/platform/encoder_client.h"
#include "tests/platform/h264_reader.h"
#include "tests/support/log_capture.h"

namespace zem::test {
namespace {

constexpr OMX_U32 kPlanar = 19;
constexpr OMX_U32 kSemiPlanar = 21;
constexpr OMX_U32 kConstant = 2;
constexpr char kQcomEncoder[] = "OMX.qcom.video.encoder.avc";

void configure(EncoderClient& client, OMX_U32 width, OMX_U32 height, OMX_U32 colorFormat, OMX_U32 bitRate,
               OMX_U32 frameRateQ16 = 30 << 16) {
    ASSERT_NE(client.node, 0u);
    ASSERT_EQ(client.setSize(0, width, height, colorFormat, frameRateQ16), OK);
    ASSERT_EQ(client.setSize(1, width, height, colorFormat, frameRateQ16), OK);
    ASSERT_EQ(client.setRate(kConstant, bitRate), OK);
}

// Black and white dots: nothing costs an encoder more.
std::vector<uint8_t> noise(size_t size) {
    static std::minstd_rand random(1);
    std::vector<uint8_t> bytes(size);
    for (uint8_t& byte : bytes) {
        byte = (random() >> 8) % 2 == 0 ? 0 : 255;
    }
    return bytes;
}

TEST(AvcEncoder, EveryChipCodesThePictureInItsLayout) {
    const struct {
        const char* profile;
        const char* encoder;
        OMX_U32 colorFormat, chromaAlignment;
    } chips[] = {
        {"qcom", kQcomEncoder, kSemiPlanar, 2048},          {"qcom-tiled", kQcomEncoder, kSemiPlanar, 2048},
        {"sec", "OMX.SEC.avc.enc", kSemiPlanar, 1},         {"exynos", "OMX.Exynos.avc.enc", kSemiPlanar, 1},
        {"tarn", "OMX.tarn.video.encoder.avc", kPlanar, 1}, {"qcom", "OMX.google.avc.encoder", kPlanar, 1},
    };
    constexpr OMX_U32 kSizes[][2] = {{16, 16}, {640, 360}, {66, 130}};
    for (const auto& chip : chips) {
        for (const auto& [width, height] : kSizes) {
            SCOPED_TRACE(std::string(chip.encoder) + " " + std::to_string(width));
            EncoderClient client(chip.profile, chip.encoder);
            ASSERT_NO_FATAL_FAILURE(configure(client, width, height, chip.colorFormat, 20000000));
            const Picture sent = patches(static_cast<int>(width), static_cast<int>(height));
            const OMX_U32 chroma =
                (width * height + chip.chromaAlignment - 1) / chip.chromaAlignment * chip.chromaAlignment;
            const auto frame = frameOf(sent, chip.colorFormat == kSemiPlanar, chroma);
            EXPECT_EQ(client.port(0).nBufferSize, (frame.size() + 31) / 32 * 32);
            client.start();
            client.send(frame);
            const auto outputs = client.finish();
            ASSERT_EQ(outputs.size(), 3u);
            H264Reader reader;
            Picture seen;
            reader.read(outputs[0].bytes, &seen);
            ASSERT_TRUE(reader.read(outputs[1].bytes, &seen));
            EXPECT_LE(largestDifference(sent, seen), 16);
        }
    }
}

TEST(AvcEncoder, ConfigurationFirstAndOnceThenOneUnitAFrame) {
    EncoderClient client("sec", "OMX.SEC.avc.enc");
    ASSERT_NO_FATAL_FAILURE(configure(client, 64, 48, kSemiPlanar, 1000000));
    const auto frame = frameOf(patches(64, 48), true, 3072);
    for (int round = 0; round < 2; round++) {  // after a stop the stream begins anew
        SCOPED_TRACE(round);
        client.start();
        const OMX_TICKS times[] = {33333, 66666, -5, 66666};
        for (const OMX_TICKS time : times) {
            client.send(frame, time);
        }
        const auto outputs = client.finish(99999);
        ASSERT_EQ(outputs.size(), 6u);
        EXPECT_EQ(outputs[0].flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_CODECCONFIG));
        EXPECT_EQ(outputs[0].bytes.at(4) & 0x1F, 7);
        for (size_t i = 1; i <= 4; i++) {
            const OMX_U32 key = i == 1 ? OMX_BUFFERFLAG_SYNCFRAME : 0;
            EXPECT_EQ(outputs[i].flags, OMX_BUFFERFLAG_ENDOFFRAME | key);
            EXPECT_EQ(outputs[i].timestamp, times[i - 1]);
            EXPECT_EQ(outputs[i].bytes.at(4) & 0x1F, i == 1 ? 5 : 1);
        }
        EXPECT_EQ(outputs[5].flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_EOS));
        EXPECT_EQ(outputs[5].timestamp, 99999);
        EXPECT_TRUE(outputs[5].bytes.empty());
    }
}

TEST(AvcEncoder, KeyFramesByIntervalAndOnRequest) {
    EncoderClient client("qcom", kQcomEncoder);
    ASSERT_NO_FATAL_FAILURE(configure(client, 128, 64, kSemiPlanar, 1000000));
    OMX_VIDEO_PARAM_AVCTYPE avc{};
    avc.nPortIndex = 1;
    ASSERT_EQ(client.omx->getParameter(client.node, OMX_IndexParamVideoAvc, &avc, sizeof avc), OK);
    avc.nPFrames = 9;
    ASSERT_EQ(client.omx->setParameter(client.node, OMX_IndexParamVideoAvc, &avc, sizeof avc), OK);
    OMX_CONFIG_INTRAREFRESHVOPTYPE refresh{};
    refresh.nPortIndex = 1;
    refresh.IntraRefreshVOP = OMX_TRUE;
    client.start();
    for (int i = 0; i < 27; i++) {
        if (i == 13) {
            ASSERT_EQ(client.omx->setConfig(client.node, OMX_IndexConfigVideoIntraVOPRefresh, &refresh,
                                            sizeof refresh),
                      OK);
        }
        client.send(frameOf(patches(128, 64), true, 8192));
    }
    std::string pattern;
    for (const auto& output : client.finish()) {
        pattern += (output.flags & OMX_BUFFERFLAG_SYNCFRAME) != 0 ? 'I' : 'p';
    }
    EXPECT_EQ(pattern, "pIpppppppppIppIpppppppppIpppp");  // the configuration and the end count as p
}

TEST(AvcEncoder, BitRateIsKeptAndChangesWhileCoding) {
    EncoderClient client("exynos", "OMX.Exynos.avc.enc");
    ASSERT_NO_FATAL_FAILURE(configure(client, 320, 240, kSemiPlanar, 4000000));
    client.start();
    for (const OMX_U32 rate : {4000000u, 500000u}) {
        OMX_VIDEO_CONFIG_BITRATETYPE fields;
        memset(&fields, 0xA5, sizeof fields);  // read with a header that was never filled, the port included
        ASSERT_EQ(client.omx->getConfig(client.node, OMX_IndexConfigVideoBitrate, &fields, sizeof fields),
                  OK);
        fields.nPortIndex = 1;
        fields.nEncodeBitrate = rate;
        ASSERT_EQ(client.omx->setConfig(client.node, OMX_IndexConfigVideoBitrate, &fields, sizeof fields),
                  OK);
        for (int i = 0; i < 60; i++) {  // noise costs what the rate allows
            client.send(noise(size_t{320} * 240 * 3 / 2));
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
    } cases[] = {{kConstant, 0, 30 << 16},          {kConstant, 1, 30 << 16},
                 {kConstant, 0x80000000, 30 << 16}, {kConstant, 1000000, 0},
                 {kConstant, 1000000, 0xFFFF0000},  {1, 240000000, 1 << 16},
                 {0, 240000000, 30 << 16}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.control << " " << c.bitRate << " " << c.frameRateQ16);
        EncoderClient client("sec", "OMX.SEC.avc.enc");
        ASSERT_NO_FATAL_FAILURE(configure(client, 320, 176, kSemiPlanar, c.bitRate, c.frameRateQ16));
        ASSERT_EQ(client.setRate(c.control, c.bitRate), OK);
        client.start();
        for (int i = 0; i < 3; i++) {
            client.send(noise(size_t{320} * 176 * 3 / 2));
        }
        const auto outputs = client.finish();
        ASSERT_EQ(outputs.size(), 5u);
        H264Reader reader;
        Picture seen;
        reader.read(outputs[0].bytes, &seen);
        for (size_t i = 1; i <= 3; i++) {
            EXPECT_TRUE(reader.read(outputs[i].bytes, &seen));
        }
    }
}

TEST(AvcEncoder, ShortFramesAreDroppedAndReturned) {
    EncoderClient client("qcom", kQcomEncoder);
    ASSERT_NO_FATAL_FAILURE(configure(client, 80, 48, kSemiPlanar, 1000000));  // chroma from 4096 on
    client.start();
    const auto whole = frameOf(patches(80, 48), true, 4096);
    forgetLog();
    for (const size_t size : {whole.size() - 1, size_t{5760}, size_t{0}}) {
        client.send({whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)});
    }
    EXPECT_EQ(loggedCount("is dropped"), 3);
    client.send(whole, 7);
    const auto outputs = client.finish();
    ASSERT_EQ(outputs.size(), 3u);
    EXPECT_EQ(outputs[1].timestamp, 7);
}

TEST(AvcEncoder, RefusesWhatItCannotCode) {
    const struct {
        const char* what;
        OMX_U32 port, width, height, colorFormat;
        bool fine;
    } cases[] = {
        {"odd width", 0, 641, 360, kSemiPlanar, false},
        {"odd height", 0, 640, 361, kSemiPlanar, false},
        {"no size", 0, 0, 0, kSemiPlanar, false},
        {"too large", 1, 4098, 16, kSemiPlanar, false},
        {"negative", 0, 0xFFFFFFF0, 16, kSemiPlanar, false},
        {"other chip's planes", 0, 640, 360, kPlanar, false},
        {"colour of the output", 1, 640, 360, kPlanar, true},
    };
    EncoderClient client("qcom", kQcomEncoder);
    for (const auto& c : cases) {
        const OMX_U32 width = client.port(0).format.video.nFrameWidth;
        EXPECT_EQ(client.setSize(c.port, c.width, c.height, c.colorFormat) == OK, c.fine) << c.what;
        EXPECT_EQ(client.port(0).format.video.nFrameWidth, c.fine ? c.width : width) << c.what;
    }
    EXPECT_NE(client.setRate(0xFFFFFFFF, 1000000), OK);
}

// Each index with its right size, then with a byte less and more, and on a wrong port.
TEST(AvcEncoder, ParametersAreCheckedByByteCountAndPort) {
    const struct {
        OMX_U32 index;
        size_t size;
    } cases[] = {
        {OMX_IndexParamVideoPortFormat, sizeof(OMX_VIDEO_PARAM_PORTFORMATTYPE)},
        {OMX_IndexParamVideoBitrate, sizeof(OMX_VIDEO_PARAM_BITRATETYPE)},
        {OMX_IndexParamVideoAvc, sizeof(OMX_VIDEO_PARAM_AVCTYPE)},
        {OMX_IndexParamVideoProfileLevelCurrent, sizeof(OMX_VIDEO_PARAM_PROFILELEVELTYPE)},
        {OMX_IndexConfigVideoNalSize, sizeof(OMX_VIDEO_CONFIG_NALSIZE)},
    };
    EncoderClient client("qcom", kQcomEncoder);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.index);
        const auto index = static_cast<OMX_INDEXTYPE>(c.index);
        OMX_U32 words[64] = {0, 0, 1};  // size and version unfilled, output port
        EXPECT_EQ(client.omx->getParameter(client.node, index, words, c.size), OK);
        EXPECT_EQ(client.omx->setParameter(client.node, index, words, c.size), OK);
        for (const size_t size : {c.size - 1, c.size + 1}) {
            EXPECT_NE(client.omx->getParameter(client.node, index, words, size), OK);
            EXPECT_NE(client.omx->setParameter(client.node, index, words, size), OK);
        }
        words[2] = 2;
        EXPECT_NE(client.omx->setParameter(client.node, index, words, c.size), OK);
    }
}

}  // namespace
}  // namespace zem::test
