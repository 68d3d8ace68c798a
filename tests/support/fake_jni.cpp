#include "tests/support/fake_jni.h"

#include <algorithm>

#include "tests/support/fake_jni_state.h"

namespace zem::test {

// References are opaque to the code under test: the handle is the record's address.
static Reference* recordOf(jobject handle) {
    return static_cast<Reference*>(static_cast<void*>(handle));
}

uint64_t thisThread() {
    static std::atomic<uint64_t> gThreads{0};
    thread_local const uint64_t number = ++gThreads;
    return number;
}

FakeVm::State::State(FakeVm& fake) : knobs(fake) {
    vm.functions = invokeInterface();
    vm.state = this;
}

ThreadEnv* FakeVm::State::attach(bool javaThread) {
    environments.emplace_back();
    ThreadEnv* thread = &environments.back();
    thread->functions = nativeInterface();
    thread->state = this;
    thread->thread = thisThread();
    thread->javaThread = javaThread;
    current[thread->thread] = thread;
    return thread;
}

void FakeVm::State::detach(ThreadEnv* thread) {
    while (!thread->locals.empty()) {
        endLocal(thread, thread->locals.back());
    }
    thread->attached = false;
    current.erase(thread->thread);
}

ThreadEnv* FakeVm::State::envOfThisThread() {
    const auto found = current.find(thisThread());
    return found == current.end() ? nullptr : found->second;
}

jobject FakeVm::State::newLocal(ThreadEnv* thread, FakeObject* object) {
    if (!object) {
        return nullptr;
    }
    references.push_back({object, thread, true});
    known.insert(&references.back());
    auto handle = reinterpret_cast<jobject>(&references.back());
    if (thread) {
        thread->locals.push_back(handle);
    }
    return handle;
}

void FakeVm::State::endLocal(ThreadEnv* thread, jobject reference) {
    recordOf(reference)->alive = false;
    auto& locals = thread->locals;
    locals.erase(std::find(locals.begin(), locals.end(), reference));
}

void FakeVm::State::violate(const char* function, const std::string& what) {
    violations.push_back(std::string(function) + ": " + what);
}

Reference* FakeVm::State::find(const char* function, ThreadEnv* thread, jobject handle) {
    if (!handle) {
        violate(function, "null reference");
        return nullptr;
    }
    Reference* reference = recordOf(handle);
    if (known.count(reference) == 0) {
        violate(function, "not a reference");
    } else if (!reference->alive) {
        violate(function, "dead reference");
    } else if (reference->owner && reference->owner != thread) {
        violate(function, "local reference of another thread");
    } else {
        return reference;
    }
    return nullptr;
}

FakeClass& FakeVm::State::classNamed(const std::string& name, const std::string& key) {
    std::unique_ptr<FakeClass>& slot = classes[key];
    if (!slot) {
        slot = std::make_unique<FakeClass>(name);
    }
    return *slot;
}

FakeVm::FakeVm() : mState(std::make_unique<State>(*this)) {}

FakeVm::~FakeVm() = default;

JavaVM* FakeVm::vm() {
    return &mState->vm;
}

JNIEnv* FakeVm::env() {
    std::lock_guard<std::mutex> lock(mState->mutex);
    ThreadEnv* thread = mState->envOfThisThread();
    return thread ? thread : mState->attach(true);
}

jobject FakeVm::local(FakeObject& target) {
    env();
    std::lock_guard<std::mutex> lock(mState->mutex);
    return mState->newLocal(mState->envOfThisThread(), &target);
}

FakeObject* FakeVm::object(jobject reference) const {
    std::lock_guard<std::mutex> lock(mState->mutex);
    const Reference* record = recordOf(reference);
    return mState->known.count(record) != 0 && record->alive ? record->object : nullptr;
}

std::vector<std::string> FakeVm::violations() const {
    std::lock_guard<std::mutex> lock(mState->mutex);
    return mState->violations;
}

int FakeVm::globalRefs() const {
    std::lock_guard<std::mutex> lock(mState->mutex);
    const auto& all = mState->references;
    return static_cast<int>(
        std::count_if(all.begin(), all.end(), [](const Reference& one) { return one.alive && !one.owner; }));
}

int FakeVm::localRefs() const {
    std::lock_guard<std::mutex> lock(mState->mutex);
    size_t count = 0;
    for (const ThreadEnv& thread : mState->environments) {
        count += thread.locals.size();
    }
    return static_cast<int>(count);
}

int FakeVm::attachedThreads() const {
    std::lock_guard<std::mutex> lock(mState->mutex);
    return mState->attaches - mState->detaches;
}

int FakeVm::attaches() const {
    std::lock_guard<std::mutex> lock(mState->mutex);
    return mState->attaches;
}

int FakeVm::detaches() const {
    std::lock_guard<std::mutex> lock(mState->mutex);
    return mState->detaches;
}

void FakeVm::throwException(const std::string& message) {
    env();
    std::lock_guard<std::mutex> lock(mState->mutex);
    mState->envOfThisThread()->pending = message;
}

std::string FakeVm::pendingException() const {
    std::lock_guard<std::mutex> lock(mState->mutex);
    const ThreadEnv* thread = mState->envOfThisThread();
    return thread ? thread->pending : std::string();
}

int FakeVm::calls(const std::string& function) const {
    std::lock_guard<std::mutex> lock(mState->mutex);
    const auto found = mState->calls.find(function);
    return found == mState->calls.end() ? 0 : found->second;
}

void FakeVm::know(FakeObject& prototype) {
    std::lock_guard<std::mutex> lock(mState->mutex);
    mState->classNamed(prototype.className, prototype.className).prototype = &prototype;
}

void FakeVm::removeClass(const std::string& name) {
    std::lock_guard<std::mutex> lock(mState->mutex);
    mState->removedClasses.insert(name);
}

std::vector<FakeVm::NativeTable> FakeVm::natives() const {
    std::lock_guard<std::mutex> lock(mState->mutex);
    return mState->natives;
}

void* FakeVm::nativeAddress(const std::string& className, const std::string& name) const {
    std::lock_guard<std::mutex> lock(mState->mutex);
    for (const NativeTable& table : mState->natives) {
        for (const NativeMethod& method : table.methods) {
            if (table.className == className && method.name == name) {
                return method.function;
            }
        }
    }
    return nullptr;
}

}  // namespace zem::test
