// Native methods of com/tarvoln/zem/VideoRxChannel: receiving video.
#include <android/bitmap.h>
#include <nativehelper/JNIHelp.h>

#include "base/log.h"
#include "context/kiv_context.h"
#include "jni/direct_buffer.h"
#include "jni/native_methods.h"

namespace {

constexpr const char* kGetDecodedBitmap = "jint getDecodedBitmap(JNIEnv*, jobject, jobject)";

void jni_closeVideoDecoder(JNIEnv* /*env*/, jobject /*self*/) {
    KivContext::getInstance()->closeVideoDecoder();
}

jboolean jni_openVideoDecoder(JNIEnv* /*env*/, jobject /*self*/, jint id, jint width, jint height) {
    return zem::isPictureSize("openVideoDecoder", width, height) &&
           KivContext::getInstance()->openVideoDecoder(id, width, height);
}

jint jni_decodeVideo(JNIEnv* env, jobject /*self*/, jobject buffer, jint offset, jint size, jboolean flag) {
    uint8_t* const data = zem::directRange(env, "decodeVideo", buffer, offset, size);
    return data != nullptr ? KivContext::getInstance()->decodeVideo(data, size, flag) : -1;
}

jint jni_getDecodedBitmap(JNIEnv* env, jobject /*self*/, jobject bitmap) {
    AndroidBitmapInfo info{};
    int result = AndroidBitmap_getInfo(env, bitmap, &info);
    if (result != 0) {
        LOGE("%s: AndroidBitmap_getInfo failed..ret=%d", kGetDecodedBitmap, result);
        return -1;
    }
    void* pixels = nullptr;
    result = AndroidBitmap_lockPixels(env, bitmap, &pixels);
    if (result != 0) {
        LOGE("%s: AndroidBitmap_lockPixels failed..ret=%d", kGetDecodedBitmap, result);
        return -1;
    }
    result = KivContext::getInstance()->getDecodedBitmap(&info, static_cast<uint8_t*>(pixels));
    if (result != 0) {
        LOGE("%s: KivContext::getInstance()->getDecodedBitmap failed..ret=%d", kGetDecodedBitmap, result);
    }
    AndroidBitmap_unlockPixels(env, bitmap);
    if (result != 0) {
        // The unlocking did not fail: this pair of lines is how field logs show a decoder without pictures.
        LOGE("%s: AndroidBitmap_unlockPixels failed..ret=%d", kGetDecodedBitmap, result);
    }
    return 0;
}

jint jni_getDecodedVideoWidth(JNIEnv* /*env*/, jobject /*self*/) {
    return KivContext::getInstance()->getDecodedVideoWidth();
}

jint jni_getDecodedVideoHeight(JNIEnv* /*env*/, jobject /*self*/) {
    return KivContext::getInstance()->getDecodedVideoHeight();
}

void jni_setVideoDecoderEnv(JNIEnv* env, jobject self) {
    KivContext::getInstance()->setSink(KivContext::Sink::Decoder,
                                       std::make_shared<KivContext::DataCallback>(env, self));
}

}  // namespace

void zem::registerVideoRxMethods(JNIEnv* env) {
    const JNINativeMethod methods[] = {
        nativeMethod("closeVideoDecoder", "()V", jni_closeVideoDecoder),
        nativeMethod("openVideoDecoder", "(III)Z", jni_openVideoDecoder),
        nativeMethod("decodeVideo", "(Ljava/nio/ByteBuffer;IIZ)I", jni_decodeVideo),
        nativeMethod("getDecodedBitmap", "(Landroid/graphics/Bitmap;)I", jni_getDecodedBitmap),
        nativeMethod("getDecodedVideoWidth", "()I", jni_getDecodedVideoWidth),
        nativeMethod("getDecodedVideoHeight", "()I", jni_getDecodedVideoHeight),
        nativeMethod("setVideoDecoderEnv", "()V", jni_setVideoDecoderEnv),
        nativeMethod("setEncoderHeader", "(Ljava/nio/ByteBuffer;I)I", setEncoderHeader),
    };
    jniRegisterNativeMethods(env, "com/tarvoln/zem/VideoRxChannel", methods, NELEM(methods));
}
