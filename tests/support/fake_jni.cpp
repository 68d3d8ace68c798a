#include "tests/support/fake_jni.h"

#include <cstdarg>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
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

struct ThreadEnv;

/// What a jobject points at. Kept for good, so that a dead one is noticed.
struct Reference {
    FakeObject* object;
    ThreadEnv* owner;  // null for a global reference
    bool alive;
};

/// One thread's environment. Kept for good, so that a late use is noticed.
struct ThreadEnv : JNIEnv {
    FakeVm::State* state = nullptr;
    bool attached = false;
    bool exceptionPending = false;
};

}  // namespace

struct FakeVm::State : JavaVM {
    explicit State(FakeVm& fakeVm);

    FakeVm& fake;
    JNIInvokeInterface vmTable{};
    JNINativeInterface envTable{};

    std::mutex mutex;  // guards everything below; never held while a Java method runs
    std::map<uint64_t, ThreadEnv> environments;
    std::deque<Reference> references;
    std::map<std::string, FakeObject> classes;  // by name; a class is a plain object
    std::map<std::string, void*> natives;       // by "class.method"
    std::vector<std::string> violations;

    // All with the mutex held.
    ThreadEnv& envOfThisThread() {
        // Thread ids are given to later threads again, these numbers are not.
        static std::atomic<uint64_t> gThreads{0};
        thread_local const uint64_t number = ++gThreads;
        ThreadEnv& thread = environments[number];
        thread.functions = &envTable;
        thread.state = this;
        return thread;
    }

    /// A new reference, global without an owner. Null for null.
    jobject refer(FakeObject* object, ThreadEnv* owner) {
        if (object == nullptr) {
            return nullptr;
        }
        ++(owner != nullptr ? fake.mLocals : fake.mGlobals);
        // Opaque to the code under test.
        return reinterpret_cast<jobject>(&references.emplace_back(Reference{object, owner, true}));
    }

    void end(Reference& reference) {
        if (std::exchange(reference.alive, false)) {
            --(reference.owner != nullptr ? fake.mLocals : fake.mGlobals);
        }
    }

    // The VM's own functions: they take the mutex.
    static jint GetEnv(JavaVM* vm, void** env, jint /*version*/) {
        auto& state = *static_cast<State*>(vm);
        std::lock_guard<std::mutex> lock(state.mutex);
        ThreadEnv& thread = state.envOfThisThread();
        *env = thread.attached ? static_cast<JNIEnv*>(&thread) : nullptr;
        return thread.attached ? JNI_OK : JNI_EDETACHED;
    }

    static jint AttachCurrentThread(JavaVM* vm, JNIEnv** env, void* /*arguments*/) {
        auto& state = *static_cast<State*>(vm);
        std::lock_guard<std::mutex> lock(state.mutex);
        if (state.fake.failAttach) {
            return JNI_ERR;
        }
        ThreadEnv& thread = state.envOfThisThread();
        state.fake.mAttaches += std::exchange(thread.attached, true) ? 0 : 1;
        *env = &thread;
        return JNI_OK;
    }

    static jint DetachCurrentThread(JavaVM* vm) {
        auto& state = *static_cast<State*>(vm);
        std::lock_guard<std::mutex> lock(state.mutex);
        ThreadEnv& thread = state.envOfThisThread();
        if (!std::exchange(thread.attached, false) || thread.exceptionPending) {
            state.violations.emplace_back("DetachCurrentThread: not attached, or an exception pending");
        }
        ++state.fake.mDetaches;
        return JNI_OK;
    }
};

namespace {

enum class Pending { kForbidden, kAllowed };

/// One call of a JNI function. Holds the VM's mutex; its construction checks environment and exception.
struct Call {
    Call(JNIEnv* env, const char* name, Pending pending = Pending::kForbidden)
        : function(name), thread(*static_cast<ThreadEnv*>(env)), state(*thread.state), lock(state.mutex) {
        if (&state.envOfThisThread() != &thread || !thread.attached) {
            violate("environment of another or a detached thread");
        }
        if (pending == Pending::kForbidden && thread.exceptionPending) {
            violate("exception pending");
        }
    }

    void violate(const char* what) { state.violations.push_back(std::string(function) + ": " + what); }

    /// The live reference behind a handle, which this thread may use; else null, and a violation.
    Reference* find(jobject handle) {
        auto* const reference = static_cast<Reference*>(static_cast<void*>(handle));
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
        Reference* const reference = find(handle);
        return reference != nullptr ? *reference->object : nothing;
    }

    jobject local(FakeObject* object) { return state.refer(object, &thread); }

