// Proves that the H.264 decoder component of every chip puts each sample of a picture where that chip puts
// it, with the unit's timestamp, that it announces a new size once and waits for the new buffers, that a
// client may leave at any step of that, and that nothing a stream holds stops it. Would catch rows padded to
// the next multiple, tiles or chroma bytes exchanged, a picture that is lost, late or written to buffers of
// the old size, an end of stream that overtakes the last picture, a node that cannot be freed while it waits,
// an empty buffer taken for the end, a picture lost for good after a damaged configuration.
#include <gtest/gtest.h>

#include <string>

#include "tests/platform/h264_stream.h"
#include "tests/platform/stream_damage.h"
#include "tests/support/tiled_plane.h"

namespace zem::test {
namespace {

using android::BAD_VALUE;
using android::INVALID_OPERATION;

// Where one sample of a decoded picture lies in a decoder's output buffer, layout by layout, from the rules
// alone.
enum class Layout { PaddedRows, Tiles, Planes };

class DecodedAddressing {
  public:
    DecodedAddressing(Layout layout, int width, int height)
        : mLayout(layout), mWidth(static_cast<size_t>(width)), mHeight(static_cast<size_t>(height)) {}

    size_t size() const {
        switch (mLayout) {
            case Layout::PaddedRows:
                return rowLength() * mHeight * 3 / 2;
            case Layout::Tiles:
                return tiles(mHeight).bytes() + tiles(mHeight / 2).bytes();
            default:
                return mWidth * mHeight * 3 / 2;
        }
    }
    size_t luma(size_t x, size_t y) const {
        return mLayout == Layout::Tiles ? tiles(mHeight).at(x, y) : y * rowLength() + x;
    }
    /// Of the Cb (0) or Cr (1) sample at column x, row y of the half-sized planes.
    size_t chroma(size_t x, size_t y, size_t which) const {
        switch (mLayout) {
            case Layout::PaddedRows:
                return mWidth * mHeight + mHeight * (mWidth % 64) + y * rowLength() + 2 * x + which;
            case Layout::Tiles:
                return tiles(mHeight).bytes() + tiles(mHeight / 2).at(2 * x + which, y);
            default:
                return mWidth * mHeight + which * (mWidth / 2) * (mHeight / 2) + y * (mWidth / 2) + x;
        }
    }

    /// Empty when `bytes` show `picture`, else what is wrong first.
    std::string fault(const std::vector<uint8_t>& bytes, const Picture& picture) const {
        if (bytes.size() != size()) {
            return std::to_string(bytes.size()) + " bytes, not " + std::to_string(size());
        }
        for (size_t y = 0; y < mHeight; y++) {
            for (size_t x = 0; x < mWidth; x++) {
                const size_t pair = y / 2 * (mWidth / 2) + x / 2;
                if (bytes[luma(x, y)] != picture.y[y * mWidth + x] ||
                    bytes[chroma(x / 2, y / 2, 0)] != picture.cb[pair] ||
                    bytes[chroma(x / 2, y / 2, 1)] != picture.cr[pair]) {
                    return "pixel " + std::to_string(x) + "," + std::to_string(y);
                }
            }
        }
        return "";
    }

  private:
    size_t rowLength() const { return mLayout == Layout::PaddedRows ? mWidth + mWidth % 64 : mWidth; }

    TiledPlane tiles(size_t lines) const { return {(mWidth + 127) / 128 * 2, (lines + 31) / 32}; }

