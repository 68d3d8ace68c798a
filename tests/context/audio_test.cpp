// Proves the audio paths behind a hook library that does as told: what is encoded and when, how loud, where
// it goes, and that a close ends all of it in the middle of a block. Catches a gain of 32 bits, a block
// encoded after the close, a lock held across Java, a stop that waits for itself.
#include <gmock/gmock.h>
#include <unistd.h>

#include <thread>

#include "context/kiv_context.h"
#include "tests/context/stepped_clock.h"
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
    /// As the library's thread does it.
    void bring(Bytes& pcm, int event = 1) {
        AudioHookBuffer block{0, 4096, pcm.data(), static_cast<int32_t>(pcm.size())};
        std::thread([&] { mHook->send(event, &block); }).join();
    }
    static Bytes stream(const FakePool& pool) {
        Bytes all;
        for (const Bytes& one : pool.used()) {
            all.insert(all.end(), one.begin(), one.end());
        }
        return all;
    }

    FakeHook mHook;
    FakeClock mClock{1000};
    FakePool mSound{16, 8, 40000};
};

TEST_F(Audio, VolumeFollowsTheStateInPlace) {
    ASSERT_TRUE(openTx(4, mSound) && hook());
    const struct {
        int state, gain;
        int16_t in, out;
    } rows[] = {{1, 250355, 300, 18336},   {1, 250355, 536, 32761},     {1, 250355, 537, 32767},
                {1, 250355, -400, -24449}, {1, 250355, -537, -32768},   {1, 250355, 32767, 32767},
                {2, 104208, 100, 2544},    {1, 250355, -32768, -32768}, {3, 44339, 100, 1082},
                {4, 31927, -100, -780},    {5, 21723, 100, 530},        {6, 14801, 100, 361},
                {7, 10658, 100, 260},      {8, 7259, 100, 177},         {9, 4951, -1, -2},
                {10, 0, 537, 537},         {-1, 0, 537, 537},           {0, 0, -32768, -32768}};
    for (const auto& row : rows) {
        const std::string state = std::to_string(row.state);
        SCOPED_TRACE(state + ": " + std::to_string(row.in));
        session().setAudioVolumeState(row.state, 77);
        EXPECT_TRUE(logged(4, "KivContext::setAudioVolumeState: " + state + "," + state + "," +
                                  std::to_string(row.gain) + "."));
        Bytes memory(7, 0x7F);  // the block: 5 bytes at an odd address
        memcpy(&memory[1], &row.in, 2);
        memcpy(&memory[3], &row.in, 2);
        mHook->sendBlock(&memory[1], 5);
        int16_t out[2];
        memcpy(out, &memory[1], 4);
        EXPECT_THAT(out, ElementsAre(row.out, row.out));
        EXPECT_EQ(memory[5], 0x7F) << "the odd byte";
        EXPECT_EQ(fakeAac().blocks.back(), Bytes(&memory[1], &memory[6]));
    }
}

TEST_F(Audio, EncodesWhileTheHookRunsAndDeliversByTheId) {
    const std::string name = "int KivContext::encodeAudio(uint8_t*, int, int)";
    Bytes pcm(8, 1);
    const auto encode = [&](int deliver) { return session().encodeAudio(pcm.data(), 8, deliver); };
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
    EXPECT_EQ(stream(mSound), (Bytes{5, 6, 7}));
    EXPECT_FALSE(openRx(9, mSound));
    EXPECT_EQ(encode(1), 8) << "under the other direction's id";
    EXPECT_EQ(session().GetAudEncoderBuffer(), nullptr);
    fakeAac().result = -7;
    EXPECT_EQ(encode(1), -1);
    EXPECT_TRUE(openTx(3, mSound)) << "replaced while the hook runs";
    session().setSink(KivContext::Sink::AudioEncoder, nullptr);
    EXPECT_EQ(encode(0), 0);
    EXPECT_EQ(encode(1), -1);
    for (const std::string& line :
         {name + " : mAudioEncoder=(nil)", std::string("KivContext::openAudioEncoder(5) unknown id"),
          std::string("VorbisEncoder::init(0, 44100, 4) fail"),
          std::string("omxAacEncoder::init(2, 44100, 4) fail"), name + " not implemented, mAudioCodecId=9",
          std::string("mAudioEncoder->encode return -7"), name + " : mAudioEncoderCallback=null"}) {
        EXPECT_TRUE(logged(6, line)) << line;
    }
}

