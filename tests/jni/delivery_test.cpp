// Proves the way of encoded units into Java's pool, from a thread that Java does not know: every byte, no
// reference or attachment left, and nothing but a log line whatever the pool answers. Catches a call
// through another thread's environment, a buffer overrun by one byte, an exception left pending.
#include <gmock/gmock.h>

#include <thread>

#include "context/hand_off.h"
#include "context/kiv_context.h"
#include "tests/jni/bridge.h"

namespace zem::test {
namespace {

class Delivery : public Bridge {
  protected:
    void makeSink() { call<void>(kVideoTx, "setVideoEncoderEnv", mPool); }
    /// As an output thread does it.
    static void deliver(int size, uint8_t value = 9) {
        std::thread([=] {
            std::vector<uint8_t> unit(static_cast<size_t>(std::max(size, 0)), value);
            EXPECT_EQ(copyBufferForEncoder(unit.data(), size), 0);
        }).join();
    }
};

TEST_F(Delivery, FillsABufferBehindTheOffset) {
    deliver(10);
    EXPECT_EQ(mVm.attaches(), 0) << "no sink, no visit to Java";
    makeSink();
    deliver(984);
    ASSERT_EQ(mPool.used().size(), 1u);
    EXPECT_EQ(mPool.used()[0].payload, std::vector<uint8_t>(984, 9));
    deliver(0);
    EXPECT_EQ(mPool.used().size(), 2u);
    deliver(985);
    EXPECT_EQ(mPool.used().size(), 2u);
    EXPECT_EQ(mPool.lentBuffers(), 1) << "a refused buffer does not come back";
    deliver(-1);
    EXPECT_EQ(mPool.used().size(), 2u);
    EXPECT_EQ(mVm.attaches(), 4);
    EXPECT_EQ(mVm.detaches(), 4);
    EXPECT_EQ(mVm.localRefs(), 0);
}

TEST_F(Delivery, LeavesAThreadAttachedThatWas) {
    makeSink();
    JNIEnv* env = mVm.env();  // this thread is Java's
    std::vector<uint8_t> unit(985);
    copyBufferForEncoder(unit.data(), 1);
    copyBufferForEncoder(unit.data(), 985);
    EXPECT_EQ(mVm.attaches() + mVm.detaches(), 0);
    EXPECT_EQ(mVm.localRefs(), 0) << "a refused buffer's too, since no detaching ends it";
    EXPECT_FALSE(env->ExceptionCheck());
    EXPECT_EQ(mPool.used().size(), 1u);
}

TEST_F(Delivery, EachPathHasItsOwnSink) {
    FakePool decoder, audioEncoder, audioDecoder;
    makeSink();
    call<void>(kVideoRx, "setVideoDecoderEnv", decoder);
    call<jboolean>(kAudioTx, "openAudioEncoder", audioEncoder, jint{5}, jint{2}, jint{44100}, jint{3});
    call<jboolean>(kAudioRx, "openAudioDecoder", audioDecoder, jint{5}, jint{2}, jint{44100}, jint{3});
    uint8_t bytes[] = {1, 2, 3, 4};
    copyBufferForEncoder(bytes, 1);
    copyBufferForDecoder(bytes, 2);
    copyBufferForAudioEncoder(bytes, 3);
    copyBufferForAudioDecoder(bytes, 4);
    EXPECT_EQ(mPool.stream().size(), 1u);
    EXPECT_EQ(decoder.stream().size(), 2u);
    EXPECT_EQ(audioEncoder.stream().size(), 3u);
    EXPECT_EQ(audioDecoder.stream().size(), 4u);
    EXPECT_EQ(mVm.globalRefs(), 4);
    closeEncoder();
    call<void>(kVideoRx, "closeVideoDecoder", decoder);
    call<void>(kAudioTx, "closeAudioEncoder", audioEncoder);
    call<void>(kAudioRx, "closeAudioDecoder", audioDecoder);
    EXPECT_EQ(mVm.globalRefs(), 0);
}

// What a pool may do wrong. All units are dropped, except where the pool took them before it failed.
TEST_F(Delivery, SurvivesEveryPool) {
    struct Case {
        const char* what;
        std::function<void(FakePool&)> spoil;
        const char* line;
    };
    const Case cases[] = {
        {"exhausted", [](FakePool& pool) { pool.exhausted = true; }, "getFreeBuffer failed"},
        {"heap buffer", [](FakePool& pool) { pool.addBuffer(1000, false); }, "getFreeBuffer failed"},
        {"shorter than the offset", [](FakePool& pool) { pool.addBuffer(15); }, "getFreeBuffer failed"},
        {"negative offset", [](FakePool& pool) { pool.offset = -1; }, "getFreeBuffer failed"},
        {"offset throws", [](FakePool& pool) { pool.throwing = "getBufferOffset", pool.offset = 0; },
         "getBufferOffset threw an exception"},
        {"free throws", [](FakePool& pool) { pool.throwing = "getFreeBuffer"; },
         "getFreeBuffer threw an exception"},
        {"used throws", [](FakePool& pool) { pool.throwing = "addUsedBuffer"; },
         "addUsedBuffer threw an exception"},
        {"no offset", [](FakePool& pool) { pool.removeMethod("getBufferOffset"), pool.offset = 0; },
         "getBufferOffset method not found"},
        {"no free", [](FakePool& pool) { pool.removeMethod("getFreeBuffer"); },
         "getFreeBuffer method not found"},
        {"no used", [](FakePool& pool) { pool.removeMethod("addUsedBuffer"); },
         "addUsedBuffer method not found"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.what);
        forgetLog();
        FakePool pool(16, 2, 1000);
        row.spoil(pool);
        call<void>(kVideoTx, "setVideoEncoderEnv", pool);
        deliver(10);
        EXPECT_EQ(loggedCount(row.line), 1);
        EXPECT_EQ(mVm.localRefs(), 0);
        EXPECT_EQ(mVm.globalRefs(), 1);
        closeEncoder();
        EXPECT_EQ(mVm.globalRefs(), 0);
    }
}

TEST_F(Delivery, DropsWithoutAnAttachmentOrAPool) {
    makeSink();
    mVm.failAttach = true;
    deliver(10);
    mVm.failAttach = false;
    EXPECT_EQ(loggedCount("no Java environment on this thread, 10 bytes dropped"), 1);
    mVm.failNewGlobalRef = true;
    makeSink();
    deliver(10);
    EXPECT_EQ(mPool.requests(), 0);
}

TEST_F(Delivery, ASinkMayEndOnAnyThread) {
    makeSink();
    std::thread([this] { KivContext::getInstance()->closeVideoEncoder(); }).join();
    EXPECT_EQ(mVm.globalRefs(), 0);
    EXPECT_EQ(mVm.attaches(), 1);
    // Let go inside a delivery, while the output thread holds it: ends there, attached.
    makeSink();
    mPool.beforeUsed = [] { KivContext::getInstance()->setSink(KivContext::Sink::Encoder, nullptr); };
    deliver(10);
    EXPECT_EQ(mVm.globalRefs(), 0);
    EXPECT_EQ(mVm.attaches(), 2);
}

// Java is meant to serialise these calls. Here it does not: sanitizers and the encoder's own counts tell.
TEST_F(Delivery, ClosingRacesWithEveryDataCall) {
    fakeEncoder().output.assign(100, 5);
    for (int round = 0; round < 30; ++round) {
        makeSink();
        KivContext* session = KivContext::getInstance();
        ASSERT_TRUE(session->openVideoInput(1, 64, 48) && session->openVideoEncoder(2, 1, 2, 3, false));
        fakeEncoder().waitsForClose = round % 2 == 1;
        std::atomic<bool> closed{false};
        std::vector<std::thread> callers;
        for (int i = 0; i < 3; ++i) {
            callers.emplace_back([&closed, session, i, round] {
                std::vector<uint8_t> bytes(12288);
                while (!closed) {
                    i == 0 ? session->captureScreen(1) : session->getVideoEncoderData(bytes.data(), 100);
                    session->getCapturedScreenData(bytes.data(), 64 * 48 * 4);
                    if (round % 5 == 4) {  // after it the screen is not captured any more
                        session->setCameraData(bytes.data(), 64 * 48 * 3 / 2);
                    }
                }
            });
        }
        if (round % 3 != 0) {
            mPool.waitForUsed(1);
        }
        if (round % 2 == 0 && round % 5 != 4) {  // where captures go on: let them meet the copies
            const int enough = fakeScreen().captures + 20;
            while (fakeScreen().captures < enough) {
                std::this_thread::yield();
            }
        }
        session->closeVideoInput();
        session->closeVideoEncoder();
        closed = true;
        for (std::thread& caller : callers) {
            caller.join();
        }
        EXPECT_EQ(fakeEncoder().living + fakeScreen().living, 0);
        EXPECT_EQ(mVm.globalRefs(), 0);
        mPool.forgetUsed();
    }
    EXPECT_EQ(fakeEncoder().overlappingCalls, 0);
    EXPECT_EQ(fakeEncoder().endedInCall, 0);
    EXPECT_EQ(fakeEncoder().endedByOutputThread, 0);
}

}  // namespace
}  // namespace zem::test
