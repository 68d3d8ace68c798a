// Proves how frames get into a component and what comes of it when the component misbehaves. Would catch
// a chroma plane in the wrong place, an input buffer that is lost, a wait that never ends, and a component
// left behind by a failed start.
#include "codec/encode_driver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <future>
#include <numeric>
#include <thread>
#include <vector>

#include "codec/encode_output.h"
#include "codec/input_semaphore.h"
#include "tests/support/fake_clock.h"
#include "tests/support/log_capture.h"
#include "tests/support/omx_proxy.h"
#include "tests/support/serve_omx.h"

using zem::test::Answer;
using zem::test::FakeOmx;
using zem::test::logged;

namespace {

constexpr char kName[] = "OMX.qcom.video.encoder.avc";
constexpr int kQcom = 0x2001;
constexpr int kLimitMicros = 3000000;
constexpr const char* kTimeOutText = "QCOMOMXINTERFACE - OMX TERMINATED. timeout. STOP SENDING DATA.";

class EncodeDriver : public testing::Test {
  protected:
    EncodeDriver() {
        zem::test::serveOmx(mOmx);
        zem::test::forgetLog();
        mOmx->setBuffers(0, 2, 4096);
    }
    ~EncodeDriver() override {
        mOmx->setStateAnswer(Answer::kLater);
        omxt_encode_deinit(mHandle, true, false);
        EXPECT_EQ(mOmx->liveNodes(), 0);
        EXPECT_EQ(mOmx->liveBuffers(), 0);
    }

    int init(int width, int height, const char* name = kName) {
        return omxt_encode_init(&mHandle, &mRecord, nullptr, 0, width, height, 15, 2, 100000, 0,
                                GetEncodedData2, name, kQcom);
    }
    // Sends a frame whose bytes count up.
    int send(int width, int height, int hardwareBase = kQcom, int frameRate = 15) {
        std::vector<unsigned char> frame(static_cast<size_t>(width * height + width * height / 2));
        std::iota(frame.begin(), frame.end(), static_cast<unsigned char>(0));
        return SendDataToEncoder(mHandle, frame.data(), static_cast<int>(frame.size()), &mBuffer, &mData,
                                 &mTimestamp, width, height, frameRate, &mSent, hardwareBase);
    }
    // Takes both input buffers away, as a component that stopped working does.
    void exhaust() {
        mOmx->setEmptyAnswer(Answer::kNever);
        ASSERT_EQ(send(32, 16), 0);
        ASSERT_EQ(send(32, 16), 0);
    }

