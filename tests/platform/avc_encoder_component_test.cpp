// Proves that the H.264 encoder component of every chip codes the picture that stands in its input buffer, in
// the chip's layout, and answers clients as its makers' components do. Would catch swapped chroma bytes, a
// chroma offset that is ignored, a wrong row length, a configuration that is late or sent twice, a key-frame
// request that waits for the interval, a bit rate that stays, a frame read past its end.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/platform/encoder_rig.h"
#include "tests/platform/h264_reader.h"
#include "tests/support/log_capture.h"

namespace zem {
namespace {

using android::BAD_INDEX;
using android::BAD_VALUE;
using android::INVALID_OPERATION;
using android::OK;
using test::EncoderRig;
using test::frameOf;
using test::patches;
using test::Picture;
using test::structOfOutputPort;

constexpr OMX_U32 kPlanar = 19;
constexpr OMX_U32 kSemiPlanar = 21;
constexpr OMX_U32 kVariable = 1;
constexpr OMX_U32 kConstant = 2;
constexpr char kQcomEncoder[] = "OMX.qcom.video.encoder.avc";

struct Chip {
    const char* profile;
    const char* encoder;
    OMX_U32 colorFormat;
    size_t chromaAlignment;
};

constexpr Chip kChips[] = {
    {"qcom", kQcomEncoder, kSemiPlanar, 2048},          {"qcom-tiled", kQcomEncoder, kSemiPlanar, 2048},
    {"sec", "OMX.SEC.avc.enc", kSemiPlanar, 1},         {"exynos", "OMX.Exynos.avc.enc", kSemiPlanar, 1},
    {"tarn", "OMX.tarn.video.encoder.avc", kPlanar, 1}, {"qcom", "OMX.google.avc.encoder", kPlanar, 1},
};

size_t alignedTo(size_t size, size_t alignment) {
    return (size + alignment - 1) / alignment * alignment;
}

// Fixed noise, so that a picture costs what the bit rate allows.
std::vector<uint8_t> noise(size_t size, uint32_t seed) {
    std::minstd_rand random(seed);
    std::vector<uint8_t> bytes(size);
    for (uint8_t& byte : bytes) {
        byte = static_cast<uint8_t>(random() >> 8);
    }
    return bytes;
}

void configure(EncoderRig& rig, OMX_U32 width, OMX_U32 height, OMX_U32 colorFormat, OMX_U32 bitRate) {
    ASSERT_NE(rig.component, nullptr);
    ASSERT_EQ(rig.setFormat(kInputPort, width, height, colorFormat), OK);
    ASSERT_EQ(rig.setFormat(kOutputPort, width, height, colorFormat), OK);
    ASSERT_EQ(rig.setBitRate(kConstant, bitRate), OK);
}

TEST(AvcEncoder, EveryChipCodesThePictureInItsLayout) {
    constexpr int kSizes[][2] = {{16, 16}, {640, 360}, {1280, 722}, {1080, 1920}};
    for (const Chip& chip : kChips) {
        for (const auto& size : kSizes) {
            SCOPED_TRACE(std::string(chip.encoder) + " " + std::to_string(size[0]) + "x" +
                         std::to_string(size[1]));
            EncoderRig rig(chip.profile, chip.encoder);
            ASSERT_NO_FATAL_FAILURE(configure(rig, static_cast<OMX_U32>(size[0]),
                                              static_cast<OMX_U32>(size[1]), chip.colorFormat, 20000000));
            ASSERT_EQ(rig.component->start(), OK);
            const Picture sent = patches(size[0], size[1]);
            const size_t chroma = alignedTo(sent.y.size(), chip.chromaAlignment);
            const auto frame = frameOf(sent, chip.colorFormat == kSemiPlanar, chroma);
            rig.send(frame);
            rig.send(frame);
            ASSERT_EQ(rig.outputs.size(), 3u);
            test::H264Reader reader;
            Picture seen;
            reader.read(rig.outputs[0].bytes, &seen);
            for (int i = 1; i < 3; i++) {
                ASSERT_TRUE(reader.read(rig.outputs[static_cast<size_t>(i)].bytes, &seen));
                EXPECT_LE(test::largestDifference(sent, seen), 16);
            }
        }
    }
}

// The least that the ports ask for: the frame as sent, and a unit of the worst noise.
TEST(AvcEncoder, PortsAskForRoomForTheirFrames) {
    const struct {
        OMX_U32 width, height, qcom, other;
    } cases[] = {
        {16, 16, 2048 + 128, 384},
        {640, 360, 231424 + 115200, 345600},
        {1280, 720, 1382400, 1382400},
        {1280, 722, 925696 + 462080, 1386240},
        {1080, 1920, 2074624 + 1036800, 3110400},
        {1920, 1080, 2074624 + 1036800, 3110400},
    };
    for (const Chip& chip : kChips) {
        for (const auto& c : cases) {
            SCOPED_TRACE(std::string(chip.encoder) + " " + std::to_string(c.width));
            EncoderRig rig(chip.profile, chip.encoder);
            ASSERT_EQ(rig.setFormat(kInputPort, c.width, c.height, chip.colorFormat), OK);
            EXPECT_EQ(rig.port(kInputPort).nBufferSize, chip.chromaAlignment > 1 ? c.qcom : c.other);
            EXPECT_EQ(rig.port(kOutputPort).format.video.nFrameWidth, c.width);
            EXPECT_GE(rig.port(kOutputPort).nBufferSize, c.other * 21 / 20);
            EXPECT_GE(rig.port(kInputPort).nBufferCountActual, rig.port(kInputPort).nBufferCountMin);
        }
    }
}

TEST(AvcEncoder, ConfigurationFirstAndOnceThenOneUnitAFrame) {
    EncoderRig rig("sec", "OMX.SEC.avc.enc");
    ASSERT_NO_FATAL_FAILURE(configure(rig, 64, 48, kSemiPlanar, 1000000));
    const auto frame = frameOf(patches(64, 48), true, 3072);
    for (int round = 0; round < 2; round++) {  // after a stop the stream begins anew
        SCOPED_TRACE(round);
        rig.outputs.clear();
        ASSERT_EQ(rig.component->start(), OK);
        rig.component->process(rig);
        EXPECT_TRUE(rig.outputs.empty());  // nothing before the first input
        const OMX_TICKS times[] = {33333, 66666, -5, 66666};
        for (const OMX_TICKS time : times) {
            rig.send(frame, time);
        }
        rig.send({}, 99999, OMX_BUFFERFLAG_EOS);
        ASSERT_EQ(rig.outputs.size(), 6u);
        EXPECT_EQ(rig.outputs[0].flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_CODECCONFIG));
        EXPECT_EQ(rig.outputs[0].bytes[4] & 0x1F, 7);
        for (size_t i = 1; i <= 4; i++) {
            const auto& unit = rig.outputs[i];
            const OMX_U32 key = i == 1 ? OMX_BUFFERFLAG_SYNCFRAME : 0;
            EXPECT_EQ(unit.flags, OMX_BUFFERFLAG_ENDOFFRAME | key);
            EXPECT_EQ(unit.timestamp, times[i - 1]);
            const std::vector<uint8_t> start(unit.bytes.begin(), unit.bytes.begin() + 4);
            EXPECT_EQ(start, (std::vector<uint8_t>{0, 0, 0, 1}));
            EXPECT_EQ(unit.bytes[4] & 0x1F, i == 1 ? 5 : 1);
        }
        EXPECT_EQ(rig.outputs[5].flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_EOS));
        EXPECT_TRUE(rig.outputs[5].bytes.empty());
        rig.component->stop();
    }
}

