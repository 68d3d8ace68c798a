// The entry points of libaudiohookclient.so, which a device may or may not have.
#pragma once

#include "audio/audio_hook_buffer.h"

namespace zem {

/// Owns the loaded library; the entry points are usable while it lives. All null when unavailable.
class AudioHookLibrary {
  public:
    /// Loads the library by its name; one log line tells the handle. A library that lacks one of the four
    /// entry points that must be there is closed again, with a line for each that is missing.
    AudioHookLibrary();
    ~AudioHookLibrary();
    AudioHookLibrary(const AudioHookLibrary&) = delete;
    AudioHookLibrary& operator=(const AudioHookLibrary&) = delete;

    bool isLoaded() const { return mAudioHookClientLib != nullptr; }

  private:
    void* mAudioHookClientLib;

  public:
    getAudioHookMixerOutputFunction getAudioHookMixerOutput = nullptr;
    getAudioHookBufferSizeFunction getAudioHookBufferSize = nullptr;
    getAudioHookSampleRateFunction getAudioHookSampleRate = nullptr;      // optional
    getAudioHookOutputFormatFunction getAudioHookOutputFormat = nullptr;  // optional
    startAudioHookFunction startAudioHook = nullptr;
    stopAudioHookFunction stopAudioHook = nullptr;
};

}  // namespace zem