    zem::test::FakeClock mClock;
    const android::sp<FakeOmx> mOmx = new FakeOmx({kName});
    codecUserData mRecord;
    void* mHandle = nullptr;
    void* mBuffer = nullptr;
    void* mData = nullptr;
    int mTimestamp = 0;
    int mSent = -1;
};

TEST_F(EncodeDriver, ChromaPlaneIsWhereTheChipLooksForIt) {
    mOmx->setBuffers(0, 2, 1400000);
    ASSERT_EQ(init(1280, 720), 1);
    struct Case {
        int width, height, base, chromaAt, sent;
    };
    for (const Case& c : {Case{1280, 720, 0x2002, 921600, 1382400}, Case{1280, 712, 0x2002, 911360, 1367040},
                          Case{1280, 721, 0x2002, 923648, 1385088}, Case{1280, 721, 0x2100, 923648, 1385088},
                          Case{1280, 721, 0x1001, 922880, 1384320}, Case{1280, 721, 0x4001, 922880, 1384320},
                          Case{3, 3, 0x2001, 2048, 2052}}) {
        mOmx->waitDelivered();
        ASSERT_EQ(send(c.width, c.height, c.base), 0);
        EXPECT_EQ(mSent, c.sent);
        const std::vector<uint8_t> bytes = mOmx->inputs().back().bytes;
        ASSERT_EQ(bytes.size(), static_cast<size_t>(c.sent));
        const int luma = c.width * c.height;
        for (int i = 0; i < luma; ++i) {
            ASSERT_EQ(bytes[static_cast<size_t>(i)], i & 255);
        }
        for (int i = 0; i < luma / 2; ++i) {
            ASSERT_EQ(bytes[static_cast<size_t>(c.chromaAt + i)], (luma + i) & 255)
                << c.height << " " << c.base;
        }
    }
}

TEST_F(EncodeDriver, TimestampsAdvanceByTheFrameAndWrap) {
    ASSERT_EQ(init(32, 16), 1);
    struct Case {
        int before, frameRate, after;
    };
    for (const Case& c : {Case{0, 15, 66666}, Case{66666, 15, 133332}, Case{5, 0, 5}, Case{5, -30, 5},
                          Case{INT_MAX, 1, INT_MIN + 999999}}) {
        mOmx->waitDelivered();
        mTimestamp = c.before;
        ASSERT_EQ(send(32, 16, kQcom, c.frameRate), 0);
        EXPECT_EQ(mTimestamp, c.after);
        EXPECT_EQ(mOmx->inputs().back().timestamp, c.after);
        EXPECT_EQ(mRecord.lastInputBuffer, mOmx->inputs().back().buffer);
    }
}

TEST_F(EncodeDriver, ComponentThatKeepsItsInputIsGivenUpAfterTheLimit) {
    zem::test::FakeClock clock(10);  // a limit well above the pauses between the posts
    ASSERT_EQ(init(32, 16), 1);
    exhaust();
    std::atomic<bool> stop{false};
    std::thread otherCodec([&stop] {  // whose posts do not lengthen the limit
        while (!stop) {
            semaphoreEmptyBufferPost(nullptr, nullptr);
            usleep(1000);
        }
    });
    EXPECT_EQ(send(32, 16), 32);
    stop = true;
    otherCodec.join();
    EXPECT_TRUE(logged(6, kTimeOutText));
    mOmx->sendEmptied(mOmx->buffers(0)[0]);
    mOmx->waitDelivered();
    EXPECT_EQ(send(32, 16), 0) << "and taken again when it comes back";
    omxt_encode_deinit(mHandle, true, false);  // the clock must outlive its threads
    mHandle = nullptr;
}

// With its post; and without, since that may wake another codec's waiter instead.
TEST_F(EncodeDriver, ReturnedBufferIsFound) {
    ASSERT_EQ(init(32, 16), 1);
    exhaust();
    for (const OmxInputCallback callback : {&semaphoreEmptyBufferPost, +[](void*, void*) { return 0; }}) {
        omx_interface_register_input_callback(mHandle, callback, nullptr);
        mClock.forget();
        auto sending = std::async(std::launch::async, [this] { return send(32, 16); });
        while (mClock.waitsOf(kLimitMicros) == 0) {
            std::this_thread::yield();
        }
        mOmx->sendEmptied(mOmx->buffers(0)[1]);
        EXPECT_EQ(sending.get(), 0);
    }
    EXPECT_EQ(zem::test::loggedCount("TERMINATED"), 0);
}

TEST_F(EncodeDriver, CloseRequestEndsTheWait) {
    ASSERT_EQ(init(32, 16), 1);
    exhaust();
    mRecord.closeRequested = true;
    EXPECT_EQ(send(32, 16), 33);
    EXPECT_EQ(zem::test::loggedCount("TERMINATED"), 0);
}

TEST_F(EncodeDriver, RefusedBuffersAreNotLost) {
    ASSERT_EQ(init(32, 16), 1);
    for (int i = 0; i < 3; ++i) {  // more often than there are buffers
        mOmx->refuse("emptyBuffer");
        EXPECT_EQ(send(32, 16), 33);
    }
    EXPECT_TRUE(logged(6, "QCOMOMXINTERFACE - ERROR SENDING BUFFER"));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(send(64, 64), 33) << "the frame is larger than the component's buffer";
    }
    EXPECT_EQ(zem::test::loggedCount("component's buffer has"), 3);
    EXPECT_EQ(send(32, 16), 0);
}

TEST_F(EncodeDriver, BadSizesSendNothing) {
    ASSERT_EQ(init(32, 16), 1);
    unsigned char frame[768] = {};
    struct Case {
        int size, width, height;
    };
    for (const Case& c :
         {Case{767, 32, 16}, Case{768, 0, 16}, Case{768, -32, -16}, Case{768, 65536, 65536}}) {
        zem::test::forgetLog();
        EXPECT_EQ(SendDataToEncoder(mHandle, frame, c.size, &mBuffer, &mData, &mTimestamp, c.width, c.height,
                                    15, &mSent, kQcom),
                  33);
        EXPECT_TRUE(logged(6, "SendDataToEncoder : Incorrect buff size"));
        EXPECT_EQ(mSent, 0);
    }
    EXPECT_TRUE(mOmx->inputs().empty());
}

TEST_F(EncodeDriver, ComponentErrorsReachTheCaller) {
    ASSERT_EQ(init(32, 16), 1);
    mOmx->sendEmptied(9999);
    mOmx->waitDelivered();
    EXPECT_EQ(send(32, 16), 24) << "sent all the same";
    EXPECT_EQ(mOmx->inputs().size(), 1u);
    mOmx->setEmptyAnswer(Answer::kNever);
    send(32, 16);
    mOmx->waitDelivered();
    send(32, 16);
    EXPECT_EQ(send(32, 16), 33) << "no buffer is left to go on with";
    EXPECT_EQ(omxt_encode_send_final_data(mHandle, mBuffer, 0), 24);
}

