// Proves that a decoder whose stream has another size than its output port says so once, waits for the new
// buffers and goes on without losing a picture, and that a client may leave at any step. Would catch a
// picture written to buffers of the old size, a definition that is still the old one when the event arrives,
// a second event, an output that overtakes the hand-shake, a node that cannot be freed while it waits.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>

#include "tests/platform/decoder_client.h"

namespace zem::test {
namespace {

using android::OK;

constexpr DecoderChip kLinear = kDecoderChips[0];

void append(std::vector<Unit>& packets, const CodedStream& stream) {
    const auto more = stream.packets();
    packets.insert(packets.end(), more.begin(), more.end());
}

TEST(AvcDecoderChange, SizeChangesThereAndBack) {
    const CodedStream large = codedStream(1280, 720, 2);
    const CodedStream small = codedStream(640, 360, 8);  // more than there are buffers
    std::vector<Unit> packets;
    for (const CodedStream* stream : {&large, &small, &large}) {
        append(packets, *stream);
    }
    const auto shown = picturesOf(packets);
    ASSERT_EQ(shown.size(), 12u);
    for (const DecoderChip& chip : kDecoderChips) {
        SCOPED_TRACE(std::string(chip.profile) + " " + chip.decoder);
        DecoderClient client(chip);
        client.expectSize(1280, 720);
        client.start();
        const auto decoded = client.play(packets);
        ASSERT_EQ(decoded.size(), shown.size() + 1);
        for (size_t i = 0; i < shown.size(); i++) {
            const DecodedAddressing place(chip.layout, shown[i].width, shown[i].height);
            EXPECT_EQ(place.fault(decoded[i].bytes, shown[i]), "") << i;
        }
        EXPECT_EQ(client.changes(), chip.announcesFirst ? 3 : 2);
    }
}

// Step by step, with the stream going on all the while.
TEST(AvcDecoderChange, WaitsForTheNewBuffers) {
    const CodedStream stream = codedStream(320, 240, 4);
    for (const DecoderChip& chip : kDecoderChips) {
        SCOPED_TRACE(std::string(chip.profile) + " " + chip.decoder);
        DecoderClient client(chip);
        client.expectSize(64, 48);
        client.start();
        const size_t count = client.outputCount();
        client.send(stream.configuration, 1);
        client.send(stream.units[0], 2);
        client.awaitChange();
        const OMX_PARAM_PORTDEFINITIONTYPE announced = client.definitionAtChange();
        EXPECT_EQ(announced.format.video.nFrameWidth, 320u);
        EXPECT_EQ(announced.format.video.nFrameHeight, 240u);
        EXPECT_GE(announced.nBufferSize, DecodedAddressing(chip.layout, 320, 240).size());
        EXPECT_EQ(announced.nBufferCountActual, count);
        client.submit(stream.units[1], 3);
        client.disableOutput();
        EXPECT_NE(client.fill(0), OK);
        client.awaitOutputsBack();
        client.freeOutput(SIZE_MAX);
        client.awaitDisabled();
        client.submit(stream.units[2], 4);
        client.enableOutput();
        client.allocateOutput(count);
        client.awaitEnabled();
        EXPECT_EQ(client.pictures(), 0u);
        std::vector<std::string> wanted(count + 1, "returned");
        wanted.front() = "changed";
        wanted.emplace_back("disabled");
        wanted.emplace_back("enabled");
        EXPECT_EQ(client.heard(), wanted);
        client.fillOutputs();
        client.send(stream.units[3], 5);
        const auto decoded = client.finish(6);
        const auto shown = picturesOf(stream.packets());
        ASSERT_EQ(decoded.size(), 5u);
        for (size_t i = 0; i < 4; i++) {
            EXPECT_EQ(DecodedAddressing(chip.layout, 320, 240).fault(decoded[i].bytes, shown[i]), "") << i;
            EXPECT_EQ(decoded[i].timestamp, static_cast<OMX_TICKS>(i + 2));
        }
        EXPECT_EQ(client.changes(), 1);
    }
}

// A header alone tells the size; another one that comes before the answer waits for it.
TEST(AvcDecoderChange, HeadersAreAnsweredOneByOne) {
    const CodedStream first = codedStream(320, 240, 1);
    const CodedStream second = codedStream(640, 360, 2);
    for (const DecoderChip& chip : kDecoderChips) {
        SCOPED_TRACE(std::string(chip.profile) + " " + chip.decoder);
        DecoderClient client(chip);
        client.expectSize(64, 48);
        client.start();
        client.submit(first.configuration);
        client.awaitChange();
        client.submit(second.configuration);
        client.submit(second.units[0]);
        client.disableOutput();
        client.awaitOutputsBack();
        EXPECT_EQ(client.port(1).format.video.nFrameWidth, 320u);
        client.freeOutput(SIZE_MAX);
        client.awaitDisabled();
        client.enableOutput();
        client.allocateOutput(client.port(1).nBufferCountActual);
        client.awaitEnabled();
        client.fillOutputs();
        client.awaitChange();
        EXPECT_EQ(client.definitionAtChange().format.video.nFrameWidth, 640u);
        client.send(second.units[1]);
        EXPECT_EQ(client.finish().size(), 3u);
        EXPECT_EQ(client.changes(), 2);
    }
}

// The decoder has taken one of the new buffers when they are all called back: it must not write to that one.
TEST(AvcDecoderChange, NewBuffersMayBeFlushed) {
    const CodedStream stream = codedStream(320, 240, 2);
    DecoderClient client(kLinear);
    client.expectSize(64, 48);
    client.start();
    client.submit(stream.configuration);
    client.awaitChange();
    client.answerChange();
    client.send({});  // back only when the decoder goes on
    client.awaitInputsBack();
    ASSERT_EQ(client.omx->sendCommand(client.node, OMX_CommandFlush, 1), OK);
    client.send(stream.units[0]);
    client.send(stream.units[1]);
    EXPECT_EQ(client.finish().size(), 3u);
}

// A client that does not answer gets no picture, its buffers are left alone, and it may still stop and start.
TEST(AvcDecoderChange, NothingIsWrittenToBuffersOfTheOldSize) {
    const CodedStream stream = codedStream(320, 240, 3);
    DecoderClient client(kLinear);
    client.expectSize(64, 48);
    client.start();
    client.submit(stream.configuration);
    client.submit(stream.units[0]);
    client.awaitChange();
    client.submit(stream.units[1]);
    client.submit(stream.units[2]);
    client.stop();  // with three units under way
    EXPECT_EQ(client.pictures(), 0u);
    client.start();  // the buffers are of the stream's size now
    EXPECT_EQ(client.play(stream.packets()).size(), 4u);
    EXPECT_EQ(client.changes(), 1);
}

// The steps of the answer up to the n-th, then the end of the node or of the component's life, and another.
TEST(AvcDecoderChange, LeavesAtAnyStep) {
    const std::function<void(DecoderClient&)> steps[] = {
        [](DecoderClient& client) { client.awaitChange(); },
        [](DecoderClient& client) { client.disableOutput(); },
        [](DecoderClient& client) { client.awaitOutputsBack(); },
        [](DecoderClient& client) { client.freeOutput(2); },
        [](DecoderClient& client) { client.freeOutput(SIZE_MAX); },
        [](DecoderClient& client) { client.awaitDisabled(); },
        [](DecoderClient& client) { client.enableOutput(); },
        [](DecoderClient& client) { client.allocateOutput(2); },
        [](DecoderClient& client) { client.allocateOutput(client.port(1).nBufferCountActual - 2); },
        [](DecoderClient& client) { client.awaitEnabled(); },
        [](DecoderClient& client) { client.fillOutputs(); },
    };
    const CodedStream stream = codedStream(320, 240, 3);
    for (const bool orderly : {false, true}) {
        for (size_t last = 0; last <= std::size(steps); last++) {
            SCOPED_TRACE(std::to_string(last) + (orderly ? " stopped" : " freed"));
            DecoderClient client(kDecoderChips[last % std::size(kDecoderChips)]);
            client.expectSize(64, 48);
            client.start();
            client.submit(stream.configuration);
            client.submit(stream.units[0]);
            client.submit(stream.units[1]);
            for (size_t step = 0; step < last; step++) {
                steps[step](client);
            }
            if (orderly) {
                client.stop();
            }
        }
    }
}

}  // namespace
}  // namespace zem::test
