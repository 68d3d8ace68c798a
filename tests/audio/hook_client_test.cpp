// Proves that the hook client lives with any hook library: none, half a one, one that refuses, calls too
// early or too late or with nonsense, or stops from its own call. Would catch a stop that returns while a
// callback runs or waits for itself, a block torn by the ring, and a thread that outlives its client.
#include "audio/audio_hook_client.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <future>
#include <thread>

#include "audio/audio_hook_ring.h"
#include "tests/support/fake_hook.h"
#include "tests/support/log_capture.h"

namespace {

using zem::test::FakeHook;
using zem::test::logged;

std::atomic<int> gBlocks{0};
std::atomic<int> gBytes{0};
std::atomic<int> gInside{0};
std::atomic<void*> gUser{nullptr};
std::atomic<AudioHookClient*> gStops{nullptr};  // stopped by the next callback

void hear(int /*event*/, void* user, void* info) {
    ++gInside;
    ++gBlocks;
    gBytes += static_cast<AudioHookBuffer*>(info)->readSize;
    gUser = user;
    AudioHookClient* const stops = gStops.exchange(nullptr);
    if (stops != nullptr) {
        stops->stop();
        EXPECT_EQ(stops->startUsingThread(hear), -1) << "a start within the callback";
    }
    --gInside;
}

template <typename Condition>
bool soon(Condition condition) {
    for (int i = 0; i < 10000 && !condition(); ++i) {
        usleep(1000);
    }
    return condition();
}

struct HookClient : testing::Test {
    HookClient() {
        gBlocks = gBytes = 0;
        zem::test::forgetLog();
    }
    uint8_t bytes[9000] = {1, 2, 3};
};

TEST_F(HookClient, WantsAWholeLibrary) {
    for (const std::string kind :
         {"", "getAudioHookMixerOutput", "getAudioHookBufferSize", "startAudioHook", "stopAudioHook"}) {
        SCOPED_TRACE(kind);
        zem::test::forgetLog();
        const auto hook = kind.empty() ? nullptr : std::make_unique<FakeHook>(kind);
        AudioHookClient client;
        EXPECT_FALSE(client.isAvailable());
        EXPECT_EQ(client.open(), 0);
        EXPECT_TRUE(logged(6, "audio hook client is not available"));
        EXPECT_TRUE(kind.empty() ? logged(4, "\n mAudioHookClientLib [(nil)] \n\n")
                                 : logged(6, "audio hook client : " + kind + " not found"));
        EXPECT_EQ(client.start(hear), -1);
        EXPECT_EQ(client.startUsingThread(hear), -1);
    }
    for (const bool whole : {false, true}) {
        const FakeHook hook(whole ? "full" : "optional");
        AudioHookClient client;
        EXPECT_EQ(client.open(), 1);
        EXPECT_EQ(client.sampleRate(), whole ? 44100 : 48000);
        EXPECT_EQ(client.outputFormat(), whole ? 7 : 1);
        EXPECT_EQ(client.start(hear), 0);
    }
}

TEST_F(HookClient, RefusesAStartThatCannotWork) {
    const FakeHook hook;
    AudioHookClient client;
    EXPECT_EQ(client.start(hear), -1) << "not opened";
    for (const int size : {0, -1}) {
        hook->blockSize = size;
        client.open();
        EXPECT_EQ(client.start(hear), -1);
        EXPECT_EQ(client.startUsingThread(hear), -1);
    }
    hook->blockSize = 4096;
    client.open();
    EXPECT_EQ(client.start(nullptr), -1);
    hook->refuses = true;
    EXPECT_EQ(client.start(hear), -1);
    EXPECT_EQ(client.startUsingThread(hear), -1);
    EXPECT_EQ(hook->starts, 0);
    hook->refuses = false;
    EXPECT_EQ(client.startUsingThread(nullptr), 0);
    hook->sendBlock(bytes, 4);
    EXPECT_TRUE(soon([] { return zem::test::loggedCount("mfuncAudioHookCallback is null") == 1; }));
    EXPECT_EQ(client.start(hear), 0) << "none of that stands in the way of a later start";
}

TEST_F(HookClient, StartsOverAndStops) {
    const FakeHook hook;
    {
        AudioHookClient client;
        client.stop();
        EXPECT_EQ(zem::test::loggedCount("AudioHookClient::stop()"), 2);
        client.open();
        EXPECT_EQ(client.start(hear), 0);
        hook->sendBlock(bytes, 4096);
        EXPECT_EQ(gUser, &client);
        EXPECT_EQ(client.startUsingThread(hear), 0);
        EXPECT_EQ(hook->stops, 1);
        EXPECT_EQ(client.start(hear), 0);
        EXPECT_EQ(hook->stops, 2);
        // Stopped before the client has a handle to stop with:
        hook->early = 1;
        EXPECT_EQ(client.start([](int, void* user, void*) { static_cast<AudioHookClient*>(user)->stop(); }),
                  0);
        EXPECT_EQ(hook->stops, 4);
        hook->early = 0;
        EXPECT_EQ(client.start(hear), 0);
    }
    EXPECT_EQ(hook->stops, 5);
}

TEST_F(HookClient, HandsBlocksToItsOwnThread) {
    const FakeHook library;
    AudioHookClient client;
    client.open();
    library->early = 1;
    ASSERT_EQ(client.startUsingThread(hear), 0);
    EXPECT_TRUE(soon([] { return gBytes == 4; })) << "sent before the start returned";
    library->send(1, nullptr);
    library->send(2, bytes);
    AudioHookBuffer negative{0, 8, bytes, -8};
    library->send(1, &negative);
    library->sendBlock(nullptr, 4096);
    EXPECT_EQ(zem::test::loggedCount("AudioHookClient::audioHookCallback(event="), 2);
    for (int i = 0; i < 3; ++i) {
        library->sendBlock(bytes, 4000);
    }
    EXPECT_TRUE(soon([] { return gBytes == 12004; }));
    EXPECT_EQ(gUser, nullptr);
    gStops = &client;
    library->sendBlock(bytes, 4);
    ASSERT_TRUE(soon([] { return gBytes == 12008; }));
    client.stop();
    EXPECT_EQ(gInside, 0);
    library->sendBlock(bytes, 4096);  // too late
    EXPECT_EQ(library->stops, 1);
    library->early = 0;
    EXPECT_EQ(client.startUsingThread(hear), 0);
    client.stop();
    EXPECT_EQ(gBytes, 12008);
}

TEST_F(HookClient, StopsAndStartsUnderLoad) {
    FakeHook hook;
    AudioHookClient client;
    client.open();
    std::atomic<bool> done{false};
    client.startUsingThread(hear);
    std::thread loud([&] {  // through every stop, too
        while (!done) {
            hook->sendBlock(bytes, sizeof bytes);
        }
    });
    auto cycles = std::async(std::launch::async, [&client] {
        for (int i = 0; i < 300; ++i) {
            EXPECT_EQ(client.startUsingThread(hear), 0);
            if (i % 3 != 0) {
                EXPECT_TRUE(soon([before = gBlocks.load()] { return gBlocks > before; }));
            }
            gStops = i % 2 == 0 ? &client : nullptr;
            client.stop();
            gStops = nullptr;  // not called any more
            EXPECT_EQ(gInside, 0);
        }
    });
    EXPECT_EQ(cycles.wait_for(std::chrono::seconds(90)), std::future_status::ready);
    done = true;
    loud.join();
}

constexpr int kCapacity = 0x100000;

TEST(HookRing, KeepsTheNewest) {
    const struct {
        std::vector<int> pushes;
        int kept;
    } cases[] = {{{600 << 10, 600 << 10}, 600 << 10},
                 {{100, 200}, 300},
                 {{kCapacity}, kCapacity},
                 {{8, kCapacity + 5}, kCapacity},
                 {{1, kCapacity - 1, 4}, kCapacity},
                 {{7, -1, 0}, 7},
                 {{600 << 10, 700 << 10}, 600 << 10}};
    for (const auto& test : cases) {
        AudioHookClient::AudioBuffer ring;
        std::vector<uint8_t> all;
        for (const int size : test.pushes) {
            std::vector<uint8_t> block(static_cast<size_t>(std::max(size, 0)));
            for (size_t i = 0; i < block.size(); ++i) {
                block[i] = static_cast<uint8_t>((all.size() + i) * 31 >> 3);
            }
            ring.push(block.data(), size);
            all.insert(all.end(), block.begin(), block.end());
        }
        ring.push(nullptr, 10);
        std::vector<uint8_t> popped(2 * kCapacity);
        ASSERT_EQ(ring.pop(popped.data(), 2 * kCapacity), test.kept);
        popped.resize(static_cast<size_t>(test.kept));
        EXPECT_TRUE(std::equal(popped.begin(), popped.end(), all.end() - test.kept));
        EXPECT_TRUE(ring.isEmpty());
    }
}

TEST(HookRing, NeverTearsABlock) {
    AudioHookClient::AudioBuffer ring;
    constexpr int kBlocks = 20000;
    std::atomic<int> pushed{0};
    std::thread producer([&] {
        std::vector<int32_t> block(1024);
        for (int i = 1; i <= kBlocks; ++i) {
            std::fill(block.begin(), block.end(), i);
            ring.push(reinterpret_cast<const uint8_t*>(block.data()), 4096);
            pushed = i;
        }
    });
    EXPECT_TRUE(soon([&pushed] { return pushed > 2 * kCapacity / 4096; }));
    std::vector<int32_t> block(1024);
    for (int32_t last = 0; last < kBlocks;) {
        const int size = ring.pop(reinterpret_cast<uint8_t*>(block.data()), 4096);
        ASSERT_TRUE(size == 0 || size == 4096);
        if (size != 0) {
            ASSERT_GT(block[0], last);
            ASSERT_EQ(std::count(block.begin(), block.end(), block[0]), 1024);
            last = block[0];
        }
    }
    producer.join();
}

TEST(HookClientSample, LogsWhatItIsGiven) {
    AudioHookBuffer block{0, 8, nullptr, 4};
    CallbackSample(1, nullptr, &block);
    EXPECT_TRUE(
        logged(4, "void CallbackSample(int, void*, void*) buffer = {raw:(nil), bufferSize:8, readSize:4}"));
}

}  // namespace
