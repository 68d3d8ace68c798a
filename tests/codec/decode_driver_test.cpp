// Proves how packets get into a decoder component and what comes of it when the component misbehaves, and
// how a stream is cut into units. Would catch swapped port sizes, a wait that never ends, a packet lost
// or sent twice, a component left behind by a failed start, and a unit cut at the wrong byte.
#include "codec/decode_driver.h"

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <future>
#include <random>
#include <thread>

#include "codec/decode_output.h"
#include "codec/h264_stream.h"
#include "codec/input_semaphore.h"
#include "omx/decoder_params.h"
#include "tests/support/fake_clock.h"
#include "tests/support/serve_omx.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/log_capture.h"
#include "tests/support/omx_proxy.h"

using namespace zem::test;

namespace {

constexpr char kQcomName[] = "OMX.qcom.video.decoder.avc";
constexpr char kSecName[] = "OMX.SEC.avc.dec";
constexpr auto kSoon = std::chrono::seconds(60);

class DecodeDriver : public testing::Test {
  protected:
    DecodeDriver() {
        serveOmx(mOmx);
        forgetLog();
    }
    ~DecodeDriver() override {
        mOmx->setStateAnswer(Answer::kLater);
        omxt_decode_deinit(mHandle, true);
        EXPECT_EQ(mOmx->liveNodes(), 0);
        EXPECT_EQ(mOmx->liveBuffers(), 0);
    }
    int init(const char* name = kQcomName) {
        return omxt_decode_init(&mHandle, nullptr, 0, &mRecord, GetDecodedData3, name, 0x2002, 64, 48);
    }
    int send(int size = 10) {
        const std::vector<unsigned char> packet(static_cast<size_t>(std::max(size, 0)), 'p');
        return SendDataToDecoder2(mHandle, packet.data(), size, &mConsumed, &mTimestamp);
    }
    // Takes both input buffers away, as a component that stopped working does.
    void exhaust() {
        mOmx->setEmptyAnswer(Answer::kNever);
        ASSERT_EQ(send(), 0);
        ASSERT_EQ(send(), 0);
        zem::videoInputSemaphore().release();  // as a first user it drains what is left
        zem::videoInputSemaphore().acquire();
        forgetLog();
    }
    // The call's result on a thread of its own, after `wake` was called when it had begun to wait.
    int blockedUntil(const std::function<int()>& call, const std::function<void()>& wake) {
        mClock.forget();
        auto result = std::async(std::launch::async, call);
        while (mClock.waits().size() < 3) {  // it waits on and on
            std::this_thread::yield();
        }
        EXPECT_EQ(result.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
        wake();
        if (result.wait_for(kSoon) != std::future_status::ready) {
            abort();  // the thread cannot be joined
        }
        return result.get();
    }

    FakeClock mClock;
    const android::sp<FakeOmx> mOmx = new FakeOmx({kQcomName, kSecName});
    codecUserData mRecord;
    void* mHandle = nullptr;
    int mConsumed = 0;
    int mTimestamp = 0;
};

TEST_F(DecodeDriver, InputPortIsSetUpAsTheComponentReadsIt) {
    struct Case {
        const char* name;
        int width, height;
        OMX_U32 setWidth, setHeight, bufferSize;
    };
    for (const Case& c :
         {Case{kQcomName, 1280, 720, 1280, 720, 4096}, Case{kQcomName, 0, 720, 500, 1000, 4096},
          Case{kSecName, 1280, 720, 720, 1280, 1024000}, Case{kSecName, 9, 0, 1000, 500, 1024000}}) {
        mOmx->setBuffers(0, 2, 4096);
        decoderParams params{0x2002, c.name};
        int result = -1;
        void* const handle = decoder_create(&result, c.width, c.height, &params);
        ASSERT_NE(handle, nullptr);
        EXPECT_EQ(result, 0);
        const auto port = mOmx->parameter<OMX_PARAM_PORTDEFINITIONTYPE>(OMX_IndexParamPortDefinition, 0);
        EXPECT_EQ(port.format.video.nFrameWidth, c.setWidth);
        EXPECT_EQ(port.format.video.nFrameHeight, c.setHeight);
        EXPECT_EQ(port.format.video.xFramerate, 24U << 16);
        EXPECT_EQ(port.nBufferSize, c.bufferSize);
        EXPECT_TRUE(logged(4, "omx decoder create: codec:" + std::string(c.name) + ", w:" +
                                  std::to_string(c.setWidth) + ", h:" + std::to_string(c.setHeight)));
        EXPECT_EQ(omx_decoder_set_input_packing_format(handle, 2), 0);
        EXPECT_EQ(omx_decoder_set_input_compression_format(handle, 0), 0);
        omx_interface_destroy(handle);
    }
    EXPECT_EQ(omx_decoder_set_input_packing_format(nullptr, 2), 2);
    EXPECT_EQ(omx_decoder_set_input_compression_format(nullptr, 0), 2);
}

TEST_F(DecodeDriver, FailedStartsLeaveNothing) {
    struct Case {
        const char* call;
        int n;
        const char* text;
    };
    const Case cases[] = {
        {"allocateNode", 1, "creating decoder: 4 (Could not Allocate OpenMax Component)"},
        {"setParameter", 1, "creating decoder: 30 (Error: Could not setup decoder picture order)"},
        {"getParameter", 1, "creating decoder1: 13 (Could not get port definition)"},
        {"setParameter", 2, "creating decoder1: 14 (Could not set port definition)"},
        {"useBuffer", 2, "BUFFERS ALLOCATION FAILED"},
        {"fillBuffer", 2, "fillBuffer failed"}};
    for (const Case& c : cases) {
        mHandle = this;  // must be overwritten
        mOmx->refuse(c.call, c.n);
        EXPECT_EQ(init(), 0) << c.text;
        EXPECT_EQ(mHandle, nullptr);
        EXPECT_EQ(loggedCount(c.text), 1) << c.text;
        EXPECT_EQ(mOmx->liveNodes(), 0);
    }
    EXPECT_EQ(init(), 1);
}

TEST_F(DecodeDriver, PacketsGoWholeWithOneTime) {
    mOmx->setBuffers(0, 2, 4096);
    ASSERT_EQ(init(), 1);
    const int sizes[] = {0, 1, 4096};
    for (const int size : sizes) {
        EXPECT_EQ(send(size), 0);
        mOmx->waitDelivered();
        EXPECT_EQ(mConsumed, size);
        EXPECT_EQ(mTimestamp, 100000);
        EXPECT_EQ(mOmx->inputs().back().bytes.size(), static_cast<size_t>(size));
        EXPECT_EQ(mOmx->inputs().back().timestamp, 100000);
    }
    EXPECT_EQ(send(4097), -2) << "waiting would not help";
    EXPECT_EQ(send(-1), -2);
    EXPECT_EQ(SendDataToDecoder2(mHandle, nullptr, 5, &mConsumed, &mTimestamp), -2);
    mOmx->refuse("emptyBuffer");
    EXPECT_EQ(send(), -2);
    EXPECT_EQ(send(), 0) << "the refused buffer is free again";
    EXPECT_EQ(SendDataToDecoder2(nullptr, nullptr, 0, &mConsumed, &mTimestamp), -1);
    EXPECT_TRUE(logged(6, "SendDataToDecoder2 : omx_interface_error 2"));
}

TEST_F(DecodeDriver, WaitsWithoutLimitForABufferAndLosesThePacket) {
    ASSERT_EQ(init(), 1);
    exhaust();
    const auto held = mOmx->heldBuffers(0);
    EXPECT_EQ(blockedUntil([this] { return send(); }, [&] { mOmx->sendEmptied(held[0]); }), -1);
    EXPECT_TRUE(logged(6, "Error: SendDataToDecoder2(mo.k) : return -1"));
    EXPECT_EQ(mOmx->inputs().size(), 2U);
    EXPECT_EQ(send(), 0);
}

TEST_F(DecodeDriver, WaitEndsOnErrorAndOnTheRequestToClose) {
    ASSERT_EQ(init(), 1);
    exhaust();
    EXPECT_EQ(blockedUntil([this] { return send(); }, [this] { mRecord.closeRequested = true; }), -1)
        << "even when another codec takes the post";
    mRecord.closeRequested = false;
    EXPECT_EQ(blockedUntil([this] { return send(); }, [this] { mOmx->sendEvent(OMX_EventError, 1, 0); }), -1);
    EXPECT_TRUE(logged(6, "SendDataToDecoder2 : omx_interface_error 27"));
}

TEST_F(DecodeDriver, EndOfStream) {
    ASSERT_EQ(init(), 1);
    EXPECT_EQ(omxt_decode_send_end(mHandle, 7), 0);
    EXPECT_EQ(mOmx->inputs().back().flags, static_cast<OMX_U32>(OMX_BUFFERFLAG_EOS));
    EXPECT_EQ(mOmx->inputs().back().timestamp, 7);
    EXPECT_EQ(send(), 0) << "dropped";
    EXPECT_EQ(mOmx->inputs().size(), 1U);
    EXPECT_EQ(omxt_decode_send_end(nullptr, 7), 2);
    EXPECT_EQ(omxt_decode_deinit(mHandle, false), 0);
    EXPECT_EQ(omxt_decode_deinit(mHandle = nullptr, false), 2);
}

TEST_F(DecodeDriver, EndOfStreamGivesUp) {
    ASSERT_EQ(init(), 1);
    mOmx->refuse("emptyBuffer");
    EXPECT_EQ(omxt_decode_send_end(mHandle, 7), -2);
    exhaust();
    for (int i = 0; i < 50; i++) {
        zem::videoInputSemaphore().post();  // another codec's do not lengthen it
    }
    EXPECT_EQ(omxt_decode_send_end(mHandle, 7), 32);
    EXPECT_EQ(loggedCount("keeps its input buffers"), 1);
    mOmx->sendEvent(OMX_EventError, 1, 0);
    while (omx_interface_error(mHandle) == 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(omxt_decode_send_end(mHandle, 7), 27);
}

// --- Streams.

using Bytes = std::vector<unsigned char>;

Bytes unitOf(size_t payload, unsigned char value = 0x65) {
    Bytes unit{0, 0, 0, 1};
    unit.insert(unit.end(), payload, value);
    return unit;
}

void append(Bytes& stream, const Bytes& unit) {
    stream.insert(stream.end(), unit.begin(), unit.end());
}

TEST(H264Stream, UnitsEndAtStartCodesWhereverTheyAre) {
    for (size_t offset = 1; offset < 40; offset++) {
        Bytes stream(offset, 0x7F);
        append(stream, {0, 0, 0, 1, 9});
        GuardedBuffer out(stream.size());
        int pos = 0, found = 100, timestamp = INT_MAX;
        const int length = static_cast<int>(offset);
        EXPECT_EQ(readBufferFromH264InputFile3(stream.data(), length + 5, &pos, &found, out.data(),
                                               length + 5, &timestamp),
                  length);
        EXPECT_EQ(pos, length);
        EXPECT_EQ(found, 100 + length);
        EXPECT_EQ(timestamp, INT_MIN + 99999);
        EXPECT_EQ(readBufferFromH264InputFile3(stream.data(), length + 5, &pos, &found, out.data(), 100,
                                               &timestamp),
                  0)
            << "the start code that a unit begins with does not end it";
        EXPECT_EQ(pos, length + 5);
        EXPECT_TRUE(logged(6, "QCOMOMXINTERFACE - Failed to read frame or it might be EOF\n \n"));
    }
}

TEST(H264Stream, OutputIsNeverOverrun) {
    struct Case {
        Bytes stream;
        int outSize, length, found, pos;
    };
    const Case cases[] = {{{1, 2, 3, 4, 5, 6}, 4, 3, 0, 3},
                          {{0, 0, 0, 1, 5, 6}, 5, 4, 1, 4},
                          {{1, 5}, 2, 1, 0, 1},
                          {{1, 5}, 1, 0, 0, 0},
                          {{1, 5}, 0, 0, 0, 0},
                          {{1, 5}, -7, 0, 0, 0},
                          {{9, 0, 0, 0, 1}, 6, 1, 8, 1},
                          {{9, 0, 0, 0, 1}, 5, 4, 0, 4}};
    for (const Case& c : cases) {
        GuardedBuffer stream(c.stream);
        GuardedBuffer out(static_cast<size_t>(std::max(c.outSize, 0)));
        int pos = 0, found = 7, timestamp = 0;
        EXPECT_EQ(readBufferFromH264InputFile3(stream.data(), static_cast<int>(c.stream.size()), &pos, &found,
                                               out.data(), c.outSize, &timestamp),
                  c.length);
        EXPECT_EQ(found, c.found);
        EXPECT_EQ(pos, c.pos);
        EXPECT_TRUE(out.untouchedBefore());
    }
    for (int pos : {-1, 5, INT_MAX}) {
        int found = 0, timestamp = 0;
        unsigned char out[9];
        EXPECT_EQ(readBufferFromH264InputFile3(out, 5, &pos, &found, out, 9, &timestamp), 0);
    }
}

class H264ToDecoder : public DecodeDriver {
  protected:
    H264ToDecoder() { mOmx->setBuffers(0, 2, 250000); }
    Bytes received() const {
        Bytes all;
        for (const SentInput& input : mOmx->inputs()) {
            append(all, {input.bytes.begin(), input.bytes.end()});
        }
        return all;
    }
};

TEST_F(H264ToDecoder, UnitsGoOneByOneAndTheOpenOneStays) {
    ASSERT_EQ(init(), 1);
    Bytes stream;
    const size_t payloads[] = {10, 1, 300, 5};
    for (const size_t payload : payloads) {
        append(stream, unitOf(payload));
    }
    int timestamp = 1000;
    EXPECT_EQ(
        SendDataToDecoder(mHandle, stream.data(), static_cast<int>(stream.size()), &mConsumed, &timestamp),
        0);
    ASSERT_EQ(mOmx->inputs().size(), 3U);
    for (size_t i = 0; i < 3; i++) {
        EXPECT_EQ(mOmx->inputs()[i].bytes.size(), payloads[i] + 4);
        EXPECT_EQ(mOmx->inputs()[i].timestamp, 1000 + 100000 * static_cast<int>(i + 1));
    }
    EXPECT_EQ(mConsumed, static_cast<int>(stream.size()) - 9);
    EXPECT_EQ(SendDataToDecoder(mHandle, nullptr, 5, &mConsumed, &timestamp), 0);
}

TEST_F(H264ToDecoder, WholeStreamArrivesByteForByte) {
    ASSERT_EQ(init(), 1);
    Bytes stream;
    std::minstd_rand random(3);
    for (int i = 0; i < 60; i++) {
        append(stream, unitOf(random() % 2000 + 1, static_cast<unsigned char>(random() % 2 + 1)));
    }
    append(stream, unitOf(205000));  // goes in pieces
    append(stream, unitOf(5));
    int timestamp = 0;
    EXPECT_EQ(omxt_decode_loop(mHandle, stream.data(), static_cast<int>(stream.size()), &timestamp), 0);
    EXPECT_TRUE(received() == stream);
    EXPECT_EQ(mOmx->inputs().size(), 63U);
    EXPECT_EQ(timestamp, 63 * 100000);
    EXPECT_EQ(mOmx->inputs()[60].bytes.size(), 200000U);
}

TEST_F(H264ToDecoder, RandomStreamsArriveToo) {
    ASSERT_EQ(init(), 1);
    std::minstd_rand random(4);
    for (int round = 0; round < 10; round++) {
        const size_t before = received().size();
        Bytes stream(random() % 9000);
        std::generate(stream.begin(), stream.end(), [&] { return random() % 5 == 0 ? 1 : 0; });
        int timestamp = 0;
        EXPECT_EQ(omxt_decode_loop(mHandle, stream.data(), static_cast<int>(stream.size()), &timestamp), 0);
        const Bytes all = received();
        EXPECT_TRUE(Bytes(all.begin() + static_cast<long>(before), all.end()) == stream) << round;
    }
}

TEST_F(H264ToDecoder, WaitsForEachUnitAndStopsOnError) {
    ASSERT_EQ(init(), 1);
    exhaust();
    Bytes stream = unitOf(3);
    append(stream, unitOf(4));
    int timestamp = 0;
    const auto loop = [&] {
        return omxt_decode_loop(mHandle, stream.data(), static_cast<int>(stream.size()), &timestamp);
    };
    const auto held = mOmx->heldBuffers(0);
    EXPECT_EQ(blockedUntil(loop,
                           [&] {
                               mOmx->setEmptyAnswer(Answer::kLater);
                               mOmx->sendEmptied(held[0]);
                               mOmx->sendEmptied(held[1]);
                           }),
              0);
    EXPECT_EQ(mOmx->inputs().size(), 4U) << "no unit was lost";
    mOmx->waitDelivered();
    exhaust();
    EXPECT_EQ(blockedUntil(loop, [this] { mRecord.closeRequested = true; }), -1);
    mRecord.closeRequested = false;
    EXPECT_EQ(blockedUntil(loop, [this] { mOmx->sendEvent(OMX_EventError, 1, 0); }), 27);
    EXPECT_EQ(mOmx->inputs().size(), 6U);
}

}  // namespace
