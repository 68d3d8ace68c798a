// A Java VM for unit tests without a JVM: function tables that record what a real VM forgives or dies of.
#pragma once

#include <jni.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/fake_java.h"

namespace zem::test {

/// One VM. Threads, references, calls and pending exceptions are followed; whatever breaks the rules
/// of JNI goes into violations(), which every test should find empty at its end. References and
/// environments are never reused, so that the use of a dead one is always noticed. A JNI function
/// that is not faked aborts and names its slot in the table. All members: any thread.
class FakeVm {
  public:
    struct State;

    FakeVm();
    ~FakeVm();
    FakeVm(const FakeVm&) = delete;
    FakeVm& operator=(const FakeVm&) = delete;

    JavaVM* vm();

    /// The calling thread's environment; makes it a Java thread, which may not be detached.
    JNIEnv* env();
    /// A new local reference of the calling Java thread, as native methods get their arguments. Lives
    /// until DeleteLocalRef, or PopLocalFrame where a test stands for the return to Java.
    jobject local(FakeObject& object);
    /// The object that a live reference points at; null for null or a dead reference.
    FakeObject* object(jobject reference) const;

    /// What broke the rules, in order: calls with another thread's or a dead environment, with an
    /// exception pending, with null or dead references, with a null method id; double deletes;
    /// detaching what is not attached; contracts of Java objects (FakeValue::violation).
    std::vector<std::string> violations() const;

    /// References alive now. Local ones count on all threads, including those of local().
    int globalRefs() const;
    int localRefs() const;

    /// Threads that AttachCurrentThread attached and nothing has detached yet; must be 0 at the end.
    int attachedThreads() const;
    /// How often a thread really became attached, or detached; Java threads never count.
    int attaches() const;
    int detaches() const;

    /// Throws on the calling Java thread.
    void throwException(const std::string& message);
    /// The message of the exception pending on the calling thread; empty for none.
    std::string pendingException() const;

    /// How often a function of the tables was called, by its name there ("CallVoidMethodV" for
    /// env->CallVoidMethod).
    int calls(const std::string& function) const;
    /// Makes FindClass and GetMethodID on that class see the methods of `prototype`. Every class name
    /// can be found, unless it was removed.
    void know(FakeObject& prototype);
    void removeClass(const std::string& name);

    struct NativeMethod {
        std::string name;
        std::string signature;
        void* function;
    };
    struct NativeTable {
        std::string className;
        std::vector<NativeMethod> methods;
    };
    /// What RegisterNatives got, in order of the calls.
    std::vector<NativeTable> natives() const;
    /// A registered function as a pointer to `Function`; null when there is none.
    template <typename Function>
    Function* native(const std::string& className, const std::string& name) const {
        return reinterpret_cast<Function*>(nativeAddress(className, name));
    }

    // Knobs: how the VM fails.
    std::atomic<bool> failGetEnv{false};        // GetEnv answers JNI_ERR
    std::atomic<bool> emptyGetEnv{false};       // GetEnv answers JNI_OK and no environment
    std::atomic<bool> failAttach{false};        // AttachCurrentThread answers JNI_ERR
    std::atomic<bool> failNewGlobalRef{false};  // NewGlobalRef answers null

  private:
    void* nativeAddress(const std::string& className, const std::string& name) const;

    std::unique_ptr<State> mState;
};

}  // namespace zem::test