TEST_F(Audio, DecodesAndDeliversByTheId) {
    const std::string name = "int KivContext::decodeAudio(uint8_t*, int, int)";
    Bytes unit(8, 1);
    const auto decode = [&](int deliver) { return session().decodeAudio(unit.data(), 8, deliver); };
    EXPECT_EQ(decode(1), -1);
    EXPECT_EQ(session().getAudioSamplingRate() + session().getAudioChannelCount(), -2);
    ASSERT_TRUE(openRx(4, mSound));
    EXPECT_EQ(session().getAudioSamplingRate() + session().getAudioChannelCount(), 44102);
    fakeAac().gathers = {5, 6, 7};
    EXPECT_EQ(decode(1), 0);
    EXPECT_EQ(mSound.requests(), 0) << "no output came: nothing is taken";
    fakeAac().result = 8;
    EXPECT_EQ(decode(1), 8);
    EXPECT_EQ(stream(mSound), (Bytes{5, 6, 7}));
    EXPECT_FALSE(openTx(9, mSound));
    EXPECT_EQ(decode(1), 8);
    fakeAac().result = -7;
    EXPECT_EQ(decode(0), -1);
    ASSERT_TRUE(openRx(3, mSound));
    EXPECT_EQ(decode(1), 0);
    EXPECT_EQ(mSound.used().size(), 2u) << "a buffer goes back also when nothing came";
    session().setSink(KivContext::Sink::AudioDecoder, nullptr);
    EXPECT_EQ(decode(1), -1);
    for (const std::string& line :
         {name + " : mAudioDecoder=(nil)", name + " not implemented, mAudioCodecId=9",
          std::string("mAudioDecoder->decode return -7"), name + " : mAudioDecoderCallback=null"}) {
        EXPECT_TRUE(logged(6, line)) << line;
    }
}

TEST_F(Audio, TheCallbackTakesOnlySound) {
    ASSERT_TRUE(openTx(4, mSound) && hook());
    Bytes none, little(3), some(8);
    mHook->send(1, nullptr);
    bring(none);
    bring(little);
    bring(some, 2);
    EXPECT_TRUE(fakeAac().blocks.empty());
    EXPECT_EQ(mVm.attaches(), 0);
    EXPECT_TRUE(logged(2, "AudioHookClientCallback(cnt=0,size=3)"));
    for (int i = 0; i < 20; ++i) {
        bring(some);
    }
    EXPECT_EQ(session().hookCallbackCount(), 11);
    EXPECT_EQ(loggedCount("AudioHookClientCallback(cnt="), 11);
    EXPECT_EQ(loggedCount("AudioHookClientCallback(event="), 2);
    EXPECT_EQ(fakeAac().blocks.size(), 20u);
    EXPECT_EQ(mVm.attaches(), 20);
    mVm.failAttach = true;
    bring(some);
    mVm.failAttach = false;
    EXPECT_EQ(loggedCount("8 bytes dropped"), 1);
    fakeAac().gathers = {1};
    mSound.throwing = "addUsedBuffer";
    bring(some);
    EXPECT_EQ(fakeAac().blocks.size(), 21u);
    session().closeAudioEncoder();
    bring(some);
    EXPECT_EQ(mClock.sleepsOf(200000), 1);
}

