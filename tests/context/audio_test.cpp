// Proves the audio paths behind a hook library that does as told: what is encoded and when, how loud, where
// it goes, and that a close ends all of it in the middle of a block. Catches a gain of 32 bits, a block
// encoded after the close, a lock held across Java, a stop that waits for itself.
#include <gmock/gmock.h>
#include <unistd.h>

#include <thread>

#include "context/kiv_context.h"
#include "tests/jni/bridge.h"
#include "tests/support/fake_clock.h"
#include "tests/support/fake_hook.h"

namespace zem::test {
namespace {

using ::testing::ElementsAre;
using Bytes = std::vector<uint8_t>;

class Audio : public Bridge {
  protected:
    static KivContext& session() { return *KivContext::getInstance(); }
    jboolean openTx(jint id, FakePool& pool, jint channels = 2) {
        return call<jboolean>(kAudioTx, "openAudioEncoder", pool, id, channels, jint{44100}, jint{4});
    }
    jboolean openRx(jint id, FakePool& pool) {
        return call<jboolean>(kAudioRx, "openAudioDecoder", pool, id, jint{2}, jint{44100}, jint{4});
    }
    static bool hook() { return session().openAudioHookClient() && session().startAudioHookClient(); }
    static int encode(int deliver) { return session().encodeAudio(Bytes(8).data(), 8, deliver); }
    static int decode(int deliver) { return session().decodeAudio(Bytes(8).data(), 8, deliver); }
    /// As the library's thread does it.
    void bring(Bytes pcm, int times = 1, int event = 1) {
        AudioHookBuffer block{0, 4096, pcm.data(), static_cast<int32_t>(pcm.size())};
        for (int i = 0; i < times; ++i) {
            std::thread([&] { mHook->send(event, &block); }).join();
        }
    }
    static void expectErrors(const std::vector<std::string>& lines) {
        for (const std::string& line : lines) {
            EXPECT_TRUE(logged(6, line)) << line;
        }
    }
    static int rateAndFormat() {
        return session().getAudioHookClientSampleRate() + session().getAudioHookClientOutputFormat();
    }

