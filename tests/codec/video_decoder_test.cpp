// Proves the decoder's life as the session leads it: chips, packets, size changes, every order of open
// and close, every call to the component refused once. Would catch a wrong handler or stride for a chip,
// a packet logged past its end, a component, buffer or picture left behind or freed under a thread, and a
// close that waits for a decode that waits for it.
#include "codec/omx_mpeg_video_decoder.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "codec/decode_output.h"
#include "color/tiled_nv12.h"
#include "tests/codec/decoded_picture.h"
#include "tests/codec/fake_identification.h"
#include "tests/codec/recorded_hand_off.h"
#include "tests/omx/long_waits.h"
#include "tests/support/fake_clock.h"
#include "tests/support/serve_omx.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/log_capture.h"
#include "tests/support/omx_proxy.h"

using namespace zem::test;

namespace {

constexpr char kQcomName[] = "OMX.qcom.video.decoder.avc";
constexpr auto kSoon = std::chrono::seconds(60);

// Opens what the record and the copy of the first packet say.
class OpenDecoder : public omxMpegVideoDecoder {
  public:
    explicit OpenDecoder(const char* name) : omxMpegVideoDecoder(name) {}
    using omxCodecCommon::mHandle;
    using omxCodecCommon::mUserData;
    using omxMpegVideoDecoder::mFirstStreamBuffer;
    using omxMpegVideoDecoder::mFirstStreamSize;
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
        mOmx->setBuffers(1, 2, 40000);
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
    static bool pictureCountIs(size_t count) {
        return eventually([count] { return deliveredPictures().size() == count; });
    }
    // The component's side of a change of size.
    bool changeSize(int width, int height) {
        auto definition = mOmx->parameter<OMX_PARAM_PORTDEFINITIONTYPE>(OMX_IndexParamPortDefinition, 1);
        definition.format.video.nFrameWidth = static_cast<OMX_U32>(width);
        definition.format.video.nFrameHeight = static_cast<OMX_U32>(height);
        mOmx->presetParameter(OMX_IndexParamPortDefinition, 1, definition);
        const int disables = mOmx->callCount("sendCommand 2 1");
        const LongWaits patience(mClock);  // the buffers count as lost otherwise, on a slow machine
        mOmx->sendEvent(OMX_EventPortSettingsChanged, 1, 0);
        bool done = eventually([&] { return mOmx->callCount("sendCommand 2 1") > disables; });
        done = done && eventually([&] {
                   for (const auto id : mOmx->heldBuffers(1)) {
                       mOmx->sendFilled(id, 0);
                   }
                   return mOmx->buffers(1).empty();
               });
        mOmx->sendEvent(OMX_EventCmdComplete, OMX_CommandPortDisable, 1);
        done = done && eventually([&] { return mOmx->buffers(1).size() == 2; });
        mOmx->sendEvent(OMX_EventCmdComplete, OMX_CommandPortEnable, 1);
        return done && eventually([&] { return mOmx->heldBuffers(1).size() == 2; });
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

// First in the file: it is about the first packet of the process.
TEST_F(VideoDecoderTest, FirstPacketOfTheProcessIsKept) {
    ASSERT_EQ(open(), 1);
    EXPECT_EQ(mDecoder->decode(nullptr, 5), -1);
    EXPECT_EQ(decode(30), 0);
    ASSERT_EQ(mDecoder->mFirstStreamSize, 30);
    EXPECT_EQ(mDecoder->mFirstStreamBuffer[29], 29);
    EXPECT_EQ(decode(40), 0);
    EXPECT_EQ(mDecoder->mFirstStreamSize, 30);
    ASSERT_EQ(open(), 1);
    EXPECT_EQ(decode(40), 0);
    EXPECT_EQ(mDecoder->mFirstStreamBuffer, nullptr);
}

TEST_F(VideoDecoderTest, EachChipHasItsLayout) {
    struct Case {
        const char* buildId;
        const char* cpuInfo;
        const char* component;
        int base;
        bool tiled, known;  // known: the size is taken from open
        int remainder;
    };
    for (const Case& c : {Case{"8960", nullptr, kQcomName, 0x2001, true, false, 0},
                          Case{"8974", nullptr, kQcomName, 0x2002, false, true, 6},
                          Case{"8930", nullptr, kQcomName, 0x2003, true, false, 0},
                          Case{"8x26", nullptr, kQcomName, 0x2004, false, true, 6},
                          Case{"8064", nullptr, kQcomName, 0x2100, true, false, 0},
                          Case{nullptr, nullptr, "OMX.SEC.avc.dec", 0x1001, false, false, 0},
                          Case{nullptr, nullptr, "OMX.Exynos.avc.dec", 0x1002, false, false, 0},
                          Case{nullptr, "Hardware : Tarn T1\n", "OMX.tarn.avc.dec", 0x4001, false, false, 0},
                          Case{nullptr, nullptr, "OMX.other.avc.dec", 0x2002, false, true, 6}}) {
        useChip(c.buildId, c.cpuInfo, c.component);
        ASSERT_EQ(open(70, 48), 1) << std::hex << c.base;
        EXPECT_EQ(mDecoder->mUserData->hardwareBase, c.base);
        EXPECT_EQ(mDecoder->getWidth(), c.known ? 70 : 0);
        EXPECT_EQ(mDecoder->getHeight(), c.known ? 48 : 0);
        EXPECT_EQ(mDecoder->mUserData->strideRemainder, c.remainder);
        const DecodedPicture picture{70, 48};
        answerWith(c.tiled   ? std::vector<uint8_t>(TiledFrameSize(70, 48))
                   : c.known ? picture.padded(6)
                             : picture.planar());
        if (!c.known) {
            EXPECT_EQ(decode(), 0);
            mOmx->waitDelivered();
            EXPECT_TRUE(deliveredPictures().empty()) << "of a size that nobody knows";
            ASSERT_TRUE(changeSize(70, 48));
            for (int i = 0; i < 10; i++) {
                EXPECT_EQ(decode(), 0);
                mOmx->waitDelivered();
            }
        }
        EXPECT_EQ(decode(), 0);
        ASSERT_TRUE(eventually([] { return !deliveredPictures().empty(); })) << std::hex << c.base;
        EXPECT_EQ(loggedCount("j/dec2/output") > 0, c.tiled);
        EXPECT_EQ(loggedCount("j/dec3/output") > 0, !c.tiled);
        EXPECT_TRUE(c.tiled || deliveredPictures().back() == picture.shown());
        EXPECT_EQ(mDecoder->getWidth(), 70);
        EXPECT_EQ(mDecoder->getHeight(), 48);
    }
}

TEST_F(VideoDecoderTest, RowsOf1080TakeOneThousandOneHundredThirtySix) {
    mOmx->setBuffers(1, 2, 1136 * 4 * 3 / 2);
    ASSERT_EQ(open(1080, 4), 1);
    EXPECT_TRUE(logged(4, "omx decoder [ret:1, codec:OMX.qcom.video.decoder.avc, hardware:2002]"));
    const DecodedPicture picture{1080, 4};
    answerWith(picture.padded(56));
    EXPECT_EQ(decode(), 0);
    ASSERT_TRUE(pictureCountIs(1));
    EXPECT_TRUE(deliveredPictures()[0] == picture.shown());
}

TEST_F(VideoDecoderTest, WhatOpenRefuses) {
    mDecoder = std::make_unique<OpenDecoder>(nullptr);
    const std::pair<int, int> sizes[] = {{-1, 48}, {70, -1}, {1 << 16, 1 << 16}};
    for (const auto& size : sizes) {
        EXPECT_EQ(mDecoder->open(size.first, size.second), 0);
    }
    EXPECT_EQ(mDecoder->IsOpen(), 0);
    EXPECT_EQ(mOmx->callCount("allocateNode"), 0);
    EXPECT_EQ(mDecoder->open(0, 0), 1) << "a size that is not known yet";
    EXPECT_EQ(mDecoder->IsOpen(), 1);
    EXPECT_EQ(mDecoder->getBitmap(nullptr, nullptr), -1);
    mDecoder = std::make_unique<OpenDecoder>(kQcomName);
    EXPECT_EQ(mDecoder->open(70, 48), 0) << "a name given starts nothing";
    useChip(nullptr, nullptr, "OMX.soft.avc.dec");
    EXPECT_EQ(open(), 0) << "no hardware";
    EXPECT_EQ(decode(), 0) << "nothing to send to, and no error to tell";
}

TEST_F(VideoDecoderTest, InputIsLoggedInsideItsSize) {
    ASSERT_EQ(open(), 1);
    struct Case {
        size_t size;
        const char* second;
    };
    for (const Case& c : {Case{0, nullptr}, Case{20, nullptr}, Case{21, "0D0E0F101112-1314]"},
                          Case{25, "0D0E0F101112-1314]"}, Case{26, "0D0E0F101112-13141516171819]"}}) {
        gDecodeInCnt = 1;
        forgetLog();
        EXPECT_EQ(decode(c.size), 0);
        const std::string head = "j/dec: size:" + std::to_string(c.size);
        EXPECT_EQ(logged(4, head + " [0: size is too small]"), c.second == nullptr);
        EXPECT_EQ(logged(4, head + " [0(0): 0001020304-0506070809-0A0B0C]"), c.second != nullptr);
        EXPECT_TRUE(c.second == nullptr || logged(4, head + " [0(13): " + c.second));
        EXPECT_EQ(decode(c.size), 0);
        EXPECT_EQ(loggedCount("j/dec: "), c.second != nullptr ? 2 : 1);
    }
    EXPECT_EQ(mClock.sleepsOf(30000) >= 10, true) << "paced";
}

TEST_F(VideoDecoderTest, PendingInputsAreSentWithoutWaiting) {
    ASSERT_EQ(open(), 1);
    mDecoder->mUserData->pendingOutputs = 2;
    EXPECT_EQ(decode(), 0);
    EXPECT_EQ(mDecoder->mUserData->pendingOutputs, 1);
    EXPECT_EQ(mOmx->inputs().size(), 1U);
    mDecoder->mUserData->pendingOutputs = -1;
    mClock.forget();
    EXPECT_EQ(decode(), 0);
    EXPECT_EQ(mClock.sleepsOf(100000), 1);
    EXPECT_EQ(mDecoder->mUserData->pendingOutputs, 0);
    EXPECT_EQ(mOmx->inputs().size(), 1U) << "one is skipped";
    mOmx->refuse("emptyBuffer");
    EXPECT_EQ(decode(), -1);
    mDecoder->mUserData->pendingOutputs = -1;
    EXPECT_EQ(decode(), -1) << "the send before had failed";
    mDecoder->mUserData->pendingOutputs = 1;
    EXPECT_EQ(decode(), -1) << "what is sent meanwhile does not count";
    EXPECT_EQ(decode(), 0);
}

TEST_F(VideoDecoderTest, BadPacketsAreRefusedAndTheSessionGoesOn) {
    ASSERT_EQ(open(), 1);
    EXPECT_EQ(mDecoder->decode(nullptr, 1), -1);
    EXPECT_EQ(decode(4097), -1);
    uint8_t byte = 0;
    EXPECT_EQ(mDecoder->decode(&byte, -1), -1);
    EXPECT_EQ(decode(1), 0);
    EXPECT_EQ(decode(0), 0);
    EXPECT_EQ(mDecoder->IsOpen(), 1);
}

TEST_F(VideoDecoderTest, BusyComponentIsPolledTenTimes) {
    ASSERT_EQ(open(), 1);
    mOmx->setEmptyAnswer(Answer::kNever);
    ASSERT_EQ(decode(), 0);
    mClock.forget();
    EXPECT_EQ(decode(), 0);
    EXPECT_EQ(mClock.sleepsOf(30000), 11) << "ten looks and the pace";
}

TEST_F(VideoDecoderTest, CloseSendsTheEndAndOpenStartsAgain) {
    answerWith(DecodedPicture{70, 48}.padded(6));
    ASSERT_EQ(open(), 1);
    ASSERT_EQ(decode(), 0);
    ASSERT_TRUE(pictureCountIs(1));
    mDecoder->close(false);
    EXPECT_EQ(mOmx->inputs().back().flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_EOS));
    EXPECT_EQ(mOmx->liveNodes(), 0);
    EXPECT_EQ(mDecoder->IsOpen(), 0);
    EXPECT_NE(gConverterForDecoder, nullptr) << "kept";
    mDecoder->close(false);
    EXPECT_EQ(loggedCount("omxMpegVideoDecoder::close : end"), 1);
    // Without a packet the stream is abandoned; the first picture's size stays the only one.
    setIdentification(nullptr, nullptr);
    ASSERT_EQ(mDecoder->open(64, 32), 1) << "the name is kept";
    const auto pictures = deliveredPictures().size();
    answerWith(DecodedPicture{64, 32}.padded(0));
    EXPECT_EQ(decode(), 0);
    EXPECT_TRUE(eventually([] { return loggedCount("GetDecodedData3 : ") == 1; }));
    EXPECT_EQ(deliveredPictures().size(), pictures);
    mDecoder->close(true);
    ASSERT_EQ(mDecoder->open(70, 48), 1);
    mOmx->forgetCalls();
    mDecoder->close(false);
    EXPECT_TRUE(logged(4, "omxMpegVideoDecoder::omx_send_final_data (m_omxTimeStampLfile == 0)"));
    EXPECT_EQ(mOmx->callCount("sendCommand"), 0);
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

// Pictures and changes of size are still on their way whenever the decoder goes.
TEST_F(VideoDecoderTest, RapidCycles) {
    answerWith(DecodedPicture{70, 48}.padded(6));
    for (int i = 0; i < 16; i++) {
        ASSERT_EQ(open(), 1);
        for (int packet = 0; packet < i % 4; packet++) {
            ASSERT_EQ(decode(), 0);
        }
        if (i % 3 == 1) {
            mOmx->sendEvent(OMX_EventPortSettingsChanged, 1, 0);
        }
        if (i % 2 == 0) {
            mDecoder->close(i % 4 == 0);
        }
        mDecoder.reset();
        expectNothingLeft();
    }
}

TEST_F(VideoDecoderTest, EveryCallRefusedOnce) {
    for (const char* buildId : {"8974", "8960"}) {
        useChip(buildId, nullptr, kQcomName);
        mOmx->setEmptyAnswer(Answer::kLater);
        const bool tiled = buildId[2] == '6';
        answerWith(tiled ? std::vector<uint8_t>(TiledFrameSize(70, 48)) : DecodedPicture{70, 48}.padded(6));
        const auto session = [this](bool change) {
            const int opened = open();
            const bool changed = !change || changeSize(70, 48);
            int decoded = 0;
            for (int i = 0; i < 3; i++) {
                decoded += decode();
            }
            mDecoder->close(false);
            mDecoder.reset();
            return opened == 1 && decoded == 0 && changed;
        };
        ASSERT_TRUE(session(true));
        mOmx->forgetCalls();
        ASSERT_TRUE(session(false));
        const int calls = mOmx->callCount("");
        ASSERT_GT(calls, 20);
        for (int n = 1; n <= calls; n++) {
            mOmx->refuseCall(n);
            session(false);
            expectNothingLeft();
            mOmx->refuseCall(0);
        }
        EXPECT_TRUE(session(true)) << "the next open works";
    }
}

}  // namespace
