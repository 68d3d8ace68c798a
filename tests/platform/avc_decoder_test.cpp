// Proves that the H.264 decoder component of every chip puts each sample of a picture where that chip puts
// it, with the unit's timestamp, and answers clients as its makers' components do. Would catch rows padded to
// the next multiple, tiles or chroma bytes exchanged, a picture that is a unit late, a size that is announced
// twice or not at all, an end of stream that overtakes the last picture, a plug-in that lists the wrong
// names.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

#include "tests/platform/decoder_client.h"
#include "tests/support/log_capture.h"

namespace zem::test {
namespace {

using android::BAD_INDEX;
using android::BAD_VALUE;
using android::INVALID_OPERATION;
using android::OK;

constexpr DecoderChip kLinear = kDecoderChips[0];
constexpr DecoderChip kTiled = kDecoderChips[1];
constexpr DecoderChip kPlanar = kDecoderChips[2];

// As the engine asks: Samsung's input ports get the sides exchanged and a size for their buffers.
void prepare(DecoderClient& client, const DecoderChip& chip, OMX_U32 width, OMX_U32 height) {
    if (chip.vendorIndices) {
        client.expectSize(width, height);
        return;
    }
    client.expectSize(height, width);
    OMX_PARAM_PORTDEFINITIONTYPE input = client.port(0);
    input.nBufferSize = 1024000;
    ASSERT_EQ(client.write(input), OK);
    EXPECT_GE(client.port(0).nBufferSize, 1024000u);
}

TEST(AvcDecoder, EveryChipPutsEverySampleInItsPlace) {
    // A tile less one row, an unpaired last row of tiles, more than a group of four across, rows without
    // padding.
    constexpr int kSizes[][2] = {{16, 16}, {64, 30}, {100, 66}, {300, 130}, {640, 360}, {1280, 720}};
    for (const auto& [width, height] : kSizes) {
        const CodedStream stream =
            codedStream(static_cast<uint32_t>(width), static_cast<uint32_t>(height), 3);
        const auto shown = picturesOf(stream.packets());
        ASSERT_EQ(shown.size(), 3u);
        for (const DecoderChip& chip : kDecoderChips) {
            SCOPED_TRACE(std::string(chip.profile) + " " + chip.decoder + " " + std::to_string(width));
            DecoderClient client(chip);
            prepare(client, chip, static_cast<OMX_U32>(width), static_cast<OMX_U32>(height));
            client.start();
            const auto decoded = client.play(stream.packets());
            ASSERT_EQ(decoded.size(), 4u);
            const DecodedAddressing place(chip.layout, width, height);
            for (size_t i = 0; i < 3; i++) {
                EXPECT_EQ(place.fault(decoded[i].bytes, shown[i]), "") << i;
                EXPECT_EQ(decoded[i].timestamp, static_cast<OMX_TICKS>(200 + 100 * i));
                EXPECT_EQ(decoded[i].flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_ENDOFFRAME));
            }
            EXPECT_TRUE(decoded[3].bytes.empty());
            EXPECT_EQ(decoded[3].flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_EOS));
            EXPECT_EQ(decoded[3].timestamp, 500);
            EXPECT_EQ(client.changes(), chip.announcesFirst ? 1 : 0);
            EXPECT_EQ(client.port(1).format.video.nFrameWidth, static_cast<OMX_U32>(width));
            EXPECT_EQ(client.port(1).format.video.nFrameHeight, static_cast<OMX_U32>(height));
        }
    }
}

