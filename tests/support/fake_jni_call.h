// One call of a JNI function: what every function of the fake VM's table checks first.
#pragma once

#include <mutex>
#include <string>

#include "tests/support/fake_jni_state.h"

namespace zem::test {

enum class Pending { kForbidden, kAllowed };

/// Holds the VM's mutex; its construction counts the call and checks environment and exception.
struct Call {
    Call(JNIEnv* env, const char* name, Pending pending = Pending::kForbidden)
        : function(name), thread(static_cast<ThreadEnv*>(env)), state(*thread->state), lock(state.mutex) {
        ++state.calls[function];
        if (thread->thread != thisThread()) {
            violate("environment of another thread");
        } else if (!thread->attached) {
            violate("environment of a detached thread");
        }
        if (pending == Pending::kForbidden && !thread->pending.empty()) {
            violate("exception pending (" + thread->pending + ")");
        }
    }

    void violate(const std::string& what) { state.violate(function, what); }
    Reference* find(jobject handle) { return state.find(function, thread, handle); }
    jobject local(FakeObject* object) { return state.newLocal(thread, object); }

    // The class behind a jclass; null, and a violation, when it is none.
    FakeClass* findClass(jclass handle) {
        Reference* reference = find(handle);
        if (reference && reference->object->className != "java/lang/Class") {
            violate("not a class");
            return nullptr;
        }
        return reference ? static_cast<FakeClass*>(reference->object) : nullptr;
    }

    const char* function;
    ThreadEnv* thread;
    FakeVm::State& state;
    std::unique_lock<std::mutex> lock;
};

/// Each fills its family's slots.
void addMethodCalls(JNINativeInterface* table);
void addClasses(JNINativeInterface* table);
void addReferences(JNINativeInterface* table);

}  // namespace zem::test
