// Proves the decoder's life as the session leads it: chips, packets, close and open again, every call to
// the component refused once, waits for one that misbehaves, and how a stream is cut into units. Would catch
// a wrong handler, stride or port for a chip, a packet logged past its end, lost or sent twice, a component,
// buffer or picture left behind, a wait that never ends, a close that waits for a decode that waits for it,
// and a unit cut at the wrong byte or overrunning its buffer.
#include "codec/omx_mpeg_video_decoder.h"

#include <climits>
#include <random>

#include "codec/decode_driver.h"
#include "codec/decode_output.h"
#include "codec/h264_stream.h"
#include "codec/input_semaphore.h"
#include "color/tiled_nv12.h"
#include "tests/codec/component_fixture.h"
#include "tests/codec/decoded_picture.h"
#include "tests/codec/fake_identification.h"
#include "tests/support/guarded_buffer.h"

using namespace zem::test;

namespace {

constexpr char kQcomName[] = "OMX.qcom.video.decoder.avc";

// Opens the record and what is behind the wrapper.
class OpenDecoder : public omxMpegVideoDecoder {
  public:
    explicit OpenDecoder(const char* name) : omxMpegVideoDecoder(name) {}
    using omxCodecCommon::mHandle;
    using omxCodecCommon::mUserData;
};

class VideoDecoderTest : public ComponentTest {
  protected:
    VideoDecoderTest() { useChip("8974", nullptr, kQcomName); }
    ~VideoDecoderTest() override {
        mDecoder.reset();
        expectNoDecoderLeft();
    }

    void useChip(const char* buildId, const char* cpuInfo, const char* component) {
        mDecoder.reset();
        setIdentification(buildId, cpuInfo);
        serve({"OMX.google.h264.avc.dec", component});
        mOmx->setBuffers(1, 2, 90000);
    }
    int open(int width = 70, int height = 48) {
        mDecoder = std::make_unique<OpenDecoder>(nullptr);
        return mDecoder->open(width, height);
    }
    int decode(size_t size = 30) {
        std::vector<uint8_t> bytes(size);
        for (size_t i = 0; i < size; i++) {
            bytes[i] = static_cast<uint8_t>(i);
        }
        GuardedBuffer packet(bytes);
        return mDecoder->decode(packet.data(), static_cast<int>(size));
    }
    // Takes both input buffers away, as a component that stopped working does; they are what it gives.
    std::vector<android::IOMX::buffer_id> exhaust() {
        mOmx->setEmptyAnswer(Answer::kNever);
        EXPECT_EQ(decode() + decode(), 0);
        return mOmx->heldBuffers(0);
    }
    // A decode's result, after `wake` was called when it waited on and on.
    int decodedAfter(const std::function<void()>& wake) {
        // A wait that looks up between a buffer's return and its post leaves the post to the next one.
        while (zem::videoInputSemaphore().waitUntil({}, "") == 0) {
        }
        mClock.forget();
        return blockedUntil([this] { return decode(); }, [this] { return mClock.waitsOf(500000) > 2; }, wake);
    }
    void expectNoDecoderLeft() {
        expectNothingLeft();
        EXPECT_EQ(gConverterForDecoder, nullptr);
        EXPECT_EQ(gConvBuffForDecoder, nullptr);
    }

