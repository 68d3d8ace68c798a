// The library behind FakeHook. Built once for each entry point that it can lack (LACKS_name).
#include <unistd.h>

#include <cmath>
#include <thread>

#include "tests/support/fake_hook.h"

zem::test::FakeHookState fakeHookState;

namespace {

constexpr int32_t kHook = 0x7fffffff;
constexpr double kToneRadians = 2 * M_PI * 440;

struct TonePlayer {
    ~TonePlayer() { stop(); }
    void start() {
        stop();
        stopped = false;
        thread = std::thread([this] { play(); });
    }
    void stop() {
        stopped = true;
        if (thread.joinable() && thread.get_id() != std::this_thread::get_id()) {
            thread.join();
        }
    }
    void play() {
        int16_t block[2048];
        for (int frame = 0; !stopped;) {
            for (int i = 0; i < 2048; i += 2, ++frame) {
                const double sine = sin(kToneRadians * frame / fakeHookState.sampleRate);
                block[i] = block[i + 1] = static_cast<int16_t>(10000 * sine);
            }
            fakeHookState.sendBlock(block, sizeof block);
            usleep(static_cast<useconds_t>(1024 * 1000000LL / fakeHookState.sampleRate));
        }
    }

    std::atomic<bool> stopped{true};
    std::thread thread;
} gTone;

}  // namespace

extern "C" {

#ifndef LACKS_getAudioHookMixerOutput
int32_t getAudioHookMixerOutput() {
    return 3;
}
#endif

#ifndef LACKS_getAudioHookBufferSize
int32_t getAudioHookBufferSize(int32_t output) {
    return output == 3 ? fakeHookState.blockSize.load() : -1;
}
#endif

#ifndef LACKS_optional
int32_t getAudioHookSampleRate(int32_t output) {
    return output == 3 ? fakeHookState.sampleRate.load() : -1;
}

int32_t getAudioHookOutputFormat(int32_t output) {
    return output == 3 ? fakeHookState.outputFormat.load() : -1;
}
#endif

#ifndef LACKS_startAudioHook
int32_t startAudioHook(int32_t bufferSize, int32_t flags, funcAudioHookCallback callback, void* user) {
    if (fakeHookState.refuses || bufferSize != fakeHookState.blockSize || flags != 0) {
        return 0;
    }
    fakeHookState.callback = callback;
    fakeHookState.user = user;
    ++fakeHookState.starts;
    for (int i = 0; i < fakeHookState.early; ++i) {
        fakeHookState.sendBlock(&i, sizeof i);
    }
    if (fakeHookState.tone) {
        gTone.start();
    }
    return kHook;
}
#endif

#ifndef LACKS_stopAudioHook
void stopAudioHook(int32_t hook) {
    if (hook == kHook) {
        ++fakeHookState.stops;
        gTone.stop();
    }
}
#endif

}  // extern "C"
