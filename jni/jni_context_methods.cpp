// Native methods of com/tarvoln/zem/JniContext: the device.
#include <nativehelper/JNIHelp.h>

#include "base/log.h"
#include "codec/hardware_detection.h"
#include "context/kiv_context.h"
#include "jni/native_methods.h"

namespace {

jint jni_getScreenWidth(JNIEnv* /*env*/, jobject /*self*/) {
    return KivContext::getInstance()->getScreenWidth();
}

jint jni_getScreenHeight(JNIEnv* /*env*/, jobject /*self*/) {
    return KivContext::getInstance()->getScreenHeight();
}

jint jni_getScreenFormat(JNIEnv* /*env*/, jobject /*self*/) {
    return KivContext::getInstance()->getScreenFormat();
}

jint jni_getHardwareBase(JNIEnv* /*env*/, jobject /*self*/) {
    const int base = GetHardwareBase();
    LOGV("hardbase [%X]", static_cast<unsigned>(base));
    return base;
}

jint jni_test_kivjni(JNIEnv* /*env*/, jobject /*self*/) {
    LOGV("test_kivjni.");
    return 1;
}

}  // namespace

void zem::registerJniContextMethods(JNIEnv* env) {
    const JNINativeMethod methods[] = {
        nativeMethod("getScreenWidth", "()I", jni_getScreenWidth),
        nativeMethod("getScreenHeight", "()I", jni_getScreenHeight),
        nativeMethod("getScreenFormat", "()I", jni_getScreenFormat),
        nativeMethod("isAudioHookAvailable", "()Z", jni_isAudioHookAvailable),
        nativeMethod("getHardwareBase", "()I", jni_getHardwareBase),
        nativeMethod("test_kivjni", "()I", jni_test_kivjni),
    };
    jniRegisterNativeMethods(env, "com/tarvoln/zem/JniContext", methods, NELEM(methods));
}
