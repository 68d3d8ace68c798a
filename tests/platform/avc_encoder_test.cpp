// Proves that the H.264 encoder component of every chip codes the picture that stands in its input buffer, in
// the chip's layout, and answers clients as its makers' components do. Would catch swapped chroma bytes, a
// chroma offset that is ignored, a wrong row length, a configuration that is late or sent twice, a key-frame
// request that waits for the interval, a bit rate that stays, a frame read past its end, a plug-in that lists
// the wrong names.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>

#include "platform/linux/chip/chip_profile.h"
#include "tests/platform/encoder_client.h"
#include "tests/platform/h264_reader.h"
#include "tests/support/log_capture.h"

namespace zem {
namespace {

using android::BAD_INDEX;
using android::BAD_VALUE;
using android::INVALID_OPERATION;
using android::IOMX;
using android::OK;
using test::EncoderClient;
using test::frameOf;
using test::patches;
using test::Picture;
using test::structOfOutputPort;

constexpr OMX_U32 kPlanar = 19;
constexpr OMX_U32 kSemiPlanar = 21;
constexpr OMX_U32 kVariable = 1;
constexpr OMX_U32 kConstant = 2;
constexpr char kQcomEncoder[] = "OMX.qcom.video.encoder.avc";
constexpr char kSecEncoder[] = "OMX.SEC.avc.enc";

struct Chip {
    const char* profile;
    const char* encoder;
    OMX_U32 colorFormat;
    OMX_U32 chromaAlignment;
};

constexpr Chip kChips[] = {
    {"qcom", kQcomEncoder, kSemiPlanar, 2048},
    {"qcom-tiled", kQcomEncoder, kSemiPlanar, 2048},
    {"sec", kSecEncoder, kSemiPlanar, 1},
    {"exynos", "OMX.Exynos.avc.enc", kSemiPlanar, 1},
    {"tarn", "OMX.tarn.video.encoder.avc", kPlanar, 1},
    {"qcom", "OMX.google.avc.encoder", kPlanar, 1},
};

OMX_U32 alignedTo(OMX_U32 size, OMX_U32 alignment) {
    return (size + alignment - 1) / alignment * alignment;
}

void configure(EncoderClient& client, OMX_U32 width, OMX_U32 height, OMX_U32 colorFormat, OMX_U32 bitRate) {
    ASSERT_NE(client.node, 0u);
    ASSERT_EQ(client.setPort(0, width, height, colorFormat), OK);
    ASSERT_EQ(client.setPort(1, width, height, colorFormat), OK);
    ASSERT_EQ(client.setRate(kConstant, bitRate), OK);
}

bool isKey(const test::Output& output) {
    return (output.flags & OMX_BUFFERFLAG_SYNCFRAME) != 0;
}

// In the profile's order: whoever searches meets the software ones first.
TEST(AvcEncoder, HostListsTheChipsComponents) {
    for (const Chip& chip : kChips) {
        EncoderClient client(chip.profile, chip.encoder);
        android::List<IOMX::ComponentInfo> nodes;
        ASSERT_EQ(client.omx->listNodes(&nodes), OK);
        std::vector<std::string> wanted, listed;
        for (const ChipComponent& component : currentChipProfile()) {
            wanted.emplace_back(component.name);
        }
        for (const IOMX::ComponentInfo& node : nodes) {
            listed.emplace_back(node.mName.string());
        }
        EXPECT_EQ(listed, wanted) << chip.profile;
    }
}

TEST(AvcEncoder, EveryChipCodesThePictureInItsLayout) {
    constexpr OMX_U32 kSizes[][2] = {{16, 16}, {640, 360}, {1280, 722}, {1080, 1920}};
    for (const Chip& chip : kChips) {
        for (const auto& [width, height] : kSizes) {
            SCOPED_TRACE(std::string(chip.encoder) + " " + std::to_string(width));
            EncoderClient client(chip.profile, chip.encoder);
            ASSERT_NO_FATAL_FAILURE(configure(client, width, height, chip.colorFormat, 20000000));
            client.start();
            const Picture sent = patches(static_cast<int>(width), static_cast<int>(height));
            const OMX_U32 chroma = alignedTo(width * height, chip.chromaAlignment);
            const auto frame = frameOf(sent, chip.colorFormat == kSemiPlanar, chroma);
            client.send(frame);
            client.send(frame);
            const auto outputs = client.finish();
            ASSERT_EQ(outputs.size(), 4u);
            test::H264Reader reader;
            Picture seen;
            reader.read(outputs[0].bytes, &seen);
            for (const size_t i : {1u, 2u}) {
                ASSERT_TRUE(reader.read(outputs[i].bytes, &seen));
                EXPECT_LE(test::largestDifference(sent, seen), 16);
            }
        }
    }
}

// Room for the frame, and for a unit of the worst noise, however little is asked for.
TEST(AvcEncoder, PortsHaveRoomForTheirFrames) {
    const struct {
        OMX_U32 width, height, qcom, other;
    } cases[] = {
        {16, 16, 2048 + 128, 384},
        {640, 360, 231424 + 115200, 345600},
        {1280, 720, 1382400, 1382400},
        {1280, 722, 925696 + 462080, 1386240},
        {1080, 1920, 2074624 + 1036800, 3110400},
    };
    for (const Chip& chip : kChips) {
        EncoderClient client(chip.profile, chip.encoder);
        for (const auto& c : cases) {
            SCOPED_TRACE(std::string(chip.encoder) + " " + std::to_string(c.width));
            ASSERT_EQ(client.setPort(0, c.width, c.height, chip.colorFormat, 300), OK);
            const OMX_U32 needed = chip.chromaAlignment > 1 ? c.qcom : c.other;
            EXPECT_EQ(client.port(0).nBufferSize, alignedTo(needed, 32));
            EXPECT_EQ(client.port(1).format.video.nFrameWidth, c.width);
            EXPECT_GE(client.port(1).nBufferSize, c.other * 21 / 20);
            EXPECT_GE(client.port(0).nBufferCountActual, client.port(0).nBufferCountMin);
        }
    }
}

TEST(AvcEncoder, ConfigurationFirstAndOnceThenOneUnitAFrame) {
    EncoderClient client("sec", kSecEncoder);
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
            const auto& unit = outputs[i];
            const OMX_U32 key = i == 1 ? OMX_BUFFERFLAG_SYNCFRAME : 0;
            EXPECT_EQ(unit.flags, OMX_BUFFERFLAG_ENDOFFRAME | key);
            EXPECT_EQ(unit.timestamp, times[i - 1]);
            const std::vector<uint8_t> start(unit.bytes.begin(), unit.bytes.begin() + 4);
            EXPECT_EQ(start, (std::vector<uint8_t>{0, 0, 0, 1}));
            EXPECT_EQ(unit.bytes[4] & 0x1F, i == 1 ? 5 : 1);
        }
        EXPECT_EQ(outputs[5].flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_EOS));
        EXPECT_EQ(outputs[5].timestamp, 99999);
        EXPECT_TRUE(outputs[5].bytes.empty());
        client.stop();
    }
}

