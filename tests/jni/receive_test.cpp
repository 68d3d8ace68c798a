// Proves the receiving channel as Java meets it: units in, pictures in the pool, the bitmap, and closing
// against everything at once. Catches a buffer's offset ignored, a picture that misses its pool, a thread
// left attached, a lock held across Java or the decoder, a decoder that ends under a call or by its own
// thread, two decoders alive at once, a header decoded twice, a bitmap left locked.
#include <gmock/gmock.h>

#include <future>
#include <map>
#include <thread>

#include "context/kiv_context.h"
#include "tests/context/fake_decoder.h"
#include "tests/jni/bridge.h"
#include "tests/support/fake_clock.h"

namespace zem::test {
namespace {

using ::testing::ElementsAre;

using Bytes = std::vector<uint8_t>;

class ReceiveBridge : public Bridge {
  protected:
    void SetUp() override {
        Bridge::SetUp();
        mPool.beforeFree = [this] {
            while (mHeld) {
                std::this_thread::yield();
            }
        };
    }

    /// While held, no picture gets a buffer: the references of deliveries do not mix with those of calls.
    void hold(bool held) { mHeld = held; }

    void open() {
        call<void>(kVideoRx, "setVideoDecoderEnv", mPool);
        ASSERT_TRUE(call<jboolean>(kVideoRx, "openVideoDecoder", mPool, jint{2}, jint{64}, jint{48}));
    }
    jint decode(FakeByteBuffer& buffer, jint offset, jint size, jboolean flag = JNI_TRUE) {
        return callWith(&buffer, kVideoRx, "decodeVideo", offset, size, flag);
    }
    void close() { call<void>(kVideoRx, "closeVideoDecoder", mPool); }
    /// A decoder's whole life with one unit.
    void decodeOne() {
        FakeByteBuffer buffer(8);
        const int before = mVm.detaches();
        open();
        hold(true);
        EXPECT_EQ(decode(buffer, 0, 8), 0);
        hold(false);
        awaitDeliveries(before + 1);
        close();
    }
    /// Until the output threads have left Java that many times.
    void awaitDeliveries(int count) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (mVm.detaches() < count && std::chrono::steady_clock::now() < limit) {
            std::this_thread::yield();
        }
        EXPECT_EQ(mVm.detaches(), count);
    }

