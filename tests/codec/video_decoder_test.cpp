// Proves the decoder's life as the session leads it: chips, packets, close and open again, every call to
// the component refused once. Would catch a wrong handler, stride or port for a chip, a packet logged past
// its end, a component, buffer or picture left behind, and a close that waits for a decode that waits for
// it.
#include "codec/omx_mpeg_video_decoder.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "codec/decode_output.h"
#include "color/tiled_nv12.h"
#include "tests/codec/decoded_picture.h"
#include "tests/codec/fake_identification.h"
#include "tests/codec/recorded_hand_off.h"
#include "tests/support/fake_clock.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/log_capture.h"
#include "tests/support/omx_proxy.h"

using namespace zem::test;

namespace {

constexpr char kQcomName[] = "OMX.qcom.video.decoder.avc";
constexpr auto kSoon = std::chrono::seconds(60);

// Opens what the record says.
class OpenDecoder : public omxMpegVideoDecoder {
  public:
    explicit OpenDecoder(const char* name) : omxMpegVideoDecoder(name) {}
    using omxCodecCommon::mUserData;
};

class VideoDecoderTest : public testing::Test {
  protected:
    VideoDecoderTest() { useChip("8974", nullptr, kQcomName); }
    ~VideoDecoderTest() override {
        mDecoder.reset();
        expectNothingLeft();
    }

    void useChip(const char* buildId, const char* cpuInfo, const char* component) {
        mDecoder.reset();
        setIdentification(buildId, cpuInfo);
        mOmx = new FakeOmx({"OMX.google.h264.avc.dec", component});
        mOmx->setBuffers(1, 2, 90000);
        serveOmx(mOmx);
        forgetDeliveries();
        forgetLog();
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
    // Every packet brings this picture, the end of the stream none.
    void answerWith(const std::vector<uint8_t>& picture) {
        auto* const omx = mOmx.get();  // not a reference: the handler is part of it
        omx->setInputHandler([omx, picture](const SentInput& input) {
            if ((input.flags & OMX_BUFFERFLAG_EOS) == 0) {
                omx->queueOutput(picture);
            }
        });
    }
    static bool eventually(const std::function<bool()>& condition) {
        for (int i = 0; i < 20000 && !condition(); i++) {
            usleep(500);
        }
        return condition();
    }
    void expectNothingLeft() {
        EXPECT_EQ(mOmx->liveNodes(), 0);
        EXPECT_EQ(mOmx->liveBuffers(), 0);
        EXPECT_EQ(gConverterForDecoder, nullptr);
        EXPECT_EQ(gConvBuffForDecoder, nullptr);
    }

    FakeClock mClock;
    android::sp<FakeOmx> mOmx;
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

TEST_F(VideoDecoderTest, CloseRequestFreesABlockedDecode) {
    ASSERT_EQ(open(), 1);
    mOmx->setEmptyAnswer(Answer::kNever);
    ASSERT_EQ(decode(), 0);
    ASSERT_EQ(decode(), 0);
    auto blocked = std::async(std::launch::async, [this] { return decode(); });
    ASSERT_TRUE(eventually([] { return loggedCount("SendDataToDecoder2(mo.k) : return -1") == 1; }));
    EXPECT_EQ(blocked.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    mDecoder->requestClose();
    ASSERT_EQ(blocked.wait_for(kSoon), std::future_status::ready);
    EXPECT_EQ(blocked.get(), -1);
    EXPECT_EQ(decode(), -1) << "later ones do not wait";
    auto closed = std::async(std::launch::async, [this] { mDecoder.reset(); });
    ASSERT_EQ(closed.wait_for(kSoon), std::future_status::ready);
}

TEST_F(VideoDecoderTest, EveryCallRefusedOnce) {
    mOmx->setEmptyAnswer(Answer::kLater);
    answerWith(DecodedPicture{70, 48}.padded(6));
    const auto session = [this] {
        const int opened = open();
        int decoded = 0;
        for (int i = 0; i < 3; i++) {
            decoded += decode();
        }
        mDecoder->close(false);
        mDecoder.reset();
        return opened == 1 && decoded == 0;
    };
    mOmx->forgetCalls();
    ASSERT_TRUE(session());
    const int calls = mOmx->callCount("");
    ASSERT_GT(calls, 20);
    for (int n = 1; n <= calls; n++) {
        mOmx->refuseCall(n);
        session();
        expectNothingLeft();
        mOmx->refuseCall(0);
    }
    EXPECT_TRUE(session()) << "the next open works";
}

}  // namespace
