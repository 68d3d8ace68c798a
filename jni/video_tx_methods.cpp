// Native methods of com/tarvoln/zem/VideoTxChannel: sending video.
#include <nativehelper/JNIHelp.h>

#include "context/kiv_context.h"
#include "jni/direct_buffer.h"
#include "jni/native_methods.h"

namespace {

void jni_setMaxCaptureLayer(JNIEnv* /*env*/, jobject /*self*/, jint layer) {
    KivContext::getInstance()->setMaxCaptureLayer(static_cast<unsigned>(layer));
}

void jni_closeVideoEncoder(JNIEnv* /*env*/, jobject /*self*/) {
    KivContext* const context = KivContext::getInstance();
    context->closeVideoInput();
    context->closeVideoEncoder();
}

jboolean jni_openVideoEncoder(JNIEnv* /*env*/, jobject /*self*/, jint source, jint width, jint height,
                              jint id, jint bitrate, jint fps, jint gopsize) {
    if (!zem::isPictureSize("openVideoEncoder", width, height)) {
        return JNI_FALSE;
    }
    KivContext* const context = KivContext::getInstance();
    return context->openVideoInput(source, width, height) &&
           context->openVideoEncoder(id, bitrate, fps, gopsize, false);
}

jint jni_captureScreen(JNIEnv* /*env*/, jobject /*self*/, jboolean encode) {
    return KivContext::getInstance()->captureScreen(encode ? 1 : 0);
}

jint jni_setCameraData(JNIEnv* env, jobject /*self*/, jobject buffer, jint size) {
    uint8_t* const data = zem::directRange(env, "setCameraData", buffer, 0, size);
    return data != nullptr ? KivContext::getInstance()->setCameraData(data, size) : -1;
}

jint jni_getCapturedScreenData(JNIEnv* env, jobject /*self*/, jobject buffer, jint offset, jint size) {
    uint8_t* const data = zem::directRange(env, "getCapturedScreenData", buffer, offset, size);
    return data != nullptr ? KivContext::getInstance()->getCapturedScreenData(data, size) : -1;
}

jint jni_getVideoEncoderData(JNIEnv* env, jobject /*self*/, jobject buffer, jint offset, jint size) {
    uint8_t* const data = zem::directRange(env, "getVideoEncoderData", buffer, offset, size);
    return data != nullptr ? KivContext::getInstance()->getVideoEncoderData(data, size) : -1;
}

void jni_setVideoEncoderEnv(JNIEnv* env, jobject self) {
    KivContext::getInstance()->setSink(KivContext::Sink::Encoder,
                                       std::make_shared<KivContext::DataCallback>(env, self));
}

}  // namespace

void zem::registerVideoTxMethods(JNIEnv* env) {
    const JNINativeMethod methods[] = {
        nativeMethod("setMaxCaptureLayer", "(I)V", jni_setMaxCaptureLayer),
        nativeMethod("closeVideoEncoder", "()V", jni_closeVideoEncoder),
        nativeMethod("openVideoEncoder", "(IIIIIII)Z", jni_openVideoEncoder),
        nativeMethod("captureScreen", "(Z)I", jni_captureScreen),
        nativeMethod("setCameraData", "(Ljava/nio/ByteBuffer;I)I", jni_setCameraData),
        nativeMethod("getCapturedScreenData", "(Ljava/nio/ByteBuffer;II)I", jni_getCapturedScreenData),
        nativeMethod("getVideoEncoderData", "(Ljava/nio/ByteBuffer;II)I", jni_getVideoEncoderData),
        nativeMethod("setVideoEncoderEnv", "()V", jni_setVideoEncoderEnv),
        nativeMethod("createVideoEncoderHeader", "(IIIIIII)Z", jni_createVideoEncoderHeader),
        nativeMethod("deleteVideoEncoderHeader", "(Ljava/nio/ByteBuffer;)I", jni_deleteVideoEncoderHeader),
    };
    jniRegisterNativeMethods(env, "com/tarvoln/zem/VideoTxChannel", methods, NELEM(methods));
}
