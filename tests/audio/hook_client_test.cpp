// Proves that the hook client lives with any hook library: none, half a one, one that refuses, calls too
// early or too late or with nonsense. Would catch a stop that returns while a callback runs or waits for
// itself, a block torn by the ring, and a thread that outlives its client.
#include "audio/audio_hook_client.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <future>
#include <thread>

#include "audio/audio_hook_ring.h"
#include "tests/support/fake_hook.h"
#include "tests/support/log_capture.h"
#include "tests/support/waiting.h"

namespace {

using zem::test::eventually;
using zem::test::expectEnd;
using zem::test::FakeHook;
using zem::test::logged;
using zem::test::loggedCount;

std::atomic<int> gBytes{0};
std::atomic<int> gInside{0};
std::atomic<void*> gUser{nullptr};
std::atomic<AudioHookClient*> gStops{nullptr};  // stopped by the next callback

void hear(int /*event*/, void* user, void* info) {
    ++gInside;
    gBytes += static_cast<AudioHookBuffer*>(info)->readSize;
    gUser = user;
    AudioHookClient* const stops = gStops.exchange(nullptr);
    if (stops != nullptr) {
        stops->stop();
        EXPECT_EQ(stops->startUsingThread(hear), -1) << "a start within the callback";
    }
    --gInside;
}

struct HookClient : testing::Test {
    HookClient() {
        gBytes = 0;
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
        EXPECT_EQ(client.open(), 0);
        EXPECT_TRUE(logged(6, "audio hook client is not available"));
        EXPECT_TRUE(kind.empty() ? logged(4, "\n mAudioHookClientLib [(nil)] \n\n")
                                 : logged(6, "audio hook client : " + kind + " not found"));
        EXPECT_EQ(client.start(hear) + client.startUsingThread(hear), -2);
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
    for (const int size : {0, -1, 4096}) {
        hook->blockSize = size;
        hook->refuses = size > 0;
        client.open();
        EXPECT_EQ(client.start(hear) + client.startUsingThread(hear), -2);
    }
    hook->refuses = false;
    EXPECT_EQ(client.start(nullptr), -1);
    EXPECT_EQ(hook->starts, 0);
    EXPECT_EQ(client.startUsingThread(nullptr), 0);
    hook->sendBlock(bytes, 4);
    EXPECT_TRUE(eventually([] { return loggedCount("mfuncAudioHookCallback is null") == 1; }));
    EXPECT_EQ(client.start(hear), 0) << "none of that stands in the way of a later start";
}

TEST_F(HookClient, StartsOverAndStops) {
    const FakeHook hook;
    {
        AudioHookClient client;
        client.stop();
        EXPECT_EQ(loggedCount("AudioHookClient::stop()"), 2);
        client.open();
        EXPECT_EQ(client.start(hear), 0);
        hook->sendBlock(bytes, 4096);
        EXPECT_EQ(gUser, &client);
        EXPECT_EQ(client.startUsingThread(hear), 0);
        EXPECT_EQ(hook->stops, 1);
        hook->early = 1;  // stopped before the client has a handle to stop with
        EXPECT_EQ(client.start([](int, void* user, void*) { static_cast<AudioHookClient*>(user)->stop(); }),
                  0);
        EXPECT_EQ(hook->stops, 3);
        EXPECT_EQ(client.start(CallbackSample), 0);
        EXPECT_EQ(loggedCount("void CallbackSample(int, void*, void*) buffer = {raw:"), 1);
    }
    EXPECT_EQ(hook->stops, 4);
}

TEST_F(HookClient, HandsBlocksToItsOwnThread) {
    const FakeHook hook;
    AudioHookClient client;
    client.open();
    hook->early = 1;
    ASSERT_EQ(client.startUsingThread(hear), 0);
    EXPECT_TRUE(eventually([] { return gBytes == 4; })) << "sent before the start returned";
    hook->send(1, nullptr);
    hook->send(2, bytes);
    EXPECT_EQ(loggedCount("AudioHookClient::audioHookCallback(event="), 2);
    hook->sendBlock(bytes, -8);
    hook->sendBlock(nullptr, 4096);
    for (int i = 0; i < 3; ++i) {
        hook->sendBlock(bytes, 4000);
    }
    EXPECT_TRUE(eventually([] { return gBytes == 12004; }));
    EXPECT_EQ(gUser, nullptr);
    gStops = &client;
    hook->sendBlock(bytes, 4);
    ASSERT_TRUE(eventually([] { return gBytes == 12008; }));
    client.stop();
    EXPECT_EQ(gInside, 0);
    hook->sendBlock(bytes, 4096);
    hook->early = 0;
    EXPECT_EQ(client.startUsingThread(hear), 0);
    client.stop();
    EXPECT_EQ(gBytes, 12008) << "too late, and forgotten";
}

TEST_F(HookClient, StopsAndStartsUnderLoad) {
    const FakeHook hook;
    AudioHookClient client;
    client.open();
    client.startUsingThread(hear);
    std::atomic<bool> done{false};
    std::thread loud([&] {  // through every stop, too
        while (!done) {
            hook->sendBlock(bytes, 1);
        }
    });
    auto cycles = std::async(std::launch::async, [&client] {
        for (int i = 0; i < 300; ++i) {
            gBytes = 0;
            EXPECT_EQ(client.startUsingThread(hear), 0);
            EXPECT_TRUE(i % 3 == 0 || eventually([] { return gBytes > 0; }));
            gStops = i % 2 == 0 ? &client : nullptr;
            client.stop();
            gStops = nullptr;  // not called any more
            EXPECT_EQ(gInside, 0);
        }
    });
    expectEnd(std::move(cycles));
    done = true;
    loud.join();
}

constexpr int kCapacity = 0x100000;
constexpr int kTwice = 2 * kCapacity;

TEST(HookRing, KeepsTheNewest) {
    const struct {
        int first, second, kept;
    } cases[] = {{600 << 10, 600 << 10, 600 << 10}, {100, 200, 300},           {0, kCapacity, kCapacity},
                 {8, kCapacity + 5, kCapacity},     {kCapacity, 4, kCapacity}, {7, -1, 7},
                 {600 << 10, 700 << 10, 600 << 10}};
    std::vector<uint8_t> all(kTwice);
    std::generate(all.begin(), all.end(), [i = 0u]() mutable { return static_cast<uint8_t>(i++ * 31 >> 3); });
    for (const auto& test : cases) {
        AudioHookClient::AudioBuffer ring;
        ring.push(all.data(), test.first);
        ring.push(all.data() + test.first, test.second);
        ring.push(nullptr, 10);
        std::vector<uint8_t> popped(kTwice);
        ASSERT_EQ(ring.pop(popped.data(), kTwice), test.kept);
        const int end = test.first + std::max(test.second, 0);
        EXPECT_EQ(memcmp(popped.data(), all.data() + end - test.kept, static_cast<size_t>(test.kept)), 0);
        EXPECT_EQ(ring.pop(popped.data(), 1), 0);
    }
}

TEST(HookRing, NeverTearsABlock) {
    AudioHookClient::AudioBuffer ring;
    constexpr int kBlocks = 20000;
    std::atomic<int> pushed{0};
    std::thread producer([&] {
        std::vector<int32_t> block(1024);
        while (pushed < kBlocks) {
            std::fill(block.begin(), block.end(), pushed + 1);
            ring.push(reinterpret_cast<const uint8_t*>(block.data()), 4096);
            ++pushed;
        }
    });
    EXPECT_TRUE(eventually([&pushed] { return pushed > kTwice / 4096; }));
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

}  // namespace