    FakeHook mHook;
    FakeClock mClock{1000};
    FakePool mSound{16, 8, 40000};
};

TEST_F(Audio, VolumeFollowsTheStateInPlace) {
    ASSERT_TRUE(openTx(4, mSound) && hook());
    const int gains[] = {0, 250355, 104208, 44339, 31927, 21723, 14801, 10658, 7259, 4951, 0};
    const int16_t loud[] = {300, 536, 537, -400, -537, 32767, -32768};
    for (int state = 10; state >= 0; --state) {
        const std::string text = std::to_string(state);
        session().setAudioVolumeState(state, 77);
        std::string said = "KivContext::setAudioVolumeState: ";
        EXPECT_TRUE(logged(4, said.append(text).append(",").append(text).append(",").append(
                                  std::to_string(gains[state]).append("."))));
        Bytes memory(18, 0x64);  // the block: 100 and an odd byte at an odd address, or 7 samples
        memory[2] = 0;
        mHook->sendBlock(&memory[1], 5);
        EXPECT_EQ(memory[1] + 256 * memory[2], state % 10 != 0 ? 100 * gains[state] >> 12 : 100) << state;
        EXPECT_EQ(memory[5], 0x64) << "the odd byte";
        EXPECT_EQ(fakeAac().blocks.back(), Bytes(&memory[1], &memory[6]));
        if (state == 1) {
            int16_t block[7];
            memcpy(block, loud, sizeof block);
            mHook->sendBlock(block, sizeof block);
            EXPECT_THAT(block, ElementsAre(18336, 32761, 32767, -24449, -32768, 32767, -32768));
        }
    }
}

TEST_F(Audio, EncodesWhileTheHookRunsAndDeliversByTheId) {
    const std::string name = "int KivContext::encodeAudio(uint8_t*, int, int)";
    EXPECT_EQ(encode(1), -1);
    EXPECT_FALSE(openTx(5, mSound) || openTx(3, mSound, 0));
    fakeAac().openResult = 0;
    EXPECT_FALSE(openTx(4, mSound) || openRx(4, mSound));
    fakeAac().openResult = 1;
    ASSERT_TRUE(openTx(4, mSound));
    const size_t lines = loggedLines().size();
    EXPECT_EQ(encode(1), -1);
    EXPECT_EQ(loggedLines().size(), lines) << "the gate is silent";
    ASSERT_TRUE(hook());
    fakeAac().gathers = {5, 6, 7};
    fakeAac().result = 8;
    EXPECT_EQ(encode(0), 8);
    EXPECT_EQ(session().GetAudEncodedSize(), 3);
    EXPECT_EQ(encode(1), 8);
    EXPECT_EQ(session().GetAudEncodedSize(), 0);
    EXPECT_THAT(mSound.used(), ElementsAre(Bytes{5, 6, 7}));
    EXPECT_FALSE(openRx(9, mSound));
    EXPECT_EQ(encode(1), 8) << "under the other direction's id";
    EXPECT_EQ(session().GetAudEncoderBuffer(), nullptr);
    fakeAac().result = -7;
    EXPECT_EQ(encode(1), -1);
    EXPECT_TRUE(openTx(3, mSound)) << "replaced while the hook runs";
    session().setSink(KivContext::Sink::AudioEncoder, nullptr);
    EXPECT_EQ(encode(0), 0);
    EXPECT_EQ(encode(1), -1);
    expectErrors({name + " : mAudioEncoder=(nil)", "KivContext::openAudioEncoder(5) unknown id",
                  "VorbisEncoder::init(0, 44100, 4) fail", "omxAacEncoder::init(2, 44100, 4) fail",
                  name + " not implemented, mAudioCodecId=9", "mAudioEncoder->encode return -7",
                  name + " : mAudioEncoderCallback=null"});
}

TEST_F(Audio, DecodesAndDeliversByTheId) {
    const std::string name = "int KivContext::decodeAudio(uint8_t*, int, int)";
    EXPECT_EQ(decode(1), -1);
    EXPECT_EQ(session().getAudioSamplingRate() + session().getAudioChannelCount(), -2);
    ASSERT_TRUE(openRx(4, mSound));
    EXPECT_EQ(session().getAudioSamplingRate() + session().getAudioChannelCount(), 44102);
    fakeAac().gathers = {5, 6, 7};
    EXPECT_EQ(decode(1), 0);
    EXPECT_EQ(mSound.requests(), 0) << "no output came: nothing is taken";
    fakeAac().result = 8;
    EXPECT_EQ(decode(1), 8);
    EXPECT_FALSE(openTx(9, mSound));
    EXPECT_EQ(decode(1), 8);
    fakeAac().result = -7;
    EXPECT_EQ(decode(0), -1);
    ASSERT_TRUE(openRx(3, mSound));
    EXPECT_EQ(decode(1), 0);
    EXPECT_THAT(mSound.used(), ElementsAre(Bytes{5, 6, 7}, Bytes{})) << "goes back also with nothing in it";
    session().setSink(KivContext::Sink::AudioDecoder, nullptr);
    EXPECT_EQ(decode(1), -1);
    expectErrors({name + " : mAudioDecoder=(nil)", name + " not implemented, mAudioCodecId=9",
                  "mAudioDecoder->decode return -7", name + " : mAudioDecoderCallback=null"});
}

TEST_F(Audio, TheCallbackTakesOnlySound) {
    ASSERT_TRUE(openTx(4, mSound) && hook());
    mHook->send(1, nullptr);
    bring({});
    bring(Bytes(3));
    bring(Bytes(8), 1, 2);
    EXPECT_EQ(fakeAac().blocks.size() + static_cast<size_t>(mVm.attaches()), 0u);
    EXPECT_TRUE(logged(2, "AudioHookClientCallback(cnt=0,size=3)"));
    bring(Bytes(8), 20);
    EXPECT_EQ(session().hookCallbackCount(), 11);
    EXPECT_EQ(loggedCount("AudioHookClientCallback(cnt="), 11);
    EXPECT_EQ(loggedCount("AudioHookClientCallback(event="), 2);
    EXPECT_EQ(fakeAac().blocks.size(), 20u);
    EXPECT_EQ(mVm.attaches(), 20);
    mVm.failAttach = true;
    bring(Bytes(8));
    mVm.failAttach = false;
    EXPECT_EQ(loggedCount("8 bytes dropped"), 1);
    EXPECT_TRUE(hook() && session().hookCallbackCount() == 0);
    session().closeAudioEncoder();
    bring(Bytes(8));
    EXPECT_EQ(fakeAac().blocks.size(), 20u);
    EXPECT_EQ(mClock.sleepsOf(200000), 2);
}

TEST_F(Audio, TheProbeCountsTheBlocksOf700Milliseconds) {
    int blocks = 9;
    mClock.onSleep = [&](size_t i) { bring(Bytes(8), mClock.sleeps()[i] == 700000 ? blocks : 0); };
    const auto probe = [&] { return call<jboolean>(kAudioTx, "isAdudioPlaying", mSound) != 0; };
    EXPECT_FALSE(probe());
    EXPECT_THAT(mClock.sleeps(), ElementsAre(100000, 300000, 700000, 200000, 1000000));
    blocks = 10;
    EXPECT_TRUE(probe() && !session().isAudioHookRunning());
    EXPECT_EQ(rateAndFormat(), 48001);
    EXPECT_TRUE(hook() && probe() && session().isAudioHookRunning()) << "one that ran goes on";
    EXPECT_EQ(rateAndFormat(), 88200);
    session().stopAudioHookClient();
    mHook->refuses = true;
    EXPECT_FALSE(probe() || session().startAudioHookClient());
    mHook->refuses = false;
    expectErrors({"AudioHookClient failed to start ", "AudioHookClient is not ready"});
    mClock.onSleep = nullptr;
}

TEST_F(Audio, PagesGoIntoBuffersThatHoldThem) {
    FakePool tiny(0, 1, 10);
    ASSERT_TRUE(openTx(3, tiny) && hook());
    bring(Bytes(4096, 1), 20);
    EXPECT_EQ(tiny.lentBuffers(), 1) << "too small: does not go back";
    EXPECT_EQ(loggedCount("too small"), 0);
    ASSERT_TRUE(openTx(3, mSound));
    bring(Bytes(4096, 1), 20);
    EXPECT_FALSE(mSound.used().empty());
    session().closeAudioEncoder();
}

// The pool runs on the hook's own thread: nothing there may wait for that thread, or unload the library.
TEST_F(Audio, JavaMayCallOutOfADelivery) {
    int round = 0;
    FakePool pool(0, 8, 100);
    pool.beforeUsed = [&] {
        session().getAudioEncoderData(nullptr, 0);  // no lock is held
        session().getAudioDecoderData(nullptr, 0);
        if (round == 2) {
            return session().closeAudioDecoder();
        }
        round == 0 ? session().stopAudioHookClient() : session().closeAudioEncoder();
        EXPECT_FALSE(session().openAudioHookClient() || session().startAudioHookClient());
        EXPECT_EQ(session().getAudioHookClientSampleRate(), 44100) << "the client is still there";
    };
    fakeAac().gathers = {1, 2};
    fakeAac().result = 8;
    for (; round < 2; ++round) {
        ASSERT_TRUE(openTx(4, pool) && hook());
        bring(Bytes(8));
        EXPECT_EQ(mHook->stops, round + 1);
        EXPECT_EQ(fakeAac().living, 1 - round);
    }
    ASSERT_TRUE(openRx(4, pool));
    EXPECT_EQ(decode(1), 8);
    EXPECT_EQ(pool.used().size(), 3u);
    std::atomic<int> inside{0};
    mSound.beforeUsed = [&] {
        for (++inside; inside < 2;) {
            std::this_thread::yield();
        }
        session().stopAudioHookClient();
    };
    ASSERT_TRUE(openTx(4, mSound) && hook());
    std::thread hooked([&] { bring(Bytes(8)); });
    EXPECT_EQ(encode(1), 8) << "two at once: neither waits for the other";
    hooked.join();
    session().stopAudioHookClient();
}

// Java is meant to serialise these calls. Here it does not: sanitizers and the codecs' own counts tell.
TEST_F(Audio, ClosingUnderLoadEnds) {
    fakeAac().gathers.assign(100, 5);
    fakeAac().output.assign(50, 6);
    mHook->sampleRate = 500000000;  // blocks as fast as they are taken
    mHook->tone = true;
    for (int round = 0; round < 40; ++round) {
        mSound.forgetUsed();
        fakeAac().waitsForClose = round % 4 == 3;
        EXPECT_FALSE(openRx(0, mSound) || openTx(0, mSound)) << "makes the sinks";
        ASSERT_TRUE(session().openAudioDecoder(3, 2, 44100, 4));
        ASSERT_TRUE(session().openAudioEncoder(3 + round % 2, 2, 44100, 4) && hook());
        std::atomic<bool> closed{false};
        std::thread other([&] {
            mVm.env();
            for (int i = 0; !closed; ++i, std::this_thread::yield()) {
                encode(1);
                decode(1);
                session().getAudioEncoderData(Bytes(4096).data(), 4096);
                session().setAudioVolumeState(i % 4, 0);
            }
        });
        while (mSound.used().size() < 3) {
            usleep(100);
        }
        if (round % 3 == 1) {
            ASSERT_TRUE(session().openAudioEncoder(4 - round % 2, 2, 44100, 4));
        }
        session().closeAudioEncoder();
        const size_t calls = fakeAac().blocks.size();
        session().closeAudioDecoder();
        closed = true;
        other.join();
        EXPECT_EQ(fakeAac().blocks.size(), calls) << "encoded after the close";
        EXPECT_EQ(fakeAac().living, 0);
    }
    EXPECT_EQ(fakeAac().endedInCall + fakeAac().overlappingCalls + fakeAac().endedByOutputThread, 0);
    mHook->sampleRate = 44100;
}

}  // namespace
}  // namespace zem::test
