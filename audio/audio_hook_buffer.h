// What the audio hook library (libaudiohookclient.so) and its callers agree on.
#pragma once

#include <cstdint>

/// `event` 1: a block of sound is ready and `info` points to an AudioHookBuffer that is valid during the
/// call. `user` is what the caller gave to startAudioHook. Called on the library's own thread.
using funcAudioHookCallback = void (*)(int event, void* user, void* info);

/// The event that brings sound.
constexpr int kAudioHookEventBuffer = 1;

struct AudioHookBuffer {
    int32_t reserved;    // not used
    int32_t bufferSize;  // bytes that `raw` has room for
    void* raw;           // interleaved signed 16-bit PCM; owned by the library; may be unaligned
    int32_t readSize;    // valid bytes at `raw`
};

/// The library's entry points, C functions by these names. Handles are 32-bit numbers on every machine.
using getAudioHookMixerOutputFunction = int32_t (*)();
/// Bytes a block.
using getAudioHookBufferSizeFunction = int32_t (*)(int32_t output);
/// Samples a second; a library may lack it.
using getAudioHookSampleRateFunction = int32_t (*)(int32_t output);
/// Format code; a library may lack it.
using getAudioHookOutputFormatFunction = int32_t (*)(int32_t output);
/// Begins to call `callback`, which may happen before this returns. `flags` is 0. Answers a hook handle, or 0
/// on failure.
using startAudioHookFunction = int32_t (*)(int32_t bufferSize, int32_t flags, funcAudioHookCallback callback,
                                           void* user);
/// When it returns no callback of this hook is running and none will come, unless it was called from within
/// one: that one goes on.
using stopAudioHookFunction = void (*)(int32_t hook);