TEST_F(EncodeDriver, EndedInputIsNotWaitedFor) {
    ASSERT_EQ(init(32, 16), 1);
    ASSERT_EQ(omx_interface_send_end_of_input_flag(mHandle, 0), 0);
    EXPECT_EQ(send(32, 16), 33);
    EXPECT_TRUE(logged(6, "QCOMOMXINTERFACE - OMX TERMINATED.  STOP SENDING DATA"));
}

TEST_F(EncodeDriver, LoopSendsFramesInOrder) {
    ASSERT_EQ(init(2, 2), 1);
    unsigned char frames[12] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    const auto loop = [&](int size) {
        return omxt_encode_loop(mHandle, frames, size, 2, &mBuffer, &mData, &mTimestamp, 2, 2, 10);
    };
    EXPECT_EQ(loop(11), 33);
    EXPECT_TRUE(logged(6, "omxt_encode_loop : Incorrect buff size."));
    EXPECT_EQ(loop(12), 0);
    ASSERT_EQ(mOmx->inputs().size(), 2u);
    EXPECT_EQ(mOmx->inputs()[1].bytes, (std::vector<uint8_t>{6, 7, 8, 9, 10, 11})) << "chroma never aligned";
    EXPECT_EQ(mOmx->inputs()[1].timestamp, 200000);
    mOmx->waitDelivered();
    mOmx->refuse("emptyBuffer");
    EXPECT_EQ(loop(12), 33);
    EXPECT_EQ(mOmx->inputs().size(), 2u) << "ends at the first failure";
}

TEST_F(EncodeDriver, FailedStartsLeaveNothing) {
    EXPECT_EQ(init(32, 16, "OMX.not.there"), 0);
    EXPECT_EQ(mHandle, nullptr);
    EXPECT_TRUE(logged(6, "QCOMOMXINTERFACE - ERROR creating encoder: 6 (OMX Component Node Not Found.)"));
    EXPECT_TRUE(logged(4, "omx encoder create: {OMX.not.there}"));
    mOmx->refuse("sendCommand");
    EXPECT_EQ(init(32, 16), 0);
    EXPECT_EQ(mHandle, nullptr);
    EXPECT_EQ(mOmx->liveNodes(), 0);
    zem::videoInputSemaphore().postToAll();
    EXPECT_NE(zem::videoInputSemaphore().waitUntil(zem::deadlineAfterMillis(0), ""), 0)
        << "no share in the semaphore is kept";
    EXPECT_EQ(init(32, 16), 1);
    EXPECT_EQ(GetEncodeWidth(mHandle), 32);
    EXPECT_EQ(GetEncodeHeight(mHandle), 16);
}

TEST_F(EncodeDriver, DeinitInOrderAbandonedAndForced) {
    struct Case {
        bool flag, force;
        int result, stateCommands;
    };
    for (const Case& c : {Case{false, false, 0, 2}, Case{true, false, 33, 0}, Case{false, true, 32, 0}}) {
        ASSERT_EQ(init(32, 16), 1);
        mOmx->forgetCalls();
        EXPECT_EQ(omxt_encode_deinit(mHandle, c.flag, c.force), c.result);
        EXPECT_EQ(mOmx->callCount("sendCommand 0"), c.stateCommands);
        EXPECT_EQ(mOmx->liveNodes(), 0);
        mHandle = nullptr;
    }
    EXPECT_EQ(omxt_encode_deinit(nullptr, false, false), 32);
}

TEST(FlatApi, NullHandleIsNoComponent) {
    void* buffer = nullptr;
    EXPECT_EQ(omx_interface_init(nullptr), 2);
    EXPECT_EQ(omx_interface_deinit(nullptr, true), 2);
    EXPECT_EQ(omx_interface_destroy(nullptr), 0);
    EXPECT_EQ(omx_interface_register_input_callback(nullptr, nullptr, nullptr), 2);
    EXPECT_EQ(omx_interface_register_output_callback(nullptr, nullptr, nullptr), 2);
    EXPECT_EQ(omx_interface_send_input_data(nullptr, nullptr, 0, 0), 2);
    EXPECT_EQ(omx_interface_send_end_of_input_flag(nullptr, 0), 2);
    EXPECT_EQ(omx_interface_reserve_input_buffer(nullptr, &buffer, &buffer), 2);
    EXPECT_EQ(omx_interface_send_input_buffer(nullptr, nullptr, 0, 0), 2);
    EXPECT_EQ(omx_interface_send_final_buffer(nullptr, nullptr, 0), 2);
    EXPECT_EQ(omx_interface_error(nullptr), 2);
    EXPECT_FALSE(zem::inputIsPending(nullptr));
    EXPECT_EQ(GetEncodeWidth(nullptr), 0);
}

}  // namespace