TEST(AvcEncoder, KeyFramesByIntervalAndOnRequest) {
    EncoderClient client("qcom", kQcomEncoder);
    ASSERT_NO_FATAL_FAILURE(configure(client, 128, 64, kSemiPlanar, 1000000));
    ASSERT_EQ(client.setPFrames(9), OK);
    client.start();
    for (int i = 0; i < 27; i++) {
        if (i == 13) {
            ASSERT_EQ(client.requestKeyFrame(), OK);
        }
        client.send(frameOf(patches(128, 64), true, 8192));
    }
    std::string pattern;
    for (const auto& output : client.finish()) {
        pattern += isKey(output) ? 'I' : 'p';
    }
    EXPECT_EQ(pattern, "pIpppppppppIppIpppppppppIpppp");  // the configuration and the end count as p
}

TEST(AvcEncoder, BitRateIsKeptAndChangesWhileCoding) {
    for (const OMX_U32 control : {kVariable, kConstant}) {
        SCOPED_TRACE(control);
        EncoderClient client("exynos", "OMX.Exynos.avc.enc");
        ASSERT_NO_FATAL_FAILURE(configure(client, 320, 240, kSemiPlanar, 4000000));
        ASSERT_EQ(client.setRate(control, 4000000), OK);
        client.start();
        std::minstd_rand random(1);
        std::vector<uint8_t> frame(size_t{320} * 240 * 3 / 2);
        for (const OMX_U32 rate : {4000000u, 500000u, 4000000u}) {
            ASSERT_EQ(client.changeBitRate(rate), OK);
            for (int i = 0; i < 60; i++) {  // noise costs what the rate allows
                for (uint8_t& byte : frame) {
                    byte = static_cast<uint8_t>(random() >> 8);
                }
                client.send(frame);
            }
        }
        const auto outputs = client.finish();
        ASSERT_EQ(outputs.size(), 182u);
        double bits[3] = {};  // of each phase's last second
        for (size_t i = 1; i <= 180; i++) {
            bits[(i - 1) / 60] += (i - 1) % 60 < 30 ? 0 : 8.0 * static_cast<double>(outputs[i].bytes.size());
        }
        EXPECT_NEAR(bits[0], 4000000, 1200000);
        EXPECT_NEAR(bits[1], 500000, 250000);
        EXPECT_GT(bits[2], bits[1] * 4);
    }
}