// Clients count on the numbers: they size their own buffers by them.
TEST(AvcDecoder, OutputBuffersHaveTheLayoutsSize) {
    const struct {
        DecoderChip chip;
        OMX_U32 width, height, size, stride;
    } cases[] = {
        {kLinear, 1280, 720, 1382400, 1280},   {kLinear, 1080, 1920, 1136 * 1920 * 3 / 2, 1136},
        {kLinear, 500, 1000, 552 * 1500, 552}, {kTiled, 1280, 720, 1433600, 1280},
        {kTiled, 64, 32, 16384, 128},          {kTiled, 500, 1000, 524288 + 262144, 512},
        {kPlanar, 720, 1280, 1382400, 720},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.chip.profile) + " " + std::to_string(c.width));
        DecoderClient client(c.chip);
        client.expectSize(c.width, c.height);
        const OMX_PARAM_PORTDEFINITIONTYPE output = client.port(1);
        EXPECT_EQ(output.nBufferSize, c.size);
        EXPECT_EQ(output.format.video.nStride, static_cast<OMX_S32>(c.stride));
        EXPECT_EQ(output.format.video.nFrameWidth, c.width);
        EXPECT_GE(output.nBufferCountActual, 4u);  // clients drop five times as many after a change
        EXPECT_LE(output.nBufferCountActual, 6u);
        EXPECT_GE(client.port(0).nBufferSize, 1024000u);
    }
}

// Whether the configuration comes alone, in front of its picture, or again and again; never a picture of its
// own.
TEST(AvcDecoder, ConfigurationComesAsItLikes) {
    const CodedStream stream = codedStream(64, 48, 2);
    Unit together = stream.configuration;
    together.insert(together.end(), stream.units[0].begin(), stream.units[0].end());
    // The second start code of four bytes begins the PPS.
    const Unit& configuration = stream.configuration;
    const Unit startCode = {0, 0, 0, 1};
    const auto middle =
        std::search(configuration.begin() + 4, configuration.end(), startCode.begin(), startCode.end());
    ASSERT_NE(middle, configuration.end());
    const Unit sps(configuration.begin(), middle), pps(middle, configuration.end());
    const std::vector<std::vector<Unit>> orders = {
        {sps, pps, stream.units[0], stream.units[1]},
        {stream.configuration, stream.units[0], stream.units[1]},
        {together, stream.units[1]},
        {stream.configuration, stream.configuration, stream.units[0], stream.configuration, stream.units[1]},
    };
    const auto shown = picturesOf(stream.packets());
    for (const auto& packets : orders) {
        SCOPED_TRACE(packets.size());
        forgetLog();
        DecoderClient client(kPlanar);
        client.start();
        const auto decoded = client.play(packets);
        ASSERT_EQ(decoded.size(), 3u);
        EXPECT_EQ(DecodedAddressing(Layout::Planes, 64, 48).fault(decoded[1].bytes, shown[1]), "");
        EXPECT_EQ(client.changes(), 1);
        EXPECT_TRUE(loggedLines().empty());
    }
}

// After an end the same node decodes on; after a stop it announces its size anew where it did so first.
TEST(AvcDecoder, StreamsFollowEachOther) {
    const CodedStream stream = codedStream(64, 48, 2);
    for (const DecoderChip& chip : {kLinear, kTiled}) {
        SCOPED_TRACE(chip.profile);
        DecoderClient client(chip);
        client.expectSize(64, 48);
        const int first = chip.announcesFirst ? 1 : 0;
        for (int start = 1; start <= 2; start++) {
            client.start();
            for (int round = 0; round < 2; round++) {
                EXPECT_EQ(client.play(stream.packets()).size(), 3u);
                EXPECT_EQ(client.changes(), start * first);
            }
            EXPECT_EQ(client.play({}).size(), 1u);  // an end of nothing
            client.stop();
        }
    }
}

// A flush forgets: what follows waits for a key picture.
TEST(AvcDecoder, FlushedInputBuildsOnNothing) {
    const CodedStream stream = codedStream(64, 48, 3);
    DecoderClient client(kLinear);
    client.expectSize(64, 48);
    client.start();
    client.send(stream.configuration);
    client.send(stream.units[0]);
    client.awaitPictures(1);
    ASSERT_EQ(client.omx->sendCommand(client.node, OMX_CommandFlush, 0), OK);
    client.send(stream.units[1]);
    EXPECT_EQ(client.finish().size(), 2u);
    EXPECT_EQ(client.play(stream.packets()).size(), 4u);
}

