// Whether system audio can be captured on this device, and whether it is playing anything now.
#include <dlfcn.h>

#include "base/clock.h"
#include "base/log.h"
#include "context/kiv_context.h"
#include "jni/native_methods.h"

namespace {

/// The device plays when at least this many blocks of sound arrive in 700 ms.
constexpr int kPlayingBlocks = 10;

bool hearsBlocks(KivContext& context) {
    zem::sleepMicros(300000);  // the hook settles
    context.resetHookCallbackCount();
    zem::sleepMicros(700000);
    const int count = context.hookCallbackCount();
    LOGI("isAdudioPlaying (cnt:%d)", count);
    return count >= kPlayingBlocks;
}

}  // namespace

jboolean jni_isAudioHookAvailable(JNIEnv* /*env*/, jobject /*self*/) {
    void* const library = dlopen("libaudiohookclient.so", RTLD_LAZY);
    if (library == nullptr) {
        LOGE("libaudiohookclient.so is not available");
        return JNI_FALSE;
    }
    LOGV("libaudiohookclient.so is available");
    dlclose(library);
    return JNI_TRUE;
}

jboolean jni_isAdudioPlaying(JNIEnv* /*env*/, jobject /*self*/) {
    KivContext* const context = KivContext::getInstance();
    zem::sleepMicros(100000);
    const bool startsHook = !context->isAudioHookRunning();
    if (startsHook && context->openAudioHookClient()) {
        context->startAudioHookClient();
    }
    const bool playing = context->isAudioHookRunning() && hearsBlocks(*context);
    if (startsHook) {
        context->stopAudioHookClient();
    }
    zem::sleepMicros(1000000);
    return playing;
}