    const char* const function;
    ThreadEnv& thread;
    FakeVm::State& state;
    std::unique_lock<std::mutex> lock;
};

// --- Classes

jclass FindClass(JNIEnv* env, const char* name) {
    Call call(env, __func__);
    return static_cast<jclass>(call.local(&call.state.classes.try_emplace(name, name).first->second));
}

// The object stands for its class: pools differ in their methods.
jclass GetObjectClass(JNIEnv* env, jobject object) {
    Call call(env, __func__);
    return static_cast<jclass>(call.local(&call.objectOf(object)));
}

jmethodID GetMethodID(JNIEnv* env, jclass type, const char* name, const char* signature) {
    Call call(env, __func__);
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
    Call call(env, __func__);
    const std::string owner = call.objectOf(type).className + ".";
    for (const JNINativeMethod* method = methods; method != methods + count; ++method) {
        call.state.natives[owner + method->name] = method->fnPtr;
    }
    return JNI_OK;
}

// --- Java methods

// Calls a pool's method without the VM's mutex. One that throws answers 0 or null.
jvalue invoke(JNIEnv* env, const char* function, jobject object, jmethodID method, PoolMethod expected,
              va_list list) {
    jvalue result{};
    Call call(env, function);
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
    return Call(env, __func__, Pending::kAllowed).thread.exceptionPending;
}

void ExceptionClear(JNIEnv* env) {
    Call(env, __func__, Pending::kAllowed).thread.exceptionPending = false;
}

// --- References

jobject NewGlobalRef(JNIEnv* env, jobject object) {
    Call call(env, __func__);
    return call.state.fake.failNewGlobalRef ? nullptr : call.state.refer(&call.objectOf(object), nullptr);
}

// DeleteGlobalRef and DeleteLocalRef: real VMs tell the two kinds apart well enough.
void deleteReference(JNIEnv* env, jobject object) {
    Call call(env, __func__, Pending::kAllowed);
    if (Reference* const reference = object != nullptr ? call.find(object) : nullptr) {
        call.state.end(*reference);
    }
}

// --- Direct buffers

void* GetDirectBufferAddress(JNIEnv* env, jobject handle) {
    std::vector<uint8_t>* const memory = Call(env, __func__).objectOf(handle).memory;
    return memory != nullptr ? memory->data() : nullptr;
}

jlong GetDirectBufferCapacity(JNIEnv* env, jobject handle) {
    const std::vector<uint8_t>* const memory = Call(env, __func__).objectOf(handle).memory;
    return memory != nullptr ? static_cast<jlong>(memory->size()) : -1;
}

}  // namespace

FakeVm::State::State(FakeVm& fakeVm) : fake(fakeVm) {
    vmTable.GetEnv = GetEnv;
    vmTable.AttachCurrentThread = AttachCurrentThread;
    vmTable.DetachCurrentThread = DetachCurrentThread;
    functions = &vmTable;
    envTable.FindClass = FindClass;
    envTable.GetObjectClass = GetObjectClass;
    envTable.GetMethodID = GetMethodID;
    envTable.RegisterNatives = RegisterNatives;
    envTable.CallObjectMethodV = CallObjectMethodV;
    envTable.CallIntMethodV = CallIntMethodV;
    envTable.CallVoidMethodV = CallVoidMethodV;
    envTable.ExceptionCheck = ExceptionCheck;
    envTable.ExceptionClear = ExceptionClear;
    envTable.NewGlobalRef = NewGlobalRef;
    envTable.DeleteGlobalRef = deleteReference;
    envTable.DeleteLocalRef = deleteReference;
    envTable.GetDirectBufferAddress = GetDirectBufferAddress;
    envTable.GetDirectBufferCapacity = GetDirectBufferCapacity;
}

FakeVm::FakeVm() : mState(std::make_unique<State>(*this)) {}

FakeVm::~FakeVm() = default;

JavaVM* FakeVm::vm() {
    return mState.get();
}

JNIEnv* FakeVm::env() {
    std::lock_guard<std::mutex> lock(mState->mutex);
    ThreadEnv& thread = mState->envOfThisThread();
    thread.attached = true;
    return &thread;
}

jobject FakeVm::local(FakeObject& object) {
    auto* const thread = static_cast<ThreadEnv*>(env());
    std::lock_guard<std::mutex> lock(mState->mutex);
    return mState->refer(&object, thread);
}

std::vector<std::string> FakeVm::violations() const {
    std::lock_guard<std::mutex> lock(mState->mutex);
    return mState->violations;
}

void* FakeVm::native(const std::string& key) const {
    std::lock_guard<std::mutex> lock(mState->mutex);
    const auto found = mState->natives.find(key);
    return found != mState->natives.end() ? found->second : nullptr;
}

}  // namespace zem::test
