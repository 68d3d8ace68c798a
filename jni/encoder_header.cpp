// The stream header that primes the other end's decoder: made by a throw-away encoder, taken by Java, or
// brought by Java for the decoder of this side.
#include <cstring>

#include "base/clock.h"
#include "base/log.h"
#include "context/kiv_context.h"
#include "jni/direct_buffer.h"
#include "jni/native_methods.h"

namespace {

void awaitEncoderHeader(const KivContext& context) {
    for (int tries = 0; tries < 10; ++tries) {
        if (context.ReadyEncoderHeader()) {
            LOGI("kivjni: ready encoder header.");
            return;
        }
        zem::sleepMicros(20000);
    }
}

}  // namespace

jboolean jni_createVideoEncoderHeader(JNIEnv* /*env*/, jobject /*self*/, jint source, jint id, jint width,
                                      jint height, jint bitrate, jint fps, jint gopsize) {
    if (!zem::isPictureSize("createVideoEncoderHeader", width, height)) {
        return JNI_FALSE;
    }
    KivContext* const context = KivContext::getInstance();
    LOGI("kivjni: create encoder header.");
    if (!context->openVideoInput(source, width, height) ||
        !context->openVideoEncoder(id, bitrate, fps, gopsize, true)) {
        return JNI_FALSE;
    }
    awaitEncoderHeader(*context);
    context->closeVideoInput();
    LOGI("kivjni: close vide input.");
    context->setEncoderCloseType(true);
    context->closeVideoEncoder();
    LOGI("kivjni: close video encoder.");
    zem::sleepMicros(300000);
    return context->ReadyEncoderHeader();
}

jint jni_deleteVideoEncoderHeader(JNIEnv* env, jobject /*self*/, jobject buffer) {
    uint8_t* dst = zem::directRange(env, "deleteVideoEncoderHeader", buffer, 0, 0);
    if (dst == nullptr) {
        return -1;
    }
    KivContext* const context = KivContext::getInstance();
    const auto header = context->encoderHeader();
    if (header == nullptr) {
        LOGI("kivjni: Not exist encoding header.\n\n");
        return 0;
    }
    // Checked before the header is taken: Java may come back with a larger buffer.
    dst = zem::directRange(env, "deleteVideoEncoderHeader", buffer, 0, header->size);
    if (dst == nullptr) {
        return -1;
    }
    if (!context->takeEncoderHeader(header)) {
        LOGI("kivjni: Not exist encoding header.\n\n");
        return 0;
    }
    memcpy(dst, header->data.get(), static_cast<size_t>(header->size));
    LOGI("kivjni: encoding header size:%d.", header->size);
    return header->size;
}

jint setEncoderHeader(JNIEnv* env, jobject /*self*/, jobject buffer, jint size) {
    const uint8_t* const data = zem::directRange(env, "setEncoderHeader", buffer, 0, size);
    if (data == nullptr) {
        return -1;
    }
    if (size < 1) {
        LOGE("setEncoderHeader: %d bytes are no encoder header", size);
        return -1;
    }
    KivContext* const context = KivContext::getInstance();
    if (context->ReadyEncoderHeader() || context->keepEncoderHeader(data, size) == nullptr) {
        LOGI("setEncoderHeader: encoder header is already existed.");
        return 0;
    }
    return size;
}
