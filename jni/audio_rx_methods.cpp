// Native methods of com/tarvoln/zem/AudioRxChannel: receiving audio.
#include <nativehelper/JNIHelp.h>

#include "context/kiv_context.h"
#include "jni/direct_buffer.h"
#include "jni/native_methods.h"

namespace {

void jni_closeAudioDecoder(JNIEnv* /*env*/, jobject /*self*/) {
    KivContext::getInstance()->closeAudioDecoder();
}

jboolean jni_openAudioDecoder(JNIEnv* env, jobject self, jint id, jint channels, jint sampling,
                              jint quality) {
    KivContext* const context = KivContext::getInstance();
    context->setSink(KivContext::Sink::AudioDecoder, std::make_shared<KivContext::DataCallback>(env, self));
    return context->openAudioDecoder(id, channels, sampling, quality);
}

jint jni_decodeAudio(JNIEnv* env, jobject /*self*/, jobject buffer, jint offset, jint size, jboolean flag) {
    uint8_t* const data = zem::directRange(env, "decodeAudio", buffer, offset, size);
    return data != nullptr ? KivContext::getInstance()->decodeAudio(data, size, flag) : -1;
}

jint jni_getAudioSamplingRate(JNIEnv* /*env*/, jobject /*self*/) {
    return KivContext::getInstance()->getAudioSamplingRate();
}

jint jni_getAudioChannelCount(JNIEnv* /*env*/, jobject /*self*/) {
    return KivContext::getInstance()->getAudioChannelCount();
}

jint jni_getAudioDecoderData(JNIEnv* env, jobject /*self*/, jobject buffer, jint offset, jint size) {
    uint8_t* const data = zem::directRange(env, "getAudioDecoderData", buffer, offset, size);
    return data != nullptr ? KivContext::getInstance()->getAudioDecoderData(data, size) : -1;
}

}  // namespace

void zem::registerAudioRxMethods(JNIEnv* env) {
    const JNINativeMethod methods[] = {
        nativeMethod("closeAudioDecoder", "()V", jni_closeAudioDecoder),
        nativeMethod("openAudioDecoder", "(IIII)Z", jni_openAudioDecoder),
        nativeMethod("decodeAudio", "(Ljava/nio/ByteBuffer;IIZ)I", jni_decodeAudio),
        nativeMethod("getAudioSamplingRate", "()I", jni_getAudioSamplingRate),
        nativeMethod("getAudioChannelCount", "()I", jni_getAudioChannelCount),
        nativeMethod("getAudioDecoderData", "(Ljava/nio/ByteBuffer;II)I", jni_getAudioDecoderData),
    };
    jniRegisterNativeMethods(env, "com/tarvoln/zem/AudioRxChannel", methods, NELEM(methods));
}
