// A Java VM for unit tests without a JVM: function tables that record what a real VM forgives or dies of.
#pragma once

#include <jni.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/fake_java.h"

namespace zem::test {

/// One VM, with the JNI functions that the engine and its platform call; the slots of all others are null.
/// Threads, references and pending exceptions are followed. References are never reused, so that the use
/// of a dead one is always noticed. All members: any thread.
class FakeVm {
  public:
    FakeVm();
    ~FakeVm();

    JavaVM* vm();
    /// The calling thread's environment; makes it a Java thread, which has no part in attaches().
    JNIEnv* env();
    /// A new local reference of the calling Java thread, as native methods get their arguments.
    jobject local(FakeObject& object);

    /// What broke the rules, in order; must be empty at the end: calls with another thread's or a detached
    /// environment, with an exception pending, with null or dead references or without a method; double
    /// deletes; detaching what is not attached.
    std::vector<std::string> violations() const;

    /// References alive now. Local ones count on all threads, including those of local(). Detaching ends
    /// none: native code deletes its own, since the thread may have been attached before.
    int globalRefs() const { return mGlobals; }
    int localRefs() const { return mLocals; }
    /// How often AttachCurrentThread really attached a thread, and DetachCurrentThread detached one.
    int attaches() const { return mAttaches; }
    int detaches() const { return mDetaches; }
    /// The difference; must be 0 at the end.
    int attachedThreads() const { return mAttaches - mDetaches; }

    /// What RegisterNatives got, by class and method, as a pointer to `Function`; null when there is none.
    template <typename Function>
    Function* native(const std::string& className, const std::string& name) const {
        return reinterpret_cast<Function*>(native(className + "." + name));
    }

    // Knobs: how the VM fails.
    std::atomic<bool> failAttach{false};        // AttachCurrentThread answers JNI_ERR
    std::atomic<bool> failNewGlobalRef{false};  // NewGlobalRef answers null

    struct State;  // the fake's own

  private:
    void* native(const std::string& key) const;

    std::atomic<int> mGlobals{0};
    std::atomic<int> mLocals{0};
    std::atomic<int> mAttaches{0};
    std::atomic<int> mDetaches{0};
    const std::unique_ptr<State> mState;
};

}  // namespace zem::test
