// The library's outer boundary: the native methods of the five Java classes.
#pragma once

#include <jni.h>

namespace zem {

// One function for each Java class: registers its methods. A class that is missing, or that does not
// declare one of them, ends the process.
void registerJniContextMethods(JNIEnv* env);
void registerVideoTxMethods(JNIEnv* env);
void registerVideoRxMethods(JNIEnv* env);
void registerAudioTxMethods(JNIEnv* env);
void registerAudioRxMethods(JNIEnv* env);

/// A row of a table of native methods.
template <class Function>
JNINativeMethod nativeMethod(const char* name, const char* signature, Function* function) {
    return {name, signature, reinterpret_cast<void*>(function)};  // JNI keeps all of them as void*
}

}  // namespace zem

// Methods with files of their own (audio_probe.cpp, encoder_header.cpp).
jboolean jni_isAudioHookAvailable(JNIEnv* env, jobject self);
jboolean jni_isAdudioPlaying(JNIEnv* env, jobject self);
jboolean jni_createVideoEncoderHeader(JNIEnv* env, jobject self, jint source, jint id, jint width,
                                      jint height, jint bitrate, jint fps, jint gopsize);
jint jni_deleteVideoEncoderHeader(JNIEnv* env, jobject self, jobject buffer);
jint setEncoderHeader(JNIEnv* env, jobject self, jobject buffer, jint size);
