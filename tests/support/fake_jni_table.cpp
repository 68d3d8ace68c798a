// The fake VM's own functions, and its two function tables.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "tests/support/fake_jni_call.h"

namespace zem::test {

namespace {

FakeVm::State& stateOf(JavaVM* vm) {
    return *static_cast<VmHandle*>(vm)->state;
}

jint GetJavaVM(JNIEnv* env, JavaVM** vm) {
    Call call(env, "GetJavaVM");
    *vm = &call.state.vm;
    return JNI_OK;
}

jint GetEnv(JavaVM* vm, void** env, jint version) {
    FakeVm::State& state = stateOf(vm);
    std::lock_guard<std::mutex> lock(state.mutex);
    ++state.calls["GetEnv"];
    *env = nullptr;
    if (state.knobs.failGetEnv) {
        return JNI_ERR;
    }
    if (version != JNI_VERSION_1_2 && version != JNI_VERSION_1_4 && version != JNI_VERSION_1_6) {
        return JNI_EVERSION;
    }
    ThreadEnv* thread = state.envOfThisThread();
    if (!thread) {
        return JNI_EDETACHED;
    }
    *env = state.knobs.emptyGetEnv ? nullptr : static_cast<JNIEnv*>(thread);
    return JNI_OK;
}

jint AttachCurrentThread(JavaVM* vm, JNIEnv** env, void*) {
    FakeVm::State& state = stateOf(vm);
    std::lock_guard<std::mutex> lock(state.mutex);
    ++state.calls["AttachCurrentThread"];
    if (state.knobs.failAttach) {
        return JNI_ERR;
    }
    ThreadEnv* thread = state.envOfThisThread();
    if (!thread) {
        thread = state.attach(false);
        ++state.attaches;
    }
    *env = thread;
    return JNI_OK;
}

jint DetachCurrentThread(JavaVM* vm) {
    FakeVm::State& state = stateOf(vm);
    std::lock_guard<std::mutex> lock(state.mutex);
    ++state.calls["DetachCurrentThread"];
    ThreadEnv* thread = state.envOfThisThread();
    if (!thread || thread->javaThread) {
        state.violate("DetachCurrentThread", thread ? "a Java thread" : "a thread that is not attached");
        return JNI_ERR;
    }
    if (!thread->pending.empty()) {
        state.violate("DetachCurrentThread", "exception pending (" + thread->pending + ")");
    }
    state.detach(thread);
    ++state.detaches;
    return JNI_OK;
}

// --- The tables

template <size_t slot>
void notFaked() {
    fprintf(stderr, "the JNI function in slot %zu of the table is not faked\n", slot);
    abort();
}

// Fills every slot of a table of function pointers; the slots' types differ, their size does not.
template <typename Table, size_t... slots>
void fillWithAborts(Table* table, std::index_sequence<slots...>) {
    using Function = void (*)();
    const Function functions[] = {&notFaked<slots>...};
    static_assert(sizeof functions == sizeof(Table), "a table holds nothing but pointers");
    memcpy(static_cast<void*>(table), functions, sizeof functions);
}

template <typename Table>
Table abortingTable() {
    Table table{};
    fillWithAborts(&table, std::make_index_sequence<sizeof(Table) / sizeof(void*)>());
    return table;
}

JNINativeInterface makeNativeInterface() {
    auto table = abortingTable<JNINativeInterface>();
    table.GetJavaVM = GetJavaVM;
    addClasses(&table);
    addMethodCalls(&table);
    addReferences(&table);
    return table;
}

JNIInvokeInterface makeInvokeInterface() {
    auto table = abortingTable<JNIInvokeInterface>();
    table.GetEnv = GetEnv;
    table.AttachCurrentThread = AttachCurrentThread;
    table.DetachCurrentThread = DetachCurrentThread;
    return table;
}

}  // namespace

const JNINativeInterface* nativeInterface() {
    static const JNINativeInterface table = makeNativeInterface();
    return &table;
}

const JNIInvokeInterface* invokeInterface() {
    static const JNIInvokeInterface table = makeInvokeInterface();
    return &table;
}

}  // namespace zem::test