    const Layout mLayout;
    const size_t mWidth;
    const size_t mHeight;
};

// A decoder of a chip, and what is asked of it.
struct DecoderChip {
    const char* profile;
    const char* decoder;
    Layout layout;
    bool announcesFirst;  // the first picture's size, whatever it is
};

constexpr DecoderChip kDecoderChips[] = {
    {"qcom", "OMX.qcom.video.decoder.avc", Layout::PaddedRows, false},
    {"qcom-tiled", "OMX.qcom.video.decoder.avc", Layout::Tiles, true},
    {"sec", "OMX.SEC.avc.dec", Layout::Planes, true},
    {"exynos", "OMX.Exynos.avc.dec", Layout::Planes, true},
    {"tarn", "OMX.tarn.video.decoder.avc", Layout::Planes, true},
    {"qcom", "OMX.google.avc.decoder", Layout::Planes, true},
};

// Expects pictures of this size.
struct DecoderClient : CodecClient {
    DecoderClient(const DecoderChip& chip, OMX_U32 width, OMX_U32 height)
        : CodecClient(chip.profile, chip.decoder) {
        OMX_PARAM_PORTDEFINITIONTYPE wanted = port(kInputPort);
        wanted.format.video.nFrameWidth = width;
        wanted.format.video.nFrameHeight = height;
        EXPECT_EQ(setPort(wanted), OK);
    }
};

TEST(AvcDecoder, EveryChipPutsEverySampleInItsPlaceAtEverySize) {
    // A tile less one row, more pictures than there are buffers, an unpaired last row of tiles, more than a
    // group of four across.
    const struct {
        uint32_t width, height;
        int count;
    } streams[] = {{64, 30, 3}, {640, 360, 8}, {100, 66, 2}, {1280, 720, 2}, {300, 130, 2}, {16, 16, 1}};
    std::vector<Unit> packets;
    std::vector<OMX_TICKS> times;
    for (const auto& [width, height, count] : streams) {
        CodedStream stream = codedStream(width, height, count);
        if (width >= 640) {  // some peers send the configuration and its picture as one unit
            Unit& key = stream.units[0];
            key.insert(key.begin(), stream.configuration.begin(), stream.configuration.end());
        } else {
            packets.push_back(stream.configuration);
        }
        for (const Unit& unit : stream.units) {
            times.push_back(static_cast<OMX_TICKS>(packets.size()));
            packets.push_back(unit);
        }
    }
    const auto shown = picturesOf(packets);
    ASSERT_EQ(shown.size(), times.size());
    for (const DecoderChip& chip : kDecoderChips) {
        SCOPED_TRACE(std::string(chip.profile) + " " + chip.decoder);
        DecoderClient client(chip, streams[0].width, streams[0].height);
        client.start();
        for (size_t i = 0; i < packets.size(); i++) {
            client.send(packets[i], static_cast<OMX_TICKS>(i));
        }
        const auto decoded = client.finish(1000);
        ASSERT_EQ(decoded.size(), shown.size() + 1);
        for (size_t i = 0; i < shown.size(); i++) {
            const DecodedAddressing place(chip.layout, shown[i].width, shown[i].height);
            EXPECT_EQ(place.fault(decoded[i].bytes, shown[i]), "") << i;
            EXPECT_EQ(decoded[i].timestamp, times[i]);
            EXPECT_EQ(decoded[i].flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_ENDOFFRAME));
        }
        EXPECT_TRUE(decoded.back().bytes.empty());
        EXPECT_EQ(decoded.back().timestamp, 1000);
        EXPECT_EQ(client.changes, static_cast<int>(std::size(streams)) - (chip.announcesFirst ? 0 : 1));
    }
}

// The stream goes on all the while, and its size changes once more before the answer.
TEST(AvcDecoder, WaitsForTheNewBuffers) {
    const CodedStream first = codedStream(320, 240, 1);
    const CodedStream second = codedStream(640, 360, 2);
    for (const DecoderChip& chip : kDecoderChips) {
        SCOPED_TRACE(std::string(chip.profile) + " " + chip.decoder);
        DecoderClient client(chip, 64, 48);
        client.answers = false;
        client.start();
        client.send(first.configuration);
        client.awaitChange();
        EXPECT_EQ(client.port(kOutputPort).nBufferSize, DecodedAddressing(chip.layout, 320, 240).size());
        client.send(second.configuration);
        client.send(second.units[0]);
        client.answerChange(DecoderClient::kAnswerSteps - 1);
        EXPECT_EQ(client.changes, 1);
        EXPECT_EQ(client.port(kOutputPort).format.video.nFrameWidth, 320u);
        EXPECT_TRUE(client.outputs.empty());
        client.answers = true;
        client.answerChange();
        client.send(second.units[1]);
        EXPECT_EQ(client.finish(1).size(), 3u);
        EXPECT_EQ(client.changes, 2);
    }
}

TEST(AvcDecoder, MayBeFreedAtAnyStepOfAChange) {
    const CodedStream stream = codedStream(320, 240, 2);
    for (size_t steps = 0; steps <= DecoderClient::kAnswerSteps; steps++) {
        for (const DecoderChip& chip : {kDecoderChips[0], kDecoderChips[1], kDecoderChips[2]}) {
            DecoderClient client(chip, 64, 48);
            client.answers = false;
            client.start();
            for (const Unit& packet : stream.packets()) {
                client.send(packet);
            }
            client.awaitChange();
            client.answerChange(steps);
        }
    }
}

TEST(AvcDecoder, RefusesWhatItHasNoMeansFor) {
    const struct {
        OMX_U32 port, width, height;
        int coding, colour, result;
    } cases[] = {
        {0, 0, 240, 7, 0, BAD_VALUE},           {0, 320, 4097, 7, 0, BAD_VALUE},
        {0, 320, 240, 4, 0, INVALID_OPERATION}, {1, 320, 240, 0, 19, INVALID_OPERATION},
        {2, 320, 240, 7, 0, BAD_VALUE},         {0, 500, 1000, 7, 0, android::OK},
    };
    DecoderClient client(kDecoderChips[0], 320, 240);
    for (const auto& c : cases) {
        OMX_PARAM_PORTDEFINITIONTYPE wanted = client.port(c.port % 2);
        wanted.nPortIndex = c.port;
        wanted.format.video.nFrameWidth = c.width;
        wanted.format.video.nFrameHeight = c.height;
        wanted.format.video.eCompressionFormat = static_cast<OMX_VIDEO_CODINGTYPE>(c.coding);
        wanted.format.video.eColorFormat = static_cast<OMX_COLOR_FORMATTYPE>(c.colour);
        EXPECT_EQ(client.setPort(wanted), c.result) << c.port << " " << c.width << "x" << c.height;
        EXPECT_EQ(client.port(kInputPort).format.video.nFrameWidth, c.result == OK ? c.width : 320);
    }
}

constexpr int kWidth = 176;
constexpr int kHeight = 100;

TEST(AvcDecoder, AfterDamageTheNextKeyPictureIsWhole) {
    const CodedStream stream = codedStream(kWidth, kHeight, 6);
    const auto shown = picturesOf(stream.packets());
    for (const DecoderChip& chip : kDecoderChips) {
        Random random(1);
        DecoderClient client(chip, kWidth, kHeight);
        client.start();
        for (const Damage& damage : kDamages) {
            SCOPED_TRACE(std::string(chip.profile) + " " + damage.name);
            for (int round = 0; round < 4; round++) {
                Packets packets = stream.packets();
                damage.apply(packets, random);
                for (const Unit& packet : packets) {
                    client.send(packet, 1);
                }
            }
            for (const Unit& packet : stream.packets()) {
                client.send(packet, 2);
            }
            const auto decoded = client.finish(3);
            ASSERT_GT(decoded.size(), shown.size());
            const size_t first = decoded.size() - 1 - shown.size();
            const DecodedAddressing place(chip.layout, kWidth, kHeight);
            for (size_t i = 0; i < shown.size(); i++) {
                EXPECT_EQ(decoded[first + i].timestamp, 2);
                EXPECT_EQ(place.fault(decoded[first + i].bytes, shown[i]), "") << i;
            }
            EXPECT_TRUE(first == 0 || decoded[first - 1].timestamp == 1) << "more pictures than units";
        }
    }
}

}  // namespace
}  // namespace zem::test