// The count that clients ask for stays, through changes too; sizes of the output are the stream's alone.
TEST(AvcDecoder, OutputPortTakesACountAndNoSize) {
    const CodedStream stream = codedStream(64, 48, 2);
    DecoderClient client(kTiled);
    client.expectSize(128, 96);
    OMX_PARAM_PORTDEFINITIONTYPE output = client.port(1);
    output.nBufferCountActual = 15;
    output.format.video.nFrameWidth = 1024;
    ASSERT_EQ(client.write(output), OK);
    EXPECT_EQ(client.port(1).nBufferCountActual, 15u);
    EXPECT_EQ(client.port(1).format.video.nFrameWidth, 128u);
    client.start();
    EXPECT_EQ(client.outputCount(), 15u);
    EXPECT_EQ(client.play(stream.packets()).size(), 3u);
    EXPECT_EQ(client.definitionAtChange().nBufferCountActual, 15u);
    EXPECT_EQ(client.outputCount(), 15u);
}

TEST(AvcDecoder, RefusesWhatItHasNoMeansFor) {
    DecoderClient client(kLinear);
    client.expectSize(320, 240);
    const struct {
        OMX_U32 port, width, height, coding;
        int colour, result;
    } cases[] = {
        {0, 0, 240, 7, 0, BAD_VALUE},           {0, 320, 4097, 7, 0, BAD_VALUE},
        {0, 320, 240, 4, 0, INVALID_OPERATION}, {1, 320, 240, 0, 19, INVALID_OPERATION},
        {2, 320, 240, 7, 0, BAD_VALUE},         {0, 500, 1000, 7, 0, OK},
    };
    for (const auto& c : cases) {
        OMX_PARAM_PORTDEFINITIONTYPE wanted = client.port(c.port == 1 ? 1 : 0);
        wanted.nPortIndex = c.port;
        wanted.format.video.nFrameWidth = c.width;
        wanted.format.video.nFrameHeight = c.height;
        wanted.format.video.eCompressionFormat = static_cast<OMX_VIDEO_CODINGTYPE>(c.coding);
        wanted.format.video.eColorFormat = static_cast<OMX_COLOR_FORMATTYPE>(c.colour);
        EXPECT_EQ(client.write(wanted), c.result) << c.port << " " << c.width << "x" << c.height;
        EXPECT_EQ(client.port(0).format.video.nFrameWidth, c.result == OK ? c.width : 320);
        EXPECT_NE(
            client.omx->setParameter(client.node, OMX_IndexParamPortDefinition, &wanted, sizeof(wanted) - 4),
            OK);
    }
    const struct {
        OMX_U32 port, index;
        int result;
    } formats[] = {{0, 0, OK}, {1, 0, OK}, {0, 1, BAD_INDEX}, {2, 0, BAD_VALUE}};
    for (const auto& [port, index, result] : formats) {
        OMX_VIDEO_PARAM_PORTFORMATTYPE format{};
        format.nPortIndex = port;
        format.nIndex = index;
        const auto parameter = OMX_IndexParamVideoPortFormat;
        EXPECT_EQ(client.omx->getParameter(client.node, parameter, &format, sizeof(format)), result);
        EXPECT_EQ(client.omx->setParameter(client.node, parameter, &format, sizeof(format)) == OK,
                  result == OK);
    }
}

// Qualcomm's own indices belong to Qualcomm's components, on both of its chips.
TEST(AvcDecoder, VendorIndicesOnlyOnQualcomm) {
    for (const DecoderChip& chip : kDecoderChips) {
        SCOPED_TRACE(std::string(chip.profile) + " " + chip.decoder);
        DecoderClient client(chip);
        OMX_U32 words[6] = {};
        for (const auto& [index, size] : {std::pair(0x7F000010u, 16u), std::pair(0x7F000002u, 24u)}) {
            const auto vendor = static_cast<OMX_INDEXTYPE>(index);
            EXPECT_EQ(client.omx->setParameter(client.node, vendor, words, size) == OK, chip.vendorIndices);
            EXPECT_NE(client.omx->setParameter(client.node, vendor, words, size - 4), OK);
        }
    }
}

}  // namespace
}  // namespace zem::test