TEST(AvcEncoder, ShortFramesAreDroppedAndReturned) {
    EncoderClient client("qcom", kQcomEncoder);
    ASSERT_NO_FATAL_FAILURE(configure(client, 80, 48, kSemiPlanar, 1000000));  // chroma from 4096 on
    client.start();
    const auto whole = frameOf(patches(80, 48), true, 4096);
    test::forgetLog();
    for (const size_t size : {whole.size() - 1, size_t{5760}, size_t{1}, size_t{0}}) {
        client.send({whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)});
    }
    EXPECT_EQ(test::loggedCount("is dropped"), 4);
    client.send(whole, 7);
    const auto outputs = client.finish();
    ASSERT_EQ(outputs.size(), 3u);
    EXPECT_EQ(outputs[1].timestamp, 7);
}

// Teardown in the middle of the stream, as a client that gives up does it.
TEST(AvcEncoder, NodeFreedWhileCoding) {
    for (int i = 0; i < 10; i++) {
        EncoderClient client("sec", kSecEncoder);
        ASSERT_NO_FATAL_FAILURE(configure(client, 320, 240, kSemiPlanar, 1000000));
        client.start();
        client.send(frameOf(patches(320, 240), true, 76800));
    }
}

TEST(AvcEncoder, RefusesFormatsThatItCannotCode) {
    const struct {
        const char* what;
        OMX_U32 port, width, height, colorFormat;
        android::status_t result;
    } cases[] = {
        {"odd width", 0, 641, 360, kSemiPlanar, BAD_VALUE},
        {"odd height", 0, 640, 361, kSemiPlanar, BAD_VALUE},
        {"no size", 0, 0, 0, kSemiPlanar, BAD_VALUE},
        {"too small", 0, 16, 14, kSemiPlanar, BAD_VALUE},
        {"too large", 1, 4098, 16, kSemiPlanar, BAD_VALUE},
        {"negative", 0, 0xFFFFFFF0, 16, kSemiPlanar, BAD_VALUE},
        {"other chip's planes", 0, 640, 360, kPlanar, INVALID_OPERATION},
        {"no colour format", 0, 640, 360, 0, INVALID_OPERATION},
        {"colour of the output", 1, 640, 360, kPlanar, OK},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EncoderClient client("qcom", kQcomEncoder);
        const OMX_U32 width = client.port(0).format.video.nFrameWidth;
        EXPECT_EQ(client.setPort(c.port, c.width, c.height, c.colorFormat), c.result);
        EXPECT_EQ(client.port(c.port).format.video.nFrameWidth, c.result == OK ? c.width : width);
    }
    EncoderClient tarn("tarn", "OMX.tarn.video.encoder.avc");
    EXPECT_EQ(tarn.setPort(0, 640, 360, kSemiPlanar), INVALID_OPERATION);
}

