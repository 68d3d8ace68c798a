// One running capture of what the sound server plays.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "audio/audio_hook_buffer.h"
#include "platform/linux/audio/pulse_connection.h"
#include "platform/linux/audio/sound_blocks.h"
#include "platform/linux/omx_host/named_thread.h"

namespace zem {

class SoundCapture {
  public:
    /// Begins to call `callback` with `user` on a thread of its own, in blocks of SoundBlocks::kSize bytes of
    /// signed 16-bit stereo at `rate`, and none while nothing plays. Null after one log line when the sound
    /// server is not there or refuses. A server that goes away later ends the calls with one log line.
    static std::shared_ptr<SoundCapture> start(int32_t rate, funcAudioHookCallback callback, void* user);
    /// To be called once. No callback runs when it returns, and none will; from within the callback it
    /// returns at once, and that one is the last.
    void stop();

  private:
    SoundCapture(funcAudioHookCallback callback, void* user) : mCallback(callback), mUser(user) {}

    void run();
    bool readAll();
    void deliver(uint8_t* block);

    const funcAudioHookCallback mCallback;
    void* const mUser;
    std::atomic<bool> mStopped{false};
    std::unique_ptr<PulseConnection> mConnection;  // the thread's while that runs, but for wake()
    PulseHandle<pa_stream> mStream;                // the thread's while that runs; gone before the connection
    SoundBlocks mBlocks;                           // the thread's
    NamedThread mThread;                           // of who starts and stops
};

}  // namespace zem