    std::unique_ptr<OpenDecoder> mDecoder;
};

TEST_F(VideoDecoderTest, EachChipHasItsLayout) {
    struct Case {
        const char* buildId = nullptr;
        const char* cpuInfo = nullptr;
        const char* component = nullptr;
        int base = 0;
        bool tiled = false, known = false;  // known: the size is taken from open
        int width = 70, remainder = 0;
    };
    for (const Case& c : {Case{"8960", nullptr, kQcomName, 0x2001, true, false},
                          Case{"8974", nullptr, kQcomName, 0x2002, false, true, 70, 6},
                          Case{"8974", nullptr, kQcomName, 0x2002, false, true, 1080, 56},
                          Case{"8930", nullptr, kQcomName, 0x2003, true, false},
                          Case{"8x26", nullptr, kQcomName, 0x2004, false, true, 70, 6},
                          Case{"8064", nullptr, kQcomName, 0x2100, true, false},
                          Case{nullptr, nullptr, "OMX.SEC.avc.dec", 0x1001, false, false},
                          Case{nullptr, nullptr, "OMX.Exynos.avc.dec", 0x1002, false, false},
                          Case{nullptr, "Hardware : Tarn T1\n", "OMX.tarn.avc.dec", 0x4001, false, false},
                          Case{nullptr, nullptr, "OMX.other.avc.dec", 0x2002, false, true, 70, 6}}) {
        useChip(c.buildId, c.cpuInfo, c.component);
        ASSERT_EQ(open(c.width, 48), 1) << std::hex << c.base;
        EXPECT_EQ(mDecoder->mUserData->hardwareBase, c.base);
        EXPECT_EQ(mDecoder->getWidth(), c.known ? c.width : 0);
        EXPECT_EQ(mDecoder->mUserData->strideRemainder, c.remainder);
        const DecodedPicture picture{c.width, 48};
        answerWith(c.tiled   ? std::vector<uint8_t>(TiledFrameSize(c.width, 48))
                   : c.known ? picture.padded(c.remainder)
                             : picture.planar());
        mDecoder->mUserData->width = c.width;
        mDecoder->mUserData->height = 48;
        EXPECT_EQ(decode(), 0);
        ASSERT_TRUE(eventually([] { return !deliveredPictures().empty(); })) << std::hex << c.base;
        EXPECT_EQ(loggedCount("j/dec2/output") > 0, c.tiled);
        EXPECT_TRUE(c.tiled || deliveredPictures().back() == picture.shown());
        const auto port = mOmx->parameter<OMX_PARAM_PORTDEFINITIONTYPE>(OMX_IndexParamPortDefinition, 0);
        EXPECT_EQ(port.format.video.nFrameHeight, c.component == kQcomName ? 48U : 70U) << "its sides turned";
    }
}

TEST_F(VideoDecoderTest, WhatOpenRefuses) {
    for (const auto& size : {std::pair<int, int>{-1, 48}, {70, -1}, {1 << 16, 1 << 16}}) {
        EXPECT_EQ(open(size.first, size.second), 0);
        EXPECT_EQ(mDecoder->IsOpen(), 0);
    }
    EXPECT_EQ(mOmx->callCount("allocateNode"), 0);
    EXPECT_EQ(open(0, 0), 1) << "a size that is not known yet";
    useChip(nullptr, nullptr, "OMX.soft.avc.dec");
    EXPECT_EQ(open(), 0) << "no hardware";
    EXPECT_EQ(decode(), 0) << "nothing to send to, and no error to tell";
}

TEST_F(VideoDecoderTest, BadPacketsAreRefusedAndTheSessionGoesOn) {
    mOmx->setEmptyAnswer(Answer::kBeforeReturn);
    ASSERT_EQ(open(), 1);
    EXPECT_EQ(mDecoder->decode(nullptr, 1), -1);
    EXPECT_EQ(decode(4097), -1);
    uint8_t byte = 0;
    EXPECT_EQ(mDecoder->decode(&byte, -1), -1);
    for (size_t size = 0; size <= 27; size++) {
        gDecodeInCnt = 1;
        EXPECT_EQ(decode(size), 0) << "logged inside its size";
    }
}

TEST_F(VideoDecoderTest, CloseSendsTheEndAndOpenStartsAgain) {
    answerWith(DecodedPicture{70, 48}.padded(6));
    ASSERT_EQ(open(), 1);
    ASSERT_EQ(decode(), 0);
    ASSERT_TRUE(eventually([] { return deliveredPictures().size() == 1; }));
    mDecoder->close(false);
    EXPECT_EQ(mOmx->inputs().back().flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_EOS));
    EXPECT_EQ(mOmx->liveNodes(), 0);
    EXPECT_EQ(mDecoder->IsOpen(), 0);
    ASSERT_EQ(mDecoder->open(70, 48), 1);
    mOmx->forgetCalls();
    mDecoder->close(false);
    EXPECT_EQ(mOmx->callCount("sendCommand"), 0) << "without a packet the stream is abandoned";
    ASSERT_EQ(mDecoder->open(70, 48), 1);
    ASSERT_EQ(mDecoder->open(70, 48), 1) << "without a close in between";
    EXPECT_EQ(mOmx->liveNodes(), 1);
}

TEST_F(VideoDecoderTest, WaitsForABufferUntilSomethingEndsIt) {
    ASSERT_EQ(open(), 1);
    const auto held = exhaust();
    EXPECT_EQ(decodedAfter([&] {
                  mOmx->sendEmptied(held[0]);
                  mOmx->waitDelivered();
              }),
              -1);
    EXPECT_EQ(mOmx->inputs().size(), 2U) << "the packet is lost";
    EXPECT_EQ(decode(), 0);
    std::atomic<bool>& closing = mDecoder->mUserData->closeRequested;
    EXPECT_EQ(decodedAfter([&] { closing = true; }), -1) << "it looks up by itself";
    closing = false;
    EXPECT_EQ(decodedAfter([this] { mDecoder->requestClose(); }), -1);
    EXPECT_EQ(decode(), -1) << "later ones do not wait";
    expectEnds([this] { mDecoder.reset(); });
    mOmx->setEmptyAnswer(Answer::kLater);
    ASSERT_EQ(open(), 1);
    exhaust();
    EXPECT_EQ(decodedAfter([this] { mOmx->sendEvent(OMX_EventError, 1, 0); }), -1);
}

