// Proves how packets get into a decoder component and what comes of it when the component misbehaves, and
// how a stream is cut into units. Would catch a wait that never ends, a packet lost or sent twice, a unit
// cut at the wrong byte, and one that overruns its buffer.
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
#include "tests/support/fake_clock.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/log_capture.h"
#include "tests/support/omx_proxy.h"

using namespace zem::test;

namespace {

constexpr char kQcomName[] = "OMX.qcom.video.decoder.avc";
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
    int init() {
        return omxt_decode_init(&mHandle, nullptr, 0, &mRecord, GetDecodedData3, kQcomName, 0x2002, 64, 48);
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
    const android::sp<FakeOmx> mOmx = new FakeOmx({kQcomName});
    codecUserData mRecord;
    void* mHandle = nullptr;
    int mConsumed = 0;
    int mTimestamp = 0;
};

TEST_F(DecodeDriver, WaitsForABufferUntilSomethingEndsIt) {
    ASSERT_EQ(init(), 1);
    exhaust();
    const auto held = mOmx->heldBuffers(0);
    const auto sendOne = [this] { return send(); };
    EXPECT_EQ(blockedUntil(sendOne, [&] { mOmx->sendEmptied(held[0]); }), -1);
    EXPECT_EQ(mOmx->inputs().size(), 2U) << "the packet is lost";
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(blockedUntil(sendOne, [this] { mRecord.closeRequested = true; }), -1);
    mRecord.closeRequested = false;
    EXPECT_EQ(blockedUntil(sendOne, [this] { mOmx->sendEvent(OMX_EventError, 1, 0); }), -1);
}

TEST_F(DecodeDriver, EndOfStreamGivesUp) {
    ASSERT_EQ(init(), 1);
    mOmx->refuse("emptyBuffer");
    EXPECT_EQ(omxt_decode_send_end(mHandle, 7), -2);
    exhaust();
    mRecord.closeRequested = true;  // as whenever a decoder is closed: that is what sends the end
    for (int i = 0; i < 50; i++) {
        zem::videoInputSemaphore().post();  // another codec's do not lengthen it
    }
    EXPECT_EQ(omxt_decode_send_end(mHandle, 7), 32);
    EXPECT_EQ(loggedCount("keeps its input buffers"), 1);
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

TEST_F(DecodeDriver, WholeStreamArrivesUnitByUnit) {
    mOmx->setBuffers(0, 2, 250000);
    ASSERT_EQ(init(), 1);
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
    EXPECT_EQ(omxt_decode_loop(mHandle, stream.data(), static_cast<int>(stream.size()), &timestamp), 0);
    Bytes received;
    for (const SentInput& input : mOmx->inputs()) {
        received.insert(received.end(), input.bytes.begin(), input.bytes.end());
    }
    EXPECT_TRUE(received == stream);
    EXPECT_EQ(mOmx->inputs().size(), 63U);
    EXPECT_EQ(timestamp, 63 * 100000);
}

}  // namespace