  private:
    std::atomic<bool> mHeld{false};
};

/// Ends the program when `work` hangs: nothing could be cleaned up behind it.
void mustEnd(const char* what, std::function<void()> work) {
    auto done = std::async(std::launch::async, std::move(work));
    if (done.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
        fprintf(stderr, "%s hangs\n", what);
        abort();
    }
}

TEST_F(ReceiveBridge, PicturesArriveOneForEachUnit) {
    fakeDecoder().picture.assign(900, 3);
    fakeDecoder().width = 30;
    fakeDecoder().height = 15;
    FakeByteBuffer buffer(8), header(3);
    buffer.bytes = {0, 1, 2, 3, 4, 5, 6, 7};
    header.bytes = {9, 8, 7};
    EXPECT_EQ(callWith(&header, kVideoRx, "setEncoderHeader", jint{2}), 2);
    open();
    hold(true);
    EXPECT_EQ(decode(buffer, 1, 7), 0);
    EXPECT_EQ(decode(buffer, 3, 5), 0);
    EXPECT_EQ(decode(buffer, 8, 0, JNI_FALSE), 0);
    EXPECT_THAT(fakeDecoder().units, ElementsAre(Bytes{9, 8}, Bytes{3, 4, 5, 6, 7}, Bytes{}));
    EXPECT_EQ(call(kVideoRx, "getDecodedVideoWidth", mPool), 30);
    EXPECT_EQ(call(kVideoRx, "getDecodedVideoHeight", mPool), 15);
    hold(false);
    awaitDeliveries(3);  // whatever the flag says
    close();
    for (const FakePool::Used& used : mPool.used()) {
        EXPECT_EQ(used.payload, Bytes(900, 3));
        EXPECT_NE(used.thread, std::this_thread::get_id());
    }
    EXPECT_EQ(mPool.used().size(), 3u);
    EXPECT_EQ(mVm.attaches(), 3) << "one for each picture";
    EXPECT_EQ(mVm.detaches(), 3);
    EXPECT_EQ(mVm.globalRefs() + mPool.lentBuffers(), 0);
    EXPECT_EQ(decode(buffer, 0, 8), -1);
}

TEST_F(ReceiveBridge, APoolThatCannotTakeAPictureLosesOnlyThat) {
    fakeDecoder().picture.assign(985, 3);  // one byte more than a buffer has behind the offset
    decodeOne();
    EXPECT_EQ(loggedCount("getFreeBuffer buffer is too small, dstsize=984, size=985"), 1);
    fakeDecoder().picture.pop_back();
    mPool.exhausted = true;
    decodeOne();
    EXPECT_EQ(loggedCount("getFreeBuffer failed"), 1);
    mPool.exhausted = false;
    decodeOne();
    EXPECT_EQ(mPool.used().size(), 1u);
    EXPECT_EQ(mVm.attaches(), mVm.detaches());
}

// The pool is busy with a picture for as long as closing takes to begin: neither may wait for the other.
TEST_F(ReceiveBridge, ClosingDoesNotHoldUpADelivery) {
    fakeDecoder().picture.assign(10, 3);
    std::promise<void> closing;
    auto begun = closing.get_future().share();
    mPool.beforeUsed = [&] {
        begun.wait();
        KivContext* const context = KivContext::getInstance();
        for (int i = 0; i < 1000; ++i) {
            context->getDecodedVideoWidth();
            context->IsDecoderOpen();
        }
    };
    open();
    uint8_t unit[8] = {};
    EXPECT_EQ(KivContext::getInstance()->decodeVideo(unit, 8, 1), 0);
    mustEnd("closing during a delivery", [&] {
        closing.set_value();
        KivContext::getInstance()->closeVideoDecoder();
    });
    EXPECT_EQ(mPool.used().size(), 1u);
    EXPECT_EQ(fakeDecoder().endedByOutputThread, 0);
}

// A component that returns no buffers holds decodeVideo; a second caller stands behind it.
TEST_F(ReceiveBridge, ClosingEndsDecodesThatWait) {
    fakeDecoder().waitsForClose = true;
    open();
    KivContext* const context = KivContext::getInstance();
    mustEnd("a waiting decode", [&] {
        uint8_t unit[4] = {};
        std::thread first([&] { context->decodeVideo(unit, 4, 1); });
        std::thread second([&] { context->decodeVideo(unit, 4, 1); });
        while (fakeDecoder().inDecode == 0) {
            std::this_thread::yield();
        }
        EXPECT_EQ(context->getDecodedVideoWidth(), 0) << "queries do not wait";
        context->closeVideoDecoder();
        first.join();
        second.join();
    });
    EXPECT_EQ(fakeDecoder().units.size(), 1u);
    EXPECT_EQ(fakeDecoder().endedWhileDecoding + fakeDecoder().living, 0);
}

// What the threads of one round do until they are told to stop.
class Racers {
  public:
    explicit Racers(int round) {
        start([this] {
            Bytes unit(30, 0);
            mContext->decodeVideo(unit.data(), 30, 1);
        });
        start([this] {
            Bytes unit(21, 0);
            mContext->decodeVideo(unit.data(), 21, 0);
            mContext->getDecodedVideoHeight();
            mContext->SetDecodedSize(mContext->GetDecodedSize());
        });
        start([this] {
            Bytes header(8, 0);
            const int number = ++mHeaders;
            memcpy(header.data(), &number, sizeof number);
            header[7] = 1;
            mContext->keepEncoderHeader(header.data(), 8);
        });
        if (round % 2 == 1) {
            start([this] {
                mContext->openVideoDecoder(2, 64, 48);
                mContext->closeVideoDecoder(mHeaders % 2 == 0);
            });
        }
    }

    void stop() {
        mStop = true;
        for (std::thread& thread : mThreads) {
            thread.join();
        }
    }

  private:
    void start(std::function<void()> step) {
        mThreads.emplace_back([this, step] {
            while (!mStop) {
                step();
            }
        });
    }

