#include "tests/support/fake_jni.h"

#include <cstdarg>
#include <cstring>
#include <utility>

/// jni.h leaves this type open.
struct _jmethodID {
    const char* name;
    const char* signature;
};

namespace zem::test {
namespace {

enum PoolMethod { kGetBufferOffset, kGetFreeBuffer, kAddUsedBuffer, kPoolMethods };
_jmethodID gPoolMethods[kPoolMethods] = {{"getBufferOffset", "()I"},
                                         {"getFreeBuffer", "()Ljava/nio/ByteBuffer;"},
                                         {"addUsedBuffer", "(Ljava/nio/ByteBuffer;I)V"}};

}  // namespace

FakeThread& FakeVm::envOfThisThread() {
    // Thread ids are given to later threads again, these numbers are not.
    static std::atomic<uint64_t> gThreads{0};
    thread_local const uint64_t number = ++gThreads;
    FakeThread& thread = mEnvironments[number];
    thread.functions = &mEnvTable;
    thread.vm = this;
    return thread;
}

jobject FakeVm::refer(FakeObject* object, FakeThread* owner) {
    if (object == nullptr) {
        return nullptr;
    }
    ++(owner != nullptr ? mLocals : mGlobals);
    // Opaque to the code under test.
    return reinterpret_cast<jobject>(&mReferences.emplace_back(FakeReference{object, owner, true}));
}

void FakeVm::end(FakeReference& reference) {
    if (std::exchange(reference.alive, false)) {
        --(reference.owner != nullptr ? mLocals : mGlobals);
    }
}

jint FakeVm::getEnv(JavaVM* vm, void** env, jint /*version*/) {
    auto& self = *static_cast<FakeVm*>(vm);
    const std::lock_guard<std::mutex> lock(self.mMutex);
    FakeThread& thread = self.envOfThisThread();
    *env = thread.attached ? static_cast<JNIEnv*>(&thread) : nullptr;
    return thread.attached ? JNI_OK : JNI_EDETACHED;
}

jint FakeVm::attach(JavaVM* vm, JNIEnv** env, void* /*arguments*/) {
    auto& self = *static_cast<FakeVm*>(vm);
    const std::lock_guard<std::mutex> lock(self.mMutex);
    if (self.failAttach) {
        return JNI_ERR;
    }
    FakeThread& thread = self.envOfThisThread();
    self.mAttaches += std::exchange(thread.attached, true) ? 0 : 1;
    *env = &thread;
    return JNI_OK;
}

jint FakeVm::detach(JavaVM* vm) {
    auto& self = *static_cast<FakeVm*>(vm);
    const std::lock_guard<std::mutex> lock(self.mMutex);
    FakeThread& thread = self.envOfThisThread();
    if (!std::exchange(thread.attached, false) || thread.exceptionPending) {
        self.mViolations.emplace_back("DetachCurrentThread: not attached, or an exception pending");
    }
    ++self.mDetaches;
    return JNI_OK;
}

/// One call of a JNI function. Holds the VM's mutex; its construction checks environment and exception.
struct FakeCall {
    FakeCall(JNIEnv* env, const char* name, bool mayBePending = false)
        : function(name), thread(*static_cast<FakeThread*>(env)), vm(*thread.vm), lock(vm.mMutex) {
        if (&vm.envOfThisThread() != &thread || !thread.attached) {
            violate("environment of another or a detached thread");
        }
        if (!mayBePending && thread.exceptionPending) {
            violate("exception pending");
        }
    }

    void violate(const char* what) { vm.mViolations.push_back(std::string(function) + ": " + what); }

    /// The live reference behind a handle, which this thread may use; else null, and a violation.
    FakeReference* find(jobject handle) {
        auto* const reference = static_cast<FakeReference*>(static_cast<void*>(handle));
        if (reference == nullptr || !reference->alive ||
            (reference->owner != nullptr && reference->owner != &thread)) {
            violate("a null or dead reference, or another thread's");
            return nullptr;
        }
        return reference;
    }

    /// The object behind a handle; after a violation one without a class.
    FakeObject& objectOf(jobject handle) {
        static FakeObject nothing("");
        FakeReference* const reference = find(handle);
        return reference != nullptr ? *reference->object : nothing;
    }

    jobject local(FakeObject* object) { return vm.refer(object, &thread); }
    jobject global(FakeObject* object) { return vm.refer(object, nullptr); }
    FakeObject* classOf(const char* name) { return &vm.mClasses.try_emplace(name, name).first->second; }
    void*& native(const std::string& key) { return vm.mNatives[key]; }
    void end(jobject handle) {
        if (FakeReference* const reference = find(handle)) {
            vm.end(*reference);
        }
    }

