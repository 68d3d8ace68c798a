// What the fake VM knows: threads, references, method ids, violations. Shared by its own files only.
#pragma once

#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "tests/support/fake_jni.h"

/// jni.h leaves this type open; ours is the method's name.
struct _jmethodID {
    std::string className;
    std::string key;  // name and signature, as in FakeObject::methods
};

/// The same for a field.
struct _jfieldID {
    std::string className;
    std::string key;
};

namespace zem::test {

/// A class object: FindClass and GetObjectClass answer references to these.
struct FakeClass final : FakeObject {
    explicit FakeClass(const std::string& name) : FakeObject("java/lang/Class"), describes(name) {}
    const std::string describes;
    const FakeObject* prototype = nullptr;  // has the methods and fields; null while none was seen
};

/// One thread's environment, from attach to detach. Kept for good, so that a late use is noticed.
struct ThreadEnv : JNIEnv {
    FakeVm::State* state = nullptr;
    uint64_t thread = 0;  // thisThread() of the thread it belongs to
    bool javaThread = false;
    bool attached = true;
    std::string pending;          // the pending exception's message; empty for none
    std::vector<size_t> frames;   // PushLocalFrame: length of `locals` at the time
    std::vector<jobject> locals;  // live local references, oldest first
};

/// What a jobject points at. Kept for good, so that a dead one is noticed.
struct Reference {
    FakeObject* object;
    ThreadEnv* owner;  // null for a global reference
    bool alive;
};

/// A number of the calling thread's own; unlike its id never given to a later thread.
uint64_t thisThread();

struct VmHandle : JavaVM {
    FakeVm::State* state = nullptr;
};

struct FakeVm::State {
    explicit State(FakeVm& fake);

    FakeVm& knobs;
    VmHandle vm;
    mutable std::mutex mutex;                // guards everything below; never held while a Java method runs
    std::map<uint64_t, ThreadEnv*> current;  // attached threads
    std::deque<ThreadEnv> environments;      // a deque: elements stay where they are
    std::deque<Reference> references;
    std::set<const Reference*> known;                           // all of `references`
    std::map<std::string, std::unique_ptr<FakeClass>> classes;  // by name, and by name@object
    std::set<std::string> removedClasses;
    std::map<std::string, _jmethodID> methodIds;
    std::map<std::string, _jfieldID> fieldIds;
    FakeObject exception{"java/lang/RuntimeException"};
    std::vector<NativeTable> natives;
    std::vector<std::string> violations;
    std::map<std::string, int> calls;
    int attaches = 0;
    int detaches = 0;

    // All with the mutex held.
    ThreadEnv* attach(bool javaThread);
    void detach(ThreadEnv* thread);
    ThreadEnv* envOfThisThread();
    jobject newLocal(ThreadEnv* thread, FakeObject* object);
    void endLocal(ThreadEnv* thread, jobject reference);
    void violate(const char* function, const std::string& what);
    /// The live reference behind a handle, which `thread` may use; else null, and a violation.
    Reference* find(const char* function, ThreadEnv* thread, jobject handle);
    FakeClass& classNamed(const std::string& name, const std::string& key);
};

const JNINativeInterface* nativeInterface();
const JNIInvokeInterface* invokeInterface();

}  // namespace zem::test