TEST(AvcEncoder, KeyFramesByIntervalAndOnRequest) {
    EncoderRig rig("qcom", kQcomEncoder);
    ASSERT_NO_FATAL_FAILURE(configure(rig, 128, 64, kSemiPlanar, 1000000));
    ASSERT_EQ(rig.setPFrames(9), OK);
    ASSERT_EQ(rig.component->start(), OK);
    const auto frame = frameOf(patches(128, 64), true, 8192);
    std::string pattern;
    for (int i = 0; i < 27; i++) {
        if (i == 13) {
            ASSERT_EQ(rig.requestKeyFrame(), OK);
        }
        rig.send(frame);
        pattern += (rig.outputs.back().flags & OMX_BUFFERFLAG_SYNCFRAME) != 0 ? 'I' : 'p';
    }
    EXPECT_EQ(pattern, "IpppppppppIppIpppppppppIppp");
}

TEST(AvcEncoder, BitRateIsKeptAndChangesAtTheNextFrame) {
    for (const OMX_U32 control : {kVariable, kConstant}) {
        SCOPED_TRACE(control);
        EncoderRig rig("exynos", "OMX.Exynos.avc.enc");
        ASSERT_NO_FATAL_FAILURE(configure(rig, 320, 240, kSemiPlanar, 4000000));
        ASSERT_EQ(rig.setBitRate(control, 4000000), OK);
        ASSERT_EQ(rig.component->start(), OK);
        double sizes[3] = {};  // bytes of each phase's last second
        const OMX_U32 rates[3] = {4000000, 500000, 4000000};
        for (int phase = 0; phase < 3; phase++) {
            ASSERT_EQ(rig.changeBitRate(rates[phase]), OK);
            for (uint32_t i = 0; i < 60; i++) {
                rig.send(noise(320 * 240 * 3 / 2, i));
                sizes[phase] += i < 30 ? 0 : static_cast<double>(rig.outputs.back().bytes.size());
            }
        }
        EXPECT_NEAR(sizes[0] * 8, 4000000, 1200000);
        EXPECT_NEAR(sizes[1] * 8, 500000, 250000);
        EXPECT_GT(sizes[2], sizes[1] * 4);
    }
}

