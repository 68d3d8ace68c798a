// An audio hook library that does as a test tells it, found by the engine under the real one's name.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "audio/audio_hook_buffer.h"

namespace zem::test {

/// What the library is told and what it saw. Any thread.
struct FakeHookState {
    // Told:
    std::atomic<bool> tone{true};  // hooks play 440 Hz on a thread of the library, in real time
    std::atomic<bool> refuses{false};
    std::atomic<int32_t> blockSize{4096};    // bytes
    std::atomic<int32_t> sampleRate{44100};  // samples a second
    std::atomic<int32_t> outputFormat{7};
    std::atomic<int> early{0};  // blocks of 4 bytes sent before startAudioHook returns
    // Seen:
    std::atomic<funcAudioHookCallback> callback{nullptr};  // of the last start, also when it was stopped
    std::atomic<void*> user{nullptr};                      // of the last start
    std::atomic<int> starts{0};
    std::atomic<int> stops{0};

    /// Calls the last start's callback on this thread, as the library would.
    void send(int event, void* info) { callback.load()(event, user.load(), info); }
    void sendBlock(void* data, int32_t size) {
        AudioHookBuffer block{0, size, data, size};
        send(kAudioHookEventBuffer, &block);
    }
};

/// While this lives, whoever opens the hook library by its name gets this one. Before and after, a program
/// finds the real one if its run path leads there. Programs that cannot tell it anything (Java's) load one
/// that plays a tone from the build's folder fake-hook/full, through LD_LIBRARY_PATH.
class FakeHook {
  public:
    /// `kind`: "full"; "optional" lacks the two optional entry points; the name of an entry point: lacks
    /// that. Starts without a tone and with everything else as it was made.
    explicit FakeHook(const std::string& kind = "full");
    ~FakeHook();
    FakeHook(const FakeHook&) = delete;
    FakeHook& operator=(const FakeHook&) = delete;

    FakeHookState* operator->() const { return mState; }

  private:
    void* mLibrary;
    FakeHookState* mState;
};

}  // namespace zem::test
