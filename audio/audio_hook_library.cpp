#include "audio/audio_hook_library.h"

#include <dlfcn.h>

#include "base/log.h"

namespace zem {
namespace {

// POSIX: the address of a function, whose type both sides know from audio_hook_buffer.h.
template <typename Function>
bool find(void* library, const char* name, Function* function) {
    *function = reinterpret_cast<Function>(dlsym(library, name));
    return *function != nullptr;
}

template <typename Function>
bool require(void* library, const char* name, Function* function) {
    if (!find(library, name, function)) {
        LOGE("audio hook client : %s not found", name);
        return false;
    }
    return true;
}

}  // namespace

AudioHookLibrary::AudioHookLibrary() : mAudioHookClientLib(dlopen("libaudiohookclient.so", RTLD_NOW)) {
    void* const library = mAudioHookClientLib;
    LOGI("\n mAudioHookClientLib [%p] \n\n", library);
    if (library == nullptr) {
        return;
    }
    bool complete = require(library, "getAudioHookMixerOutput", &getAudioHookMixerOutput);
    complete = require(library, "getAudioHookBufferSize", &getAudioHookBufferSize) && complete;
    find(library, "getAudioHookSampleRate", &getAudioHookSampleRate);
    find(library, "getAudioHookOutputFormat", &getAudioHookOutputFormat);
    complete = require(library, "startAudioHook", &startAudioHook) && complete;
    complete = require(library, "stopAudioHook", &stopAudioHook) && complete;
    if (!complete) {
        dlclose(library);
        mAudioHookClientLib = nullptr;
    }
}

AudioHookLibrary::~AudioHookLibrary() {
    if (mAudioHookClientLib != nullptr) {
        dlclose(mAudioHookClientLib);
    }
}

}  // namespace zem
