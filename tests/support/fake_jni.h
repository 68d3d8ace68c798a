// A Java VM for unit tests without a JVM: function tables that record what a real VM forgives or dies of.
#pragma once

#include <jni.h>

#include <atomic>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tests/support/fake_java.h"

namespace zem::test {

class FakeVm;

/// One thread's environment. Kept for good, so that a late use is noticed.
struct FakeThread : JNIEnv {
    FakeVm* vm = nullptr;
    bool attached = false;
    bool exceptionPending = false;
};

/// What a jobject points at. Kept for good, so that a dead one is noticed.
struct FakeReference {
    FakeObject* object;
    FakeThread* owner;  // null for a global reference
    bool alive;
};

/// One VM, with the JNI functions that the engine and its platform call; the slots of all others are null.
/// Threads, references and pending exceptions are followed. All public members: any thread.
class FakeVm : JavaVM {
  public:
    FakeVm();

    JavaVM* vm() { return this; }
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
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto found = mNatives.find(className + "." + name);
        return found != mNatives.end() ? reinterpret_cast<Function*>(found->second) : nullptr;
    }

    // Knobs: how the VM fails.
    std::atomic<bool> failAttach{false};        // AttachCurrentThread answers JNI_ERR
    std::atomic<bool> failNewGlobalRef{false};  // NewGlobalRef answers null

  private:
    friend struct FakeCall;
    static jint getEnv(JavaVM* vm, void** env, jint version);
    static jint attach(JavaVM* vm, JNIEnv** env, void* arguments);
    static jint detach(JavaVM* vm);
    // These three with the mutex held; a reference is global without an owner, and null for null.
    FakeThread& envOfThisThread();
    jobject refer(FakeObject* object, FakeThread* owner);
    void end(FakeReference& reference);

    std::atomic<int> mGlobals{0}, mLocals{0}, mAttaches{0}, mDetaches{0};
    JNIInvokeInterface mVmTable{};
    JNINativeInterface mEnvTable{};
    mutable std::mutex mMutex;  // guards everything below; never held while a Java method runs
    std::map<uint64_t, FakeThread> mEnvironments;
    std::deque<FakeReference> mReferences;       // never reused
    std::map<std::string, FakeObject> mClasses;  // by name; a class is a plain object
    std::map<std::string, void*> mNatives;       // by "class.method"
    std::vector<std::string> mViolations;
};

}  // namespace zem::test