TEST_F(Audio, TheProbeCountsTheBlocksOf700Milliseconds) {
    int blocks = 9;
    Bytes pcm(8);
    SteppedClock clock([&](size_t i) {
        for (int n = 0; clock.sleeps[i] == 700000 && n < blocks; ++n) {
            bring(pcm);
        }
    });
    const auto probe = [&] {
        clock.sleeps.clear();
        return call<jboolean>(kAudioTx, "isAdudioPlaying", mSound) != 0;
    };
    EXPECT_FALSE(probe());
    EXPECT_THAT(clock.sleeps, ElementsAre(100000, 300000, 700000, 200000, 1000000));
    blocks = 10;
    EXPECT_TRUE(probe() && !session().isAudioHookRunning());
    EXPECT_EQ(session().getAudioHookClientSampleRate() + session().getAudioHookClientOutputFormat(), 48001);
    EXPECT_TRUE(hook() && probe() && session().isAudioHookRunning()) << "one that ran goes on";
    EXPECT_EQ(session().getAudioHookClientSampleRate() + session().getAudioHookClientOutputFormat(), 88200);
    session().stopAudioHookClient();
    mHook->refuses = true;
    EXPECT_FALSE(probe() || session().startAudioHookClient());
    mHook->refuses = false;
    EXPECT_TRUE(logged(6, "AudioHookClient failed to start ") && logged(6, "AudioHookClient is not ready"));
}

// As many samples, as loud, through the real codecs.
TEST_F(Audio, VorbisComesThrough) {
    ASSERT_TRUE(openTx(3, mSound) && openRx(3, mSound) && hook());
    Bytes pcm(4096);
    for (size_t at = 0; at < 4096; at += 2) {
        pcm[at + 1] = at / 256 % 2 == 0 ? 0x20 : 0xE0;  // 8192 and -8192
    }
    for (int i = 0; i < 44; ++i) {
        bring(pcm);
    }
    Bytes pages = stream(mSound);
    mSound.forgetUsed();
    session().decodeAudio(pages.data(), static_cast<int>(pages.size()), 1);
    for (size_t last = 0; last != stream(mSound).size(); session().decodeAudio(pages.data(), 0, 1)) {
        last = stream(mSound).size();
    }
    const Bytes decoded = stream(mSound);
    ASSERT_GT(decoded.size(), 100000u);
    double sum = 0;
    for (size_t at = 20001; at < 100000; at += 2) {
        sum += std::abs(static_cast<int8_t>(decoded[at])) * 256;
    }
    EXPECT_NEAR(sum / 40000, 8192, 1000);
    FakePool tiny(0, 1, 10);
    ASSERT_TRUE(openTx(3, tiny));
    for (int i = 0; i < 20; ++i) {
        bring(pcm);
    }
    EXPECT_EQ(tiny.used().size(), 0u);
    EXPECT_EQ(tiny.lentBuffers(), 1) << "too small: does not go back";
    EXPECT_EQ(loggedCount("too small"), 0);
    session().closeAudioEncoder();
}

// The pool runs on the hook's own thread: nothing there may wait for that thread.
TEST_F(Audio, JavaMayStopOrCloseOutOfADelivery) {
    int round = 0;
    FakePool pool(0, 8, 100);
    pool.beforeUsed = [&] {
        round == 0 ? session().stopAudioHookClient() : session().closeAudioEncoder();
        EXPECT_FALSE(hook()) << "not from here";
    };
    Bytes pcm(8);
    fakeAac().gathers = {1, 2};
    for (; round < 2; ++round) {
        ASSERT_TRUE(openTx(4, pool) && hook());
        bring(pcm);
        EXPECT_EQ(mHook->stops, round + 1);
        EXPECT_EQ(fakeAac().living, 1 - round);
    }
    ASSERT_TRUE(openTx(4, pool) && hook());
    session().closeAudioEncoder();
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
            for (Bytes pcm(4096); !closed; std::this_thread::yield()) {
                session().encodeAudio(pcm.data(), 4096, 1);
                session().getAudioEncoderData(pcm.data(), 4096);
                session().decodeAudio(pcm.data(), 64, 1);
                session().setAudioVolumeState(pcm[0] % 4, 0);
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