TEST(AvcEncoder, ShortFramesAreDroppedAndReturned) {
    EncoderRig rig("qcom", kQcomEncoder);
    ASSERT_NO_FATAL_FAILURE(configure(rig, 80, 48, kSemiPlanar, 1000000));  // chroma from 4096 on
    ASSERT_EQ(rig.component->start(), OK);
    const auto whole = frameOf(patches(80, 48), true, 4096);
    rig.send(whole);
    test::forgetLog();
    for (const size_t size : {whole.size() - 1, size_t{80 * 48 * 3 / 2}, size_t{1}, size_t{0}}) {
        rig.send({whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)});
    }
    EXPECT_EQ(rig.outputs.size(), 2u);
    EXPECT_EQ(test::loggedCount("is dropped"), 4);
    rig.send(whole, 7);
    EXPECT_EQ(rig.outputs.size(), 3u);
    rig.send({1, 2, 3}, 8, OMX_BUFFERFLAG_EOS);
    ASSERT_EQ(rig.outputs.size(), 4u);
    EXPECT_EQ(rig.outputs[3].flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_EOS));
    EXPECT_TRUE(rig.errors.empty());
}

TEST(AvcEncoder, UnitsAreNeverSplitAndALostOneIsMadeUpFor) {
    EncoderRig rig("sec", "OMX.SEC.avc.enc");
    ASSERT_NO_FATAL_FAILURE(configure(rig, 160, 128, kSemiPlanar, 20000000));
    ASSERT_EQ(rig.component->start(), OK);
    rig.outputRoom = 2000;
    const auto plain = frameOf(patches(160, 128), true, 20480);
    rig.send(plain);
    rig.send(noise(plain.size(), 1));
    EXPECT_EQ(rig.outputs.size(), 2u);
    rig.send(plain);
    ASSERT_EQ(rig.outputs.size(), 3u);
    EXPECT_NE(rig.outputs[2].flags & OMX_BUFFERFLAG_SYNCFRAME, 0u);
}

TEST(AvcEncoder, RefusesFormatsThatItCannotCode) {
    const struct {
        const char* what;
        OMX_U32 port, width, height, colorFormat;
        android::status_t result;
    } cases[] = {
        {"odd width", kInputPort, 641, 360, kSemiPlanar, BAD_VALUE},
        {"odd height", kInputPort, 640, 361, kSemiPlanar, BAD_VALUE},
        {"no size", kInputPort, 0, 0, kSemiPlanar, BAD_VALUE},
        {"too small", kInputPort, 16, 14, kSemiPlanar, BAD_VALUE},
        {"too large", kOutputPort, 4098, 16, kSemiPlanar, BAD_VALUE},
        {"negative", kInputPort, 0xFFFFFFF0, 16, kSemiPlanar, BAD_VALUE},
        {"other chip's planes", kInputPort, 640, 360, kPlanar, INVALID_OPERATION},
        {"no colour format", kInputPort, 640, 360, 0, INVALID_OPERATION},
        {"colour of the output", kOutputPort, 640, 360, kPlanar, OK},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EncoderRig rig("qcom", kQcomEncoder);
        const OMX_U32 width = rig.port(kInputPort).format.video.nFrameWidth;
        EXPECT_EQ(rig.setFormat(c.port, c.width, c.height, c.colorFormat), c.result);
        EXPECT_EQ(rig.port(c.port).format.video.nFrameWidth, c.result == OK ? c.width : width);
    }
    EncoderRig tarn("tarn", "OMX.tarn.video.encoder.avc");
    EXPECT_EQ(tarn.setFormat(kInputPort, 640, 360, kSemiPlanar), INVALID_OPERATION);
}

