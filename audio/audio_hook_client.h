// What the device is playing, block by block, from an optional library of the platform.
#pragma once

#include <pthread.h>
#include <semaphore.h>
#include <sys/types.h>

#include <atomic>
#include <cstdint>

#include "audio/audio_hook_buffer.h"
#include "audio/audio_hook_library.h"

/// One controlling thread at a time opens, starts and stops; the callback may stop, too. What the callback
/// may not do: start, or delete this client. It may take its time only in the decoupled mode: in direct mode
/// it holds up the library.
class AudioHookClient {
  public:
    using funcAudioHookCallback = ::funcAudioHookCallback;
    class AudioBuffer;  // audio_hook_ring.h

    /// Loads the library; see isAvailable().
    AudioHookClient();
    /// Stops first.
    virtual ~AudioHookClient();
    AudioHookClient(const AudioHookClient&) = delete;
    AudioHookClient& operator=(const AudioHookClient&) = delete;

    /// Reads the mixer output's parameters; comes before a start. 1, or 0 when the library is not available.
    virtual int open();
    /// Direct mode: the library's thread calls `callback` itself, with this client as the user. 0, or -1.
    virtual int start(funcAudioHookCallback callback);
    /// Decoupled mode: blocks go through a ring, and a thread of this client hands them to `callback` with a
    /// null user, at most the mixer's block size a call. 0, or -1; after that a stop() is still due.
    virtual int startUsingThread(funcAudioHookCallback callback);
    /// Returns with no callback running: in decoupled mode by this client's own doing, in direct mode as far
    /// as the library's stopAudioHook keeps its word, since there the library alone knows its calls. From
    /// within the callback it returns at once and the calling callback is the last: in decoupled mode a
    /// further stop waits for its end, in direct mode who deletes this client must know of it. May be started
    /// again.
    virtual void stop();

    /// False when there is no library, or one that lacks what is needed.
    bool isAvailable() const { return mLibrary.isLoaded(); }
    /// Samples a second, as of open(); 48000 when the library does not tell. 0 before.
    int32_t sampleRate() const { return mSampleRate; }
    /// Format code, as of open(); 1 when the library does not tell. 0 before.
    int32_t outputFormat() const { return mOutputFormat; }

    /// Puts `size` bytes into the ring and wakes the thread. Ignored once stopped.
    void pushAudioData(uint8_t* data, int size);

  private:
    static void* audioHookClientThread(void* self);
    static void audioHookCallback(int event, void* user, void* info);
    void* audioHookClientThreadProc();
    bool awaitPush();
    AudioBuffer& ring();
    bool prepare(const char* caller);
    int startHook(funcAudioHookCallback callback);
    void stopHook();
    bool isOwnThread() const;

    const zem::AudioHookLibrary mLibrary;
    std::atomic<int32_t> mOutput{0};  // the library's handle of the mixer output
    std::atomic<int32_t> mBufferSize{0};
    std::atomic<int32_t> mSampleRate{0};
    std::atomic<int32_t> mOutputFormat{0};
    std::atomic<int32_t> mHook{0};      // who exchanges it for 0 stops it
    std::atomic<bool> mStopped{false};  // apart from mHook, which is not known yet when the first blocks come
    std::atomic<int32_t> mPushing{0};   // calls inside pushAudioData; the ring goes only when there is none
    sem_t mSemaphore{};                 // counts pushes; lives as long as this: a late push meets no dead one
    pthread_t mThread{};                // controlling thread; meaningful while mHasThread
    bool mHasThread = false;            // controlling thread; started and not joined
    std::atomic<pid_t> mThreadId{0};    // the thread's own number, while it runs
    funcAudioHookCallback mfuncAudioHookCallback = nullptr;  // decoupled mode; set before the thread starts
    std::atomic<AudioBuffer*> mAudioBuffer{nullptr};         // owned; who exchanges it for null deletes it
};

/// A callback that only logs what it is given.
void CallbackSample(int event, void* user, void* info);
