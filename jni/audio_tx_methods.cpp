// Native methods of com/tarvoln/zem/AudioTxChannel: sending audio.
#include <nativehelper/JNIHelp.h>

#include "context/kiv_context.h"
#include "jni/direct_buffer.h"
#include "jni/native_methods.h"

namespace {

void jni_closeAudioEncoder(JNIEnv* /*env*/, jobject /*self*/) {
    KivContext::getInstance()->closeAudioEncoder();
}

jboolean jni_openAudioEncoder(JNIEnv* env, jobject self, jint id, jint channels, jint sampling,
                              jint quality) {
    KivContext* const context = KivContext::getInstance();
    context->setSink(KivContext::Sink::AudioEncoder, std::make_shared<KivContext::DataCallback>(env, self));
    return context->openAudioEncoder(id, channels, sampling, quality);
}

jboolean jni_openAudioHookClient(JNIEnv* /*env*/, jobject /*self*/) {
    return KivContext::getInstance()->openAudioHookClient();
}

jboolean jni_startAudioHookClient(JNIEnv* /*env*/, jobject /*self*/) {
    return KivContext::getInstance()->startAudioHookClient();
}

void jni_stopAudioHookClient(JNIEnv* /*env*/, jobject /*self*/) {
    KivContext::getInstance()->stopAudioHookClient();
}

jint jni_getAudioHookClientSampleRate(JNIEnv* /*env*/, jobject /*self*/) {
    return KivContext::getInstance()->getAudioHookClientSampleRate();
}

jint jni_getAudioHookClientOutputFormat(JNIEnv* /*env*/, jobject /*self*/) {
    return KivContext::getInstance()->getAudioHookClientOutputFormat();
}

jint jni_encodeAudio(JNIEnv* env, jobject /*self*/, jobject buffer, jint offset, jint size, jboolean flag) {
    uint8_t* const pcm = zem::directRange(env, "encodeAudio", buffer, offset, size);
    return pcm != nullptr ? KivContext::getInstance()->encodeAudio(pcm, size, flag) : -1;
}

jint jni_getAudioEncoderData(JNIEnv* env, jobject /*self*/, jobject buffer, jint offset, jint size) {
    uint8_t* const data = zem::directRange(env, "getAudioEncoderData", buffer, offset, size);
    return data != nullptr ? KivContext::getInstance()->getAudioEncoderData(data, size) : -1;
}

jboolean jni_setAudioVolumeState(JNIEnv* /*env*/, jobject /*self*/, jint state, jint second) {
    return KivContext::getInstance()->setAudioVolumeState(state, second);
}

}  // namespace

void zem::registerAudioTxMethods(JNIEnv* env) {
    const JNINativeMethod methods[] = {
        nativeMethod("closeAudioEncoder", "()V", jni_closeAudioEncoder),
        nativeMethod("openAudioEncoder", "(IIII)Z", jni_openAudioEncoder),
        nativeMethod("openAudioHookClient", "()Z", jni_openAudioHookClient),
        nativeMethod("startAudioHookClient", "()Z", jni_startAudioHookClient),
        nativeMethod("stopAudioHookClient", "()V", jni_stopAudioHookClient),
        nativeMethod("getAudioHookClientSampleRate", "()I", jni_getAudioHookClientSampleRate),
        nativeMethod("getAudioHookClientOutputFormat", "()I", jni_getAudioHookClientOutputFormat),
        nativeMethod("encodeAudio", "(Ljava/nio/ByteBuffer;IIZ)I", jni_encodeAudio),
        nativeMethod("getAudioEncoderData", "(Ljava/nio/ByteBuffer;II)I", jni_getAudioEncoderData),
        nativeMethod("setAudioVolumeState", "(II)Z", jni_setAudioVolumeState),
        nativeMethod("isAdudioPlaying", "()Z", jni_isAdudioPlaying),  // Java declares it so
    };
    jniRegisterNativeMethods(env, "com/tarvoln/zem/AudioTxChannel", methods, NELEM(methods));
}