// Each index with its right size, then with a byte less and more, and on a wrong port.
TEST(AvcEncoder, ParametersAreCheckedByByteCountAndPort) {
    const struct {
        OMX_U32 index;
        size_t size;
        bool config;
        bool readChecksPort;
    } cases[] = {
        {OMX_IndexParamVideoPortFormat, sizeof(OMX_VIDEO_PARAM_PORTFORMATTYPE), false, true},
        {OMX_IndexParamVideoBitrate, sizeof(OMX_VIDEO_PARAM_BITRATETYPE), false, true},
        {OMX_IndexParamVideoAvc, sizeof(OMX_VIDEO_PARAM_AVCTYPE), false, true},
        {OMX_IndexParamVideoProfileLevelCurrent, sizeof(OMX_VIDEO_PARAM_PROFILELEVELTYPE), false, true},
        {OMX_IndexConfigVideoNalSize, sizeof(OMX_VIDEO_CONFIG_NALSIZE), false, true},
        {OMX_IndexConfigVideoNalSize, sizeof(OMX_VIDEO_CONFIG_NALSIZE), true, true},
        {OMX_IndexConfigVideoBitrate, sizeof(OMX_VIDEO_CONFIG_BITRATETYPE), true, false},
    };
    EncoderClient client("qcom", kQcomEncoder);
    IOMX& omx = *client.omx;
    for (const auto& c : cases) {
        const auto index = static_cast<OMX_INDEXTYPE>(c.index);
        const auto get = [&](void* params, size_t size) {
            return c.config ? omx.getConfig(client.node, index, params, size)
                            : omx.getParameter(client.node, index, params, size);
        };
        const auto set = [&](void* params, size_t size) {
            return c.config ? omx.setConfig(client.node, index, params, size)
                            : omx.setParameter(client.node, index, params, size);
        };
        SCOPED_TRACE(c.index);
        OMX_U32 words[64] = {0, 0, 1};  // size and version unfilled, output port
        EXPECT_EQ(get(words, c.size), OK);
        EXPECT_EQ(words[0], c.size);
        EXPECT_EQ(set(words, c.size), OK);
        for (const size_t size : {c.size - 1, c.size + 1}) {
            EXPECT_NE(get(words, size), OK);
            EXPECT_NE(set(words, size), OK);
        }
        words[2] = 2;
        EXPECT_NE(set(words, c.size), OK);
        EXPECT_EQ(get(words, c.size) == OK, !c.readChecksPort);
    }
}

TEST(AvcEncoder, RefusesValuesThatItHasNoMeansFor) {
    EncoderClient client("qcom", kQcomEncoder);
    IOMX& omx = *client.omx;
    for (const OMX_U32 control : {5u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        EXPECT_EQ(client.setRate(control, 1000000), BAD_VALUE) << control;
    }
    auto avc = structOfOutputPort<OMX_VIDEO_PARAM_AVCTYPE>();
    ASSERT_EQ(omx.getParameter(client.node, OMX_IndexParamVideoAvc, &avc, sizeof(avc)), OK);
    avc.nBFrames = 1;
    EXPECT_EQ(omx.setParameter(client.node, OMX_IndexParamVideoAvc, &avc, sizeof(avc)), BAD_VALUE);
    avc.nBFrames = 0;
    avc.eProfile = OMX_VIDEO_AVCProfileHigh10;
    EXPECT_EQ(omx.setParameter(client.node, OMX_IndexParamVideoAvc, &avc, sizeof(avc)), BAD_VALUE);
    auto format = structOfOutputPort<OMX_VIDEO_PARAM_PORTFORMATTYPE>();
    format.nIndex = 1;
    EXPECT_EQ(omx.getParameter(client.node, OMX_IndexParamVideoPortFormat, &format, sizeof(format)),
              BAD_INDEX);
}

// Qualcomm's own indices belong to Qualcomm's components.
TEST(AvcEncoder, VendorIndicesOnlyOnQualcomm) {
    for (const Chip& chip : kChips) {
        SCOPED_TRACE(std::string(chip.profile) + " " + chip.encoder);
        EncoderClient client(chip.profile, chip.encoder);
        const bool qualcomm = std::string(chip.encoder) == kQcomEncoder;
        OMX_U32 words[6] = {};
        for (const auto& [index, size] : {std::pair(0x7F000010u, 16u), std::pair(0x7F000002u, 24u)}) {
            const auto vendor = static_cast<OMX_INDEXTYPE>(index);
            EXPECT_EQ(client.omx->setParameter(client.node, vendor, words, size), qualcomm ? OK : BAD_VALUE);
            EXPECT_NE(client.omx->setParameter(client.node, vendor, words, size - 4), OK);
        }
    }
}

}  // namespace
}  // namespace zem
