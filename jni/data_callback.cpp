// The Java side of a sink: every call into a buffer pool.
#include <algorithm>
#include <cstring>
#include <limits>

#include "base/log.h"
#include "context/kiv_context.h"

namespace {

/// True when Java threw in `method`; the exception is logged and gone then.
bool clearException(JNIEnv* env, const char* method) {
    if (!env->ExceptionCheck()) {
        return false;
    }
    env->ExceptionClear();
    LOGE("KivContext::DataCallback, %s threw an exception", method);
    return true;
}

/// Null, with the line `whenMissing` and no exception left, when the object has no such method.
jmethodID findMethod(JNIEnv* env, jobject object, const char* name, const char* signature,
                     const char* whenMissing) {
    jclass type = env->GetObjectClass(object);
    jmethodID id = env->GetMethodID(type, name, signature);
    if (id == nullptr) {
        env->ExceptionClear();
        LOGE("%s", whenMissing);
    }
    env->DeleteLocalRef(type);
    return id;
}

}  // namespace

JNIEnv* KivContext::DataCallback::currentEnv() {
    KivContext* const context = existingInstance();
    JavaVM* const vm = context != nullptr ? context->mJavaVM.load() : nullptr;
    void* env = nullptr;
    if (vm == nullptr || vm->GetEnv(&env, JNI_VERSION_1_4) != JNI_OK) {
        return nullptr;
    }
    return static_cast<JNIEnv*>(env);
}

KivContext::DataCallback::DataCallback(JNIEnv* env, jobject object) : mEnv(env), mBuffer(nullptr) {
    mObject = env->NewGlobalRef(object);
    if (mObject == nullptr) {
        return;
    }
    jmethodID offset = findMethod(env, mObject, "getBufferOffset", "()I",
                                  "KivContext::DataCallback, getBufferOffset method not found");
    if (offset != nullptr) {
        mBufferOffset = env->CallIntMethod(mObject, offset);
        if (clearException(env, "getBufferOffset")) {
            mBufferOffset = 0;
        }
    }
    LOGD("KivContext::DataCallback, buffer_offset = %d", mBufferOffset);
    mGetFreeBuffer = findMethod(env, mObject, "getFreeBuffer", "()Ljava/nio/ByteBuffer;",
                                "KivContext::DataCallback, getFreeBuffer method not found");
    mAddUsedBuffer = findMethod(env, mObject, "addUsedBuffer", "(Ljava/nio/ByteBuffer;I)V",
                                "KivContext::DataCallback, addUsedBuffer method not found");
}

KivContext::DataCallback::~DataCallback() {
    if (mObject == nullptr) {
        return;
    }
    KivContext* const context = existingInstance();
    const Attachment attachment =
        context != nullptr ? context->_attachCurrentThread(this) : Attachment::Failed;
    if (attachment == Attachment::Failed) {
        LOGE("KivContext::~DataCallback, no Java environment: the pool %p stays referenced",
             static_cast<void*>(mObject));
        return;
    }
    mEnv.load()->DeleteGlobalRef(mObject);
    mObject = nullptr;
    if (attachment == Attachment::Made) {
        context->_detachCurrentThread(this);
    }
}

uint8_t* KivContext::DataCallback::getFreeBuffer(int* size, jobject* borrowed) {
    JNIEnv* const env = currentEnv();
    if (mObject == nullptr || env == nullptr) {
        return nullptr;
    }
    jobject buffer = nullptr;
    if (mGetFreeBuffer != nullptr && mAddUsedBuffer != nullptr) {
        buffer = env->CallObjectMethod(mObject, mGetFreeBuffer);
        if (clearException(env, "getFreeBuffer")) {
            buffer = nullptr;
        }
    }
    mBuffer = buffer;
    void* const address = buffer != nullptr ? env->GetDirectBufferAddress(buffer) : nullptr;
    const jlong room = address != nullptr ? env->GetDirectBufferCapacity(buffer) - mBufferOffset : -1;
    if (mBufferOffset < 0 || room < 0) {
        LOGE("KivContext::DataCallback::getFreeBuffer, getFreeBuffer failed");
        if (buffer != nullptr) {
            env->DeleteLocalRef(buffer);
        }
        return nullptr;
    }
    *size = static_cast<int>(std::min<jlong>(room, std::numeric_limits<int>::max()));
    *borrowed = buffer;
    return static_cast<uint8_t*>(address) + mBufferOffset;
}

void KivContext::DataCallback::addUsedBuffer(jobject borrowed, int size) {
    JNIEnv* const env = currentEnv();
    if (mObject == nullptr || env == nullptr) {
        return;
    }
    env->CallVoidMethod(mObject, mAddUsedBuffer, borrowed, static_cast<jint>(size));
    clearException(env, "addUsedBuffer");
    env->DeleteLocalRef(borrowed);
}

void KivContext::DataCallback::onNewData(uint8_t* data, int size) {
    if (mObject == nullptr) {
        return;  // a sink without a pool takes everything and keeps nothing
    }
    int capacity = 0;
    jobject borrowed = nullptr;
    uint8_t* const dst = getFreeBuffer(&capacity, &borrowed);
    if (dst == nullptr) {
        LOGE("KivContext::DataCallback::onNewData, getFreeBuffer fail");
        return;
    }
    if (size < 0 || capacity < size) {
        LOGE(
            "KivContext::DataCallback::onNewData, getFreeBuffer buffer is too small, dstsize=%d, "
            "size=%d",
            capacity, size);
        currentEnv()->DeleteLocalRef(borrowed);
        return;
    }
    if (size > 0) {  // an empty unit may come without an address
        memcpy(dst, data, static_cast<size_t>(size));
    }
    addUsedBuffer(borrowed, size);
}
