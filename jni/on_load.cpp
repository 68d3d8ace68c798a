// The library's load and unload.
#include <jni.h>

#include "base/log.h"
#include "capture/display.h"
#include "context/kiv_context.h"
#include "jni/native_methods.h"

extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* vm, void* /*reserved*/) {
    void* found = nullptr;
    if (vm->GetEnv(&found, JNI_VERSION_1_4) != JNI_OK || found == nullptr) {
        LOGE("JNI_OnLoad GetEnv failed!");
        return -1;
    }
    JNIEnv* const env = static_cast<JNIEnv*>(found);
    zem::registerJniContextMethods(env);
    zem::registerVideoTxMethods(env);
    zem::registerVideoRxMethods(env);
    zem::registerAudioTxMethods(env);
    zem::registerAudioRxMethods(env);
    KivContext* const context = KivContext::getInstance();
    context->setJavaVM(vm);
    LOGI("KivContext created %p\n", static_cast<void*>(context));
    return JNI_VERSION_1_4;
}

extern "C" JNIEXPORT void JNICALL JNI_OnUnload(JavaVM* /*vm*/, void* /*reserved*/) {
    LOGE("JNI_OnLoad GetEnv called!");  // the load's words: the field's tools know the unload by them
    KivContext::deleteInstance();
    zem::releaseDisplay();
}