    const char* const function;
    FakeThread& thread;
    FakeVm& vm;
    std::unique_lock<std::mutex> lock;
};

namespace {

// --- Classes

jclass FindClass(JNIEnv* env, const char* name) {
    FakeCall call(env, __func__);
    return static_cast<jclass>(call.local(call.classOf(name)));
}

// The object stands for its class: pools differ in their methods.
jclass GetObjectClass(JNIEnv* env, jobject object) {
    FakeCall call(env, __func__);
    return static_cast<jclass>(call.local(&call.objectOf(object)));
}

jmethodID GetMethodID(JNIEnv* env, jclass type, const char* name, const char* signature) {
    FakeCall call(env, __func__);
    const FakePool* const pool = call.objectOf(type).pool;
    for (_jmethodID& method : gPoolMethods) {
        if (pool != nullptr && strcmp(name, method.name) == 0 && strcmp(signature, method.signature) == 0 &&
            strcmp(name, pool->missing) != 0) {
            return &method;
        }
    }
    call.thread.exceptionPending = true;
    return nullptr;
}

jint RegisterNatives(JNIEnv* env, jclass type, const JNINativeMethod* methods, jint count) {
    FakeCall call(env, __func__);
    const std::string owner = call.objectOf(type).className + ".";
    for (const JNINativeMethod* method = methods; method != methods + count; ++method) {
        call.native(owner + method->name) = method->fnPtr;
    }
    return JNI_OK;
}

// --- Java methods

// Calls a pool's method without the VM's mutex. One that throws answers 0 or null.
jvalue invoke(JNIEnv* env, const char* function, jobject object, jmethodID method, PoolMethod expected,
              va_list list) {
    jvalue result{};
    FakeCall call(env, function);
    FakePool* const pool = call.objectOf(object).pool;
    if (pool == nullptr || method != &gPoolMethods[expected]) {
        call.violate("no such method");
        return result;
    }
    FakeObject* buffer = nullptr;
    jint size = 0;
    if (expected == kAddUsedBuffer) {
        // The analyzer takes a va_list that is a parameter for one never started.
        buffer = &call.objectOf(va_arg(list, jobject));  // NOLINT(clang-analyzer-valist.Uninitialized)
        size = va_arg(list, jint);                       // NOLINT(clang-analyzer-valist.Uninitialized)
    }
    const bool throws = strcmp(pool->throwing, method->name) == 0;
    call.lock.unlock();
    if (!throws && expected == kGetFreeBuffer) {
        buffer = pool->getFreeBuffer();
    } else if (!throws && expected == kAddUsedBuffer) {
        pool->addUsedBuffer(buffer, size);
    } else if (!throws) {
        result.i = pool->offset;
    }
    call.lock.lock();
    call.thread.exceptionPending = throws;
    if (expected == kGetFreeBuffer && buffer != nullptr) {
        result.l = call.local(buffer);
    }
    return result;
}

jobject CallObjectMethodV(JNIEnv* env, jobject object, jmethodID method, va_list list) {
    return invoke(env, __func__, object, method, kGetFreeBuffer, list).l;
}

jint CallIntMethodV(JNIEnv* env, jobject object, jmethodID method, va_list list) {
    return invoke(env, __func__, object, method, kGetBufferOffset, list).i;
}

void CallVoidMethodV(JNIEnv* env, jobject object, jmethodID method, va_list list) {
    invoke(env, __func__, object, method, kAddUsedBuffer, list);
}

jboolean ExceptionCheck(JNIEnv* env) {
    return FakeCall(env, __func__, true).thread.exceptionPending;
}

void ExceptionClear(JNIEnv* env) {
    FakeCall(env, __func__, true).thread.exceptionPending = false;
}

// --- References

jobject NewGlobalRef(JNIEnv* env, jobject object) {
    FakeCall call(env, __func__);
    return call.vm.failNewGlobalRef ? nullptr : call.global(&call.objectOf(object));
}

// DeleteGlobalRef and DeleteLocalRef: real VMs tell the two kinds apart well enough.
void deleteReference(JNIEnv* env, jobject object) {
    FakeCall call(env, __func__, true);
    if (object != nullptr) {
        call.end(object);
    }
}

// --- Direct buffers

void* GetDirectBufferAddress(JNIEnv* env, jobject handle) {
    std::vector<uint8_t>* const memory = FakeCall(env, __func__).objectOf(handle).memory;
    return memory != nullptr ? memory->data() : nullptr;
}

jlong GetDirectBufferCapacity(JNIEnv* env, jobject handle) {
    const std::vector<uint8_t>* const memory = FakeCall(env, __func__).objectOf(handle).memory;
    return memory != nullptr ? static_cast<jlong>(memory->size()) : -1;
}

}  // namespace

FakeVm::FakeVm() {
    mVmTable.GetEnv = getEnv;
    mVmTable.AttachCurrentThread = attach;
    mVmTable.DetachCurrentThread = detach;
    functions = &mVmTable;
    mEnvTable.FindClass = FindClass;
    mEnvTable.GetObjectClass = GetObjectClass;
    mEnvTable.GetMethodID = GetMethodID;
    mEnvTable.RegisterNatives = RegisterNatives;
    mEnvTable.CallObjectMethodV = CallObjectMethodV;
    mEnvTable.CallIntMethodV = CallIntMethodV;
    mEnvTable.CallVoidMethodV = CallVoidMethodV;
    mEnvTable.ExceptionCheck = ExceptionCheck;
    mEnvTable.ExceptionClear = ExceptionClear;
    mEnvTable.NewGlobalRef = NewGlobalRef;
    mEnvTable.DeleteGlobalRef = deleteReference;
    mEnvTable.DeleteLocalRef = deleteReference;
    mEnvTable.GetDirectBufferAddress = GetDirectBufferAddress;
    mEnvTable.GetDirectBufferCapacity = GetDirectBufferCapacity;
}

JNIEnv* FakeVm::env() {
    const std::lock_guard<std::mutex> lock(mMutex);
    FakeThread& thread = envOfThisThread();
    thread.attached = true;
    return &thread;
}

jobject FakeVm::local(FakeObject& object) {
    auto* const thread = static_cast<FakeThread*>(env());
    const std::lock_guard<std::mutex> lock(mMutex);
    return refer(&object, thread);
}

std::vector<std::string> FakeVm::violations() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mViolations;
}

}  // namespace zem::test