// Each index with its right size, then with a byte less and more, and on a wrong port.
TEST(AvcEncoder, ParametersAreCheckedByByteCountAndPort) {
    const struct {
        OMX_U32 index;
        size_t size;
        bool config;
        bool checksPort;
    } cases[] = {
        {OMX_IndexParamVideoPortFormat, sizeof(OMX_VIDEO_PARAM_PORTFORMATTYPE), false, true},
        {OMX_IndexParamVideoBitrate, sizeof(OMX_VIDEO_PARAM_BITRATETYPE), false, true},
        {OMX_IndexParamVideoAvc, sizeof(OMX_VIDEO_PARAM_AVCTYPE), false, true},
        {OMX_IndexParamVideoProfileLevelCurrent, sizeof(OMX_VIDEO_PARAM_PROFILELEVELTYPE), false, true},
        {OMX_IndexConfigVideoNalSize, sizeof(OMX_VIDEO_CONFIG_NALSIZE), false, true},
        {OMX_IndexConfigVideoNalSize, sizeof(OMX_VIDEO_CONFIG_NALSIZE), true, true},
        {OMX_IndexConfigVideoBitrate, sizeof(OMX_VIDEO_CONFIG_BITRATETYPE), true, false},
    };
    EncoderRig rig("qcom", kQcomEncoder);
    Component& encoder = *rig.component;
    for (const auto& c : cases) {
        const auto index = static_cast<OMX_INDEXTYPE>(c.index);
        const auto get = [&](void* params, size_t size) {
            return c.config ? encoder.getConfig(index, params, size)
                            : encoder.getParameter(index, params, size);
        };
        const auto set = [&](void* params, size_t size) {
            return c.config ? encoder.setConfig(index, params, size)
                            : encoder.setParameter(index, params, size);
        };
        SCOPED_TRACE(c.index);
        OMX_U32 words[64] = {};  // size and version stay 0
        words[2] = kOutputPort;
        EXPECT_EQ(get(words, c.size), OK);
        EXPECT_EQ(words[0], c.size);
        EXPECT_EQ(set(words, c.size), OK);
        for (const size_t size : {c.size - 1, c.size + 1, size_t{0}}) {
            EXPECT_EQ(get(words, size), BAD_VALUE);
            EXPECT_EQ(set(words, size), BAD_VALUE);
        }
        words[2] = 2;
        EXPECT_EQ(set(words, c.size), BAD_VALUE);
        EXPECT_EQ(get(words, c.size), c.checksPort ? BAD_VALUE : OK);
    }
}

TEST(AvcEncoder, RefusesValuesThatItHasNoMeansFor) {
    EncoderRig rig("qcom", kQcomEncoder);
    Component& encoder = *rig.component;
    for (const OMX_U32 control : {5u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        EXPECT_EQ(rig.setBitRate(control, 1000000), BAD_VALUE) << control;
    }
    auto avc = structOfOutputPort<OMX_VIDEO_PARAM_AVCTYPE>();
    ASSERT_EQ(encoder.getParameter(OMX_IndexParamVideoAvc, &avc, sizeof(avc)), OK);
    avc.nBFrames = 1;
    EXPECT_EQ(encoder.setParameter(OMX_IndexParamVideoAvc, &avc, sizeof(avc)), BAD_VALUE);
    avc.nBFrames = 0;
    avc.eProfile = OMX_VIDEO_AVCProfileHigh10;
    EXPECT_EQ(encoder.setParameter(OMX_IndexParamVideoAvc, &avc, sizeof(avc)), BAD_VALUE);
    auto format = structOfOutputPort<OMX_VIDEO_PARAM_PORTFORMATTYPE>();
    format.nIndex = 1;
    EXPECT_EQ(encoder.getParameter(OMX_IndexParamVideoPortFormat, &format, sizeof(format)), BAD_INDEX);
    auto level = structOfOutputPort<OMX_VIDEO_PARAM_PROFILELEVELTYPE>();
    level.nProfileIndex = 3;
    EXPECT_EQ(encoder.getParameter(OMX_IndexParamVideoProfileLevelQuerySupported, &level, sizeof(level)),
              BAD_INDEX);
}

// Qualcomm's own indices belong to Qualcomm's components.
TEST(AvcEncoder, VendorIndicesOnlyOnQualcomm) {
    for (const Chip& chip : kChips) {
        SCOPED_TRACE(std::string(chip.profile) + " " + chip.encoder);
        EncoderRig rig(chip.profile, chip.encoder);
        const bool qualcomm = std::string(chip.encoder) == kQcomEncoder;
        OMX_U32 words[6] = {};
        for (const auto& [index, size] : {std::pair(0x7F000010u, 16u), std::pair(0x7F000002u, 24u)}) {
            const auto vendor = static_cast<OMX_INDEXTYPE>(index);
            EXPECT_EQ(rig.component->setParameter(vendor, words, size), qualcomm ? OK : BAD_VALUE);
            EXPECT_EQ(rig.component->setParameter(vendor, words, size - 4), BAD_VALUE);
        }
    }
}

}  // namespace
}  // namespace zem