TEST_F(VideoDecoderTest, EndOfStreamLooksUpAndGivesUp) {
    ASSERT_EQ(open(), 1);
    const auto end = [this] { return omxt_decode_send_end(mDecoder->mHandle, 7); };
    mOmx->refuse("emptyBuffer");
    EXPECT_EQ(end(), -2);
    const auto held = exhaust();
    mDecoder->mUserData->closeRequested =
        true;  // as whenever a decoder is closed: that is what sends the end
    for (int i = 0; i < 50; i++) {
        zem::videoInputSemaphore().post();  // another codec's do not lengthen it
    }
    EXPECT_EQ(end(), 32);
    EXPECT_EQ(loggedCount("keeps its input buffers"), 1);

    // With all the time in the world: another codec may have taken the post of the buffer that came back.
    auto limit = std::make_unique<LongWaits>(mClock);
    mClock.forget();
    const auto looks = [&] {
        limit.reset();
        zem::videoInputSemaphore().post();
        EXPECT_TRUE(eventually([this] { return mClock.waitsOf(500000) > 2; })) << "waits for a post";
        mOmx->sendEmptied(held[0]);
    };
    EXPECT_EQ(blockedUntil(
                  end, [&] { return limit->waits() > 1; }, looks),
              0);
}

TEST_F(VideoDecoderTest, EveryCallRefusedOnce) {
    mOmx->setEmptyAnswer(Answer::kLater);
    answerWith(DecodedPicture{70, 48}.padded(6));
    expectEachRefusalClean([this] {
        const int opened = open();
        int decoded = 0;
        for (int i = 0; i < 3; i++) {
            decoded += decode();
            mOmx->waitDelivered();  // or the third may find no buffer
        }
        mDecoder->close(false);
        mDecoder.reset();
        expectNoDecoderLeft();
        return opened == 1 && decoded == 0;
    });
}

// --- Streams.

using Bytes = std::vector<unsigned char>;

TEST(H264Stream, UnitsEndAtStartCodesAndAtTheEndOfTheBuffer) {
    for (int length = 1; length < 40; length++) {
        Bytes stream(static_cast<size_t>(length), 0x7F);
        stream.insert(stream.end(), {0, 0, 0, 1, 9});
        for (int outSize = -1; outSize <= length + 5; outSize++) {
            GuardedBuffer out(static_cast<size_t>(std::max(outSize, 0)));
            int pos = 0, found = 100, timestamp = INT_MAX;
            const int expected = outSize > length + 4 ? length : std::max(outSize - 1, 0);
            EXPECT_EQ(readBufferFromH264InputFile3(stream.data(), length + 5, &pos, &found, out.data(),
                                                   outSize, &timestamp),
                      expected);
            EXPECT_EQ(pos, expected);
            EXPECT_TRUE(out.untouchedBefore());
        }
    }
}

TEST_F(VideoDecoderTest, WholeStreamArrivesUnitByUnit) {
    mOmx->setBuffers(0, 2, 250000);
    ASSERT_EQ(open(), 1);
    Bytes stream;
    std::minstd_rand random(3);
    const auto addUnit = [&stream](size_t payload) {
        stream.insert(stream.end(), {0, 0, 0, 1});
        stream.insert(stream.end(), payload, 0x65);
    };
    for (int i = 0; i < 60; i++) {
        addUnit(random() % 2000 + 1);
    }
    addUnit(205000);  // goes in pieces
    addUnit(5);
    int timestamp = 0;
    EXPECT_EQ(omxt_decode_loop(mDecoder->mHandle, stream.data(), static_cast<int>(stream.size()), &timestamp),
              0);
    Bytes received;
    for (const SentInput& input : mOmx->inputs()) {
        received.insert(received.end(), input.bytes.begin(), input.bytes.end());
    }
    EXPECT_TRUE(received == stream);
    EXPECT_EQ(mOmx->inputs().size(), 63U);
    EXPECT_EQ(timestamp, 63 * 100000);
}

}  // namespace
