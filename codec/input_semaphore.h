// The two semaphores that components post when they return an input buffer: one for video, one for
// audio, each shared by encoder and decoder.
#pragma once

#include <pthread.h>
#include <semaphore.h>
#include <time.h>

namespace zem {

/// Exists from load to the end of the process, so that a late post of a component that is going away
/// never meets a destroyed semaphore. Since codecs share it, a post says "look again", not "a buffer
/// of yours is free". Safe from any thread.
class InputSemaphore {
  public:
    InputSemaphore();
    InputSemaphore(const InputSemaphore&) = delete;
    InputSemaphore& operator=(const InputSemaphore&) = delete;

    /// A codec begins to use it. Left-over posts are drained when no other codec does.
    void acquire();
    /// The codec that acquired it is gone; posting stays safe. One too many is ignored.
    void release();
    void post();
    /// Wakes every codec's waiter, so that each looks again.
    void postToAll();
    /// 0 when taken; -1 past the absolute `deadline` (CLOCK_REALTIME) or on an error, which is
    /// logged with `signature` as the function's name.
    int waitUntil(const timespec& deadline, const char* signature);

  private:
    sem_t mSemaphore{};
    pthread_mutex_t mMutex = PTHREAD_MUTEX_INITIALIZER;
    int mUsers = 0;  // guarded by mMutex
};

InputSemaphore& videoInputSemaphore();
InputSemaphore& audioInputSemaphore();

}  // namespace zem

/// Begins the use of the video semaphore at count 0 and makes `handle` post it. Returns 0.
int omx_setup_input_semaphore(void* handle);
/// Posts the video semaphore once, to free a waiter, and ends the use. Returns 0.
int omx_teardown_input_semaphore();

/// Input callbacks that post the video and the audio semaphore. Both return 0.
int semaphoreEmptyBufferPost(void* handle, void* user);
int semaphoreEmptyBufferPost2(void* handle, void* user);

/// Waits at most `milliseconds` for the video semaphore.
void semaphoreEmptyBufferWait(int milliseconds);