    KivContext* const mContext = KivContext::getInstance();
    std::atomic<bool> mStop{false};
    std::atomic<int> mHeaders{0};
    std::vector<std::thread> mThreads;
};

// Java is meant to serialise these calls. Here it does not: sanitizers and the decoder's own counts tell.
TEST_F(ReceiveBridge, ClosingRacesWithDecodesHeadersAndOpens) {
    FakeClock clock(1000000);
    KivContext* const context = KivContext::getInstance();
    for (int round = 0; round < 12; ++round) {
        fakeDecoder().picture.assign(100, 5);
        fakeDecoder().waitsForClose = round % 3 == 2;
        fakeDecoder().units.clear();
        mPool.forgetUsed();
        mustEnd("a round of the race", [&] {
            JNIEnv* const env = mVm.env();
            const jobject pool = mVm.local(mPool);
            Racers racers(round);
            for (int i = 0; i < 5; ++i) {
                context->setSink(KivContext::Sink::Decoder,
                                 std::make_shared<KivContext::DataCallback>(env, pool));
                context->openVideoDecoder(2, 64, 48);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                context->closeVideoDecoder();
            }
            racers.stop();
            context->closeVideoDecoder();
            env->DeleteLocalRef(pool);
        });
        std::map<Bytes, int> headers;
        for (const Bytes& unit : fakeDecoder().units) {
            EXPECT_LE(unit.size() == 8 ? ++headers[unit] : 0, 1) << "a header was decoded again";
        }
        EXPECT_EQ(fakeDecoder().living, 0);
        EXPECT_EQ(mVm.globalRefs() + mPool.lentBuffers(), 0);
    }
    EXPECT_EQ(fakeDecoder().overlappingCalls, 0);
    EXPECT_EQ(fakeDecoder().overlappingLives, 0);
    EXPECT_EQ(fakeDecoder().endedWhileDecoding, 0);
    EXPECT_EQ(fakeDecoder().endedByOutputThread, 0);
}

/// An android.graphics.Bitmap as the Linux platform has it, of 6 x 4 pixels in rows of 32 bytes.
class FakeBitmap : public FakeObject {
  public:
    explicit FakeBitmap(jint format) : FakeObject("android/graphics/Bitmap") {
        const std::pair<const char*, jint> numbers[] = {
            {"getWidth", 6}, {"getHeight", 4}, {"getRowBytes", 32}, {"nativeFormat", format}};
        for (const auto& [name, number] : numbers) {
            define(name, "()I", [value = number](const std::vector<FakeValue>&) {
                FakeValue result;
                result.number = value;
                return result;
            });
        }
        define("lockPixels", "()Ljava/nio/ByteBuffer;", [this](const std::vector<FakeValue>&) {
            FakeValue result;
            result.object = recycled ? nullptr : &pixels;
            locks += recycled ? 0 : 1;
            return result;
        });
        define("unlockPixels", "()Z", [this](const std::vector<FakeValue>&) {
            FakeValue result;
            result.number = --locks >= 0;
            return result;
        });
    }

    FakeByteBuffer pixels{4 * 32};
    bool recycled = false;
    int locks = 0;
};

TEST_F(ReceiveBridge, ABitmapIsFilledByADecoderThatCan) {
    const std::string name = "jint getDecodedBitmap(JNIEnv*, jobject, jobject): ";
    const std::string session = name + "KivContext::getInstance()->getDecodedBitmap failed..ret=-1";
    const std::string unlock = name + "AndroidBitmap_unlockPixels failed..ret=-1";
    const struct {
        const char* what;
        jint format;
        bool decoder, recycled;
        jint result;
        uint8_t lastByte;
        std::vector<std::string> errors;
    } cases[] = {
        {"a format that the decoder fills", ANDROID_BITMAP_FORMAT_RGB_565, true, false, 0, 77, {}},
        {"one that it does not", ANDROID_BITMAP_FORMAT_RGBA_8888, true, false, 0, 0, {session, unlock}},
        {"no decoder",
         ANDROID_BITMAP_FORMAT_RGB_565,
         false,
         false,
         0,
         0,
         {"int KivContext::getDecodedBitmap(AndroidBitmapInfo*, uint8_t*) : mVideoDecoder=(nil)", session,
          unlock}},
        {"no pixels",
         ANDROID_BITMAP_FORMAT_RGB_565,
         true,
         true,
         -1,
         0,
         {name + "AndroidBitmap_lockPixels failed..ret=-3"}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        FakeBitmap bitmap(row.format);
        bitmap.recycled = row.recycled;
        mVm.know(bitmap);
        if (row.decoder) {
            open();
        }
        forgetLog();
        const jobject local = mVm.local(bitmap);
        EXPECT_EQ((call<jint, jobject>(kVideoRx, "getDecodedBitmap", mPool, local)), row.result);
        mVm.env()->DeleteLocalRef(local);
        std::vector<std::string> errors;
        for (const LogLine& line : loggedLines()) {
            EXPECT_EQ(line.level, 6);
            errors.push_back(line.text);
        }
        EXPECT_EQ(errors, row.errors);
        EXPECT_EQ(bitmap.locks, 0);
        EXPECT_EQ(bitmap.pixels.bytes.back(), row.lastByte);
        close();
    }
    FakeObject other("java/lang/String");
    const jobject local = mVm.local(other);
    EXPECT_EQ((call<jint, jobject>(kVideoRx, "getDecodedBitmap", mPool, local)), -1);
    mVm.env()->DeleteLocalRef(local);
    EXPECT_TRUE(logged(6, name + "AndroidBitmap_getInfo failed..ret=-1"));
}

}  // namespace
}  // namespace zem::test
