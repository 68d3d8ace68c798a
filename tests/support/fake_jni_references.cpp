// Exceptions, references and direct buffers of the fake VM.
#include <cstdio>
#include <cstdlib>

#include "tests/support/fake_jni_call.h"

namespace zem::test {

namespace {

// --- Exceptions

jint Throw(JNIEnv* env, jthrowable exception) {
    Call call(env, "Throw");
    if (call.find(exception)) {
        call.thread->pending = "thrown by native code";
    }
    return JNI_OK;
}

jint ThrowNew(JNIEnv* env, jclass type, const char* message) {
    Call call(env, "ThrowNew");
    if (FakeClass* described = call.findClass(type)) {
        call.thread->pending = described->describes + ": " + (message ? message : "");
    }
    return JNI_OK;
}

jthrowable ExceptionOccurred(JNIEnv* env) {
    Call call(env, "ExceptionOccurred", Pending::kAllowed);
    return call.thread->pending.empty() ? nullptr
                                        : static_cast<jthrowable>(call.local(&call.state.exception));
}

jboolean ExceptionCheck(JNIEnv* env) {
    Call call(env, "ExceptionCheck", Pending::kAllowed);
    return call.thread->pending.empty() ? JNI_FALSE : JNI_TRUE;
}

// Leaves the exception pending, as Android does: a caller that relies on less fails there.
void ExceptionDescribe(JNIEnv* env) {
    Call call(env, "ExceptionDescribe", Pending::kAllowed);
}

void ExceptionClear(JNIEnv* env) {
    Call call(env, "ExceptionClear", Pending::kAllowed);
    call.thread->pending.clear();
}

void FatalError(JNIEnv*, const char* message) {
    fprintf(stderr, "JNI FatalError: %s\n", message);
    abort();
}

// --- References

jobject NewGlobalRef(JNIEnv* env, jobject object) {
    Call call(env, "NewGlobalRef");
    Reference* reference = object ? call.find(object) : nullptr;
    if (!reference || call.state.knobs.failNewGlobalRef) {
        return nullptr;
    }
    return call.state.newLocal(nullptr, reference->object);
}

void DeleteGlobalRef(JNIEnv* env, jobject object) {
    Call call(env, "DeleteGlobalRef", Pending::kAllowed);
    Reference* reference = object ? call.find(object) : nullptr;
    if (reference && reference->owner) {
        call.violate("a local reference");
    } else if (reference) {
        reference->alive = false;
    }
}

jobject NewLocalRef(JNIEnv* env, jobject object) {
    Call call(env, "NewLocalRef");
    Reference* reference = object ? call.find(object) : nullptr;
    return reference ? call.local(reference->object) : nullptr;
}

void DeleteLocalRef(JNIEnv* env, jobject object) {
    Call call(env, "DeleteLocalRef", Pending::kAllowed);
    Reference* reference = object ? call.find(object) : nullptr;
    if (reference && !reference->owner) {
        call.violate("a global reference");
    } else if (reference) {
        call.state.endLocal(call.thread, object);
    }
}

jint EnsureLocalCapacity(JNIEnv* env, jint) {
    Call call(env, "EnsureLocalCapacity");
    return JNI_OK;
}

jint PushLocalFrame(JNIEnv* env, jint) {
    Call call(env, "PushLocalFrame", Pending::kAllowed);
    call.thread->frames.push_back(call.thread->locals.size());
    return JNI_OK;
}

jobject PopLocalFrame(JNIEnv* env, jobject result) {
    Call call(env, "PopLocalFrame", Pending::kAllowed);
    if (call.thread->frames.empty()) {
        call.violate("no frame");
        return nullptr;
    }
    Reference* kept = result ? call.find(result) : nullptr;
    while (call.thread->locals.size() > call.thread->frames.back()) {
        call.state.endLocal(call.thread, call.thread->locals.back());
    }
    call.thread->frames.pop_back();
    return kept ? call.local(kept->object) : nullptr;
}

jboolean IsSameObject(JNIEnv* env, jobject first, jobject second) {
    Call call(env, "IsSameObject");
    const Reference* one = first ? call.find(first) : nullptr;
    const Reference* two = second ? call.find(second) : nullptr;
    return (one ? one->object : nullptr) == (two ? two->object : nullptr);
}

jobjectRefType GetObjectRefType(JNIEnv* env, jobject object) {
    Call call(env, "GetObjectRefType");
    const Reference* reference = object ? call.find(object) : nullptr;
    if (!reference) {
        return JNIInvalidRefType;
    }
    return reference->owner ? JNILocalRefType : JNIGlobalRefType;
}

// --- Direct buffers

FakeByteBuffer* directBuffer(Call& call, jobject handle) {
    Reference* reference = call.find(handle);  // Java's null kills a real VM
    if (!reference || reference->object->className != "java/nio/ByteBuffer") {
        return nullptr;
    }
    auto* buffer = static_cast<FakeByteBuffer*>(reference->object);
    return buffer->direct ? buffer : nullptr;
}

void* GetDirectBufferAddress(JNIEnv* env, jobject handle) {
    Call call(env, "GetDirectBufferAddress");
    FakeByteBuffer* buffer = directBuffer(call, handle);
    return buffer ? buffer->bytes.data() : nullptr;
}

jlong GetDirectBufferCapacity(JNIEnv* env, jobject handle) {
    Call call(env, "GetDirectBufferCapacity");
    FakeByteBuffer* buffer = directBuffer(call, handle);
    return buffer ? static_cast<jlong>(buffer->bytes.size()) : -1;
}

}  // namespace

void addReferences(JNINativeInterface* table) {
    table->Throw = Throw;
    table->ThrowNew = ThrowNew;
    table->ExceptionOccurred = ExceptionOccurred;
    table->ExceptionCheck = ExceptionCheck;
    table->ExceptionDescribe = ExceptionDescribe;
    table->ExceptionClear = ExceptionClear;
    table->FatalError = FatalError;
    table->NewGlobalRef = NewGlobalRef;
    table->DeleteGlobalRef = DeleteGlobalRef;
    table->NewLocalRef = NewLocalRef;
    table->DeleteLocalRef = DeleteLocalRef;
    table->EnsureLocalCapacity = EnsureLocalCapacity;
    table->PushLocalFrame = PushLocalFrame;
    table->PopLocalFrame = PopLocalFrame;
    table->IsSameObject = IsSameObject;
    table->GetObjectRefType = GetObjectRefType;
    table->GetDirectBufferAddress = GetDirectBufferAddress;
    table->GetDirectBufferCapacity = GetDirectBufferCapacity;
}

}  // namespace zem::test
