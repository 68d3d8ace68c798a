// Proves the Linux hook library against a real sound server: what plays comes as whole blocks at the pitch it
// has, nothing comes while nothing plays, and a server that is not there, goes away or is left from within
// the callback ends in order. Would catch blocks of the wrong size or format, zeros taken for sound, and a
// stop that hangs.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <vector>

#include "audio/audio_hook_buffer.h"
#include "platform/linux/audio/sound_blocks.h"
#include "tests/support/log_capture.h"
#include "tests/support/server.h"

extern "C" {
int32_t getAudioHookMixerOutput();
int32_t getAudioHookBufferSize(int32_t output);
int32_t getAudioHookSampleRate(int32_t output);
int32_t getAudioHookOutputFormat(int32_t output);
int32_t startAudioHook(int32_t bufferSize, int32_t flags, funcAudioHookCallback callback, void* user);
void stopAudioHook(int32_t hook);

// The sound library passes memory on between threads by atomics that ThreadSanitizer, for which it is not
// instrumented, does not see.
const char* __tsan_default_suppressions() {
    return "called_from_lib:libpulsecommon\n";
}
}

namespace {

using zem::test::SoundServer;

struct Ear {
    static void hear(int event, void* user, void* info) {
        auto& ear = *static_cast<Ear*>(user);
        const auto& block = *static_cast<AudioHookBuffer*>(info);
        ear.bad += event != 1 || block.readSize != 4096 || block.bufferSize != 4096 ? 1 : 0;
        const auto* const samples = static_cast<const int16_t*>(block.raw);
        for (int i = 0; i < 2048; i += 2) {
            ear.crossings += ear.last < 0 && samples[i] >= 0 ? 1 : 0;
            ear.bad += samples[i] != samples[i + 1] ? 1 : 0;
            ear.last = samples[i];
        }
        while (ear.stops && ear.hook == 0) {
            usleep(1000);
        }
        stopAudioHook(ear.stops ? ear.hook.load() : 0);
        ++ear.blocks;
    }
    bool hears(int count) const {
        for (int i = 0; i < 1000 && blocks < count; ++i) {
            usleep(10000);
        }
        return blocks >= count;
    }

    bool stops = false;  // from within each call
    std::atomic<int> blocks{0};
    std::atomic<int> bad{0};        // events or blocks that are not as they should be
    std::atomic<int> crossings{0};  // of zero, upwards, on the left
    std::atomic<int32_t> hook{0};
    int16_t last = 0;
};

constexpr const char* kTone = "module-sine sink=sys frequency=440";

TEST(SoundHook, HearsATone) {
    const SoundServer server(kTone);
    ASSERT_TRUE(server.running());
    const int32_t output = getAudioHookMixerOutput();
    EXPECT_EQ(getAudioHookBufferSize(output), 4096);
    EXPECT_EQ(getAudioHookSampleRate(output), 44100);
    EXPECT_EQ(getAudioHookOutputFormat(output), 1);
    EXPECT_EQ(startAudioHook(100, 0, Ear::hear, nullptr), 0);
    EXPECT_EQ(startAudioHook(4096, 0, nullptr, nullptr), 0);
    Ear ear;
    Ear other;
    const int32_t hook = startAudioHook(4096, 0, Ear::hear, &ear);
    const int32_t otherHook = startAudioHook(4096, 0, Ear::hear, &other);
    ASSERT_NE(hook, 0);
    ASSERT_NE(otherHook, hook);
    EXPECT_TRUE(ear.hears(86)) << "two seconds";
    stopAudioHook(hook);
    const int blocks = ear.blocks;
    EXPECT_NEAR(ear.crossings * 44100.0 / (blocks * 1024), 440, 2);
    EXPECT_EQ(ear.bad, 0);
    EXPECT_TRUE(other.hears(other.blocks + 10)) << "it goes on alone";
    EXPECT_EQ(ear.blocks, blocks);
    stopAudioHook(hook);
    stopAudioHook(otherHook);
}

TEST(SoundHook, LeavesSilenceOut) {
    const SoundServer server;
    ASSERT_TRUE(server.running());
    Ear ear;
    const int32_t hook = startAudioHook(4096, 0, Ear::hear, &ear);
    ASSERT_NE(hook, 0);
    usleep(1000000);
    EXPECT_EQ(ear.blocks, 0);
    stopAudioHook(hook);
}

TEST(SoundBlocks, KeepAPauseOf190MillisecondsAndCutALongerOneShort) {
    zem::SoundBlocks blocks;
    const std::vector<uint8_t> sound(4096, 1);
    const auto heardOf = [&blocks](const uint8_t* data, size_t size) {
        int heard = 0;
        blocks.add(data, size, [&heard](const uint8_t*) { ++heard; });
        return heard;
    };
    EXPECT_EQ(heardOf(nullptr, size_t{20} * 4096), 0) << "nothing has played yet";
    for (const size_t pause : {8, 20, 9, 7}) {
        EXPECT_EQ(heardOf(sound.data(), 4096), 1);
        EXPECT_EQ(heardOf(nullptr, pause * 4096), static_cast<int>(std::min<size_t>(pause, 8))) << pause;
    }
}

TEST(SoundHook, EndsInOrderWithoutAServer) {
    SoundServer server(kTone);
    Ear ear;
    const int32_t hook = startAudioHook(4096, 0, Ear::hear, &ear);
    ASSERT_TRUE(ear.hears(5));
    zem::test::forgetLog();
    server.stop();
    for (int i = 0; i < 500 && zem::test::loggedLines().empty(); ++i) {
        usleep(10000);
    }
    EXPECT_TRUE(zem::test::logged(6, "The sound server has gone away: the capture ends"));
    EXPECT_EQ(startAudioHook(4096, 0, Ear::hear, &ear), 0);
    EXPECT_EQ(zem::test::loggedLines().size(), 2u);
    EXPECT_EQ(zem::test::loggedCount("No sound server to capture from: "), 1);
    EXPECT_EQ(getAudioHookSampleRate(1), 48000);
    stopAudioHook(hook);
}

TEST(SoundHook, StopsAtAnyTimeFromAnywhere) {
    const SoundServer server(kTone);
    ASSERT_TRUE(server.running());
    auto cycles = std::async(std::launch::async, [] {
        for (int i = 0; i < 40; ++i) {
            Ear ear;
            ear.stops = i % 4 == 0;
            ear.hook = startAudioHook(4096, 0, Ear::hear, &ear);
            EXPECT_NE(ear.hook, 0);
            if (i % 2 == 0) {
                EXPECT_TRUE(ear.hears(1));
                usleep(100000);  // time for more blocks
            }
            stopAudioHook(ear.hook);
            EXPECT_TRUE(!ear.stops || ear.blocks == 1);
        }
    });
    EXPECT_EQ(cycles.wait_for(std::chrono::seconds(60)), std::future_status::ready);
}

}  // namespace
