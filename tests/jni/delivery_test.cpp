// Proves the way of encoded units into Java's pool, from a thread that Java does not know: every byte, no
// reference or attachment left, and nothing but a log line whatever the pool answers. Catches a call
// through another thread's environment, a buffer overrun by one byte, an exception left pending.
#include <gmock/gmock.h>

#include <cstring>
#include <thread>

#include "context/hand_off.h"
#include "context/kiv_context.h"
#include "tests/jni/bridge.h"

namespace zem::test {
namespace {

using Bytes = std::vector<uint8_t>;

class Delivery : public Bridge {
  protected:
    void makeSink() { call<void>(kVideoTx, "setVideoEncoderEnv", mPool); }
    /// As an output thread does it.
    static void deliver(int size) {
        std::thread([=] {
            Bytes unit(static_cast<size_t>(std::max(size, 0)), 9);
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
    EXPECT_EQ(mPool.used()[0], Bytes(984, 9));
    deliver(0);
    EXPECT_EQ(mPool.used().size(), 2u);
    deliver(985);
    EXPECT_EQ(mPool.used().size(), 2u);
    EXPECT_EQ(mPool.lentBuffers(), 1) << "a refused buffer does not come back";
    deliver(-1);
    EXPECT_EQ(mPool.used().size(), 2u);
    deliver(7);
    EXPECT_EQ(mPool.used().size(), 3u) << "refusals end nothing";
    EXPECT_EQ(mVm.attaches(), 5);
    EXPECT_EQ(mVm.detaches(), 5);
    EXPECT_EQ(mVm.localRefs(), 0);
}

TEST_F(Delivery, LeavesAThreadAttachedThatWas) {
    makeSink();
    JNIEnv* env = mVm.env();  // this thread is Java's
    Bytes unit(985);
    copyBufferForEncoder(unit.data(), 1);
    copyBufferForEncoder(unit.data(), 985);
    EXPECT_EQ(mVm.attaches() + mVm.detaches(), 0);
    EXPECT_EQ(mVm.localRefs(), 0) << "a refused buffer's too, since no detaching ends it";
    EXPECT_FALSE(env->ExceptionCheck());
    EXPECT_EQ(mPool.used().size(), 1u);
}

TEST_F(Delivery, EachPathHasItsOwnSink) {
    FakePool pools[4];
    call<void>(kVideoTx, "setVideoEncoderEnv", pools[0]);
    call<void>(kVideoRx, "setVideoDecoderEnv", pools[1]);
    call<jboolean>(kAudioTx, "openAudioEncoder", pools[2], jint{5}, jint{2}, jint{44100}, jint{3});
    call<jboolean>(kAudioRx, "openAudioDecoder", pools[3], jint{5}, jint{2}, jint{44100}, jint{3});
    uint8_t bytes[] = {1, 2, 3, 4};
    copyBufferForEncoder(bytes, 1);
    copyBufferForDecoder(bytes, 2);
    copyBufferForAudioEncoder(bytes, 3);
    copyBufferForAudioDecoder(bytes, 4);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_THAT(pools[i].used(), testing::ElementsAre(Bytes(bytes, bytes + i + 1)));
    }
    EXPECT_EQ(mVm.globalRefs(), 4);
    closeEncoder();
    call<void>(kVideoRx, "closeVideoDecoder", mPool);
    call<void>(kAudioTx, "closeAudioEncoder", mPool);
    call<void>(kAudioRx, "closeAudioDecoder", mPool);
    EXPECT_EQ(mVm.globalRefs(), 0);
}

// What a pool may do wrong. All units are dropped, except where the pool took them before it failed.
TEST_F(Delivery, SurvivesEveryPool) {
    struct Case {
        std::function<void(FakePool&)> spoil;
        const char* line;
        bool lasts = false;  // until another sink is made
    };
    std::vector<Case> cases = {
        {[](FakePool& pool) { pool.exhausted = true; }, "getFreeBuffer failed"},
        {[](FakePool& pool) { pool.addBuffer(1000, false); }, "getFreeBuffer failed"},
        {[](FakePool& pool) { pool.addBuffer(15); }, "getFreeBuffer failed"},
        {[](FakePool& pool) { pool.offset = -1; }, "getFreeBuffer failed", true},
    };
    for (const char* method : {"getBufferOffset", "getFreeBuffer", "addUsedBuffer"}) {
        cases.push_back(
            {[method](FakePool& pool) { pool.throwing = method, pool.offset = 0; }, " threw an exception"});
        cases.push_back({[method](FakePool& pool) { pool.missing = method, pool.offset = 0; },
                         " method not found", strcmp(method, "getBufferOffset") != 0});
    }
    for (const Case& row : cases) {
        SCOPED_TRACE(&row - cases.data());
        forgetLog();
        FakePool pool(16, 2, 1000);
        row.spoil(pool);
        call<void>(kVideoTx, "setVideoEncoderEnv", pool);
        deliver(10);
        EXPECT_EQ(loggedCount(row.line), 1);
        pool.exhausted = false, pool.throwing = "", pool.addBuffer(1000);
        deliver(11);
        EXPECT_NE(!pool.used().empty() && pool.used().back() == Bytes(11, 9), row.lasts);
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

// The pool is busy with a picture for as long as closing takes to begin: neither may wait for the other.
TEST_F(Delivery, ClosingDoesNotHoldOneUp) {
    fakeDecoder().output.assign(10, 3);
    KivContext* const context = KivContext::getInstance();
    std::atomic<bool> closing{false};
    mPool.beforeUsed = [&] {
        while (!closing) {
            std::this_thread::yield();
        }
        for (int i = 0; i < 1000; ++i) {
            context->getDecodedVideoWidth();
            context->IsDecoderOpen();
        }
    };
    // Not as Java does it: a call's references would mix with the delivery's.
    call<void>(kVideoRx, "setVideoDecoderEnv", mPool);
    ASSERT_TRUE(context->openVideoDecoder(2, 64, 48));
    while (mPool.requests() == 0) {
        std::this_thread::yield();
    }
    closing = true;
    context->closeVideoDecoder();
    ASSERT_FALSE(mPool.used().empty());
    EXPECT_EQ(mPool.used()[0], Bytes(10, 3));
    EXPECT_EQ(fakeDecoder().endedByOutputThread, 0);
}

}  // namespace
}  // namespace zem::test
