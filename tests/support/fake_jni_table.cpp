// The function tables of the fake VM. Each function counts its call, checks its caller, and does what
// the real one does as far as the objects of tests/support/fake_java.h go.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "tests/support/fake_jni_state.h"

namespace zem::test {

namespace {

enum class Pending { kForbidden, kAllowed };

// One call of a JNI function: holds the VM's mutex and has checked environment and pending exception.
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

// --- Methods of Java objects

// The parameter types of "(Ljava/nio/ByteBuffer;I)V" as "LI"; arrays count as objects.
std::string parameterTypes(const std::string& key) {
    std::string types;
    for (size_t i = key.find('(') + 1; key[i] != ')'; ++i) {
        const char type = key[i];
        while (key[i] == '[') {
            ++i;
        }
        if (key[i] == 'L') {
            i = key.find(';', i);
        }
        types += type == '[' ? 'L' : type;
    }
    return types;
}

char returnType(const std::string& key) {
    const char type = key[key.find(')') + 1];
    return type == '[' ? 'L' : type;
}

using Arguments = std::vector<jvalue>;

Arguments readList(jmethodID method, va_list list) {
    Arguments arguments;
    for (char type : method ? parameterTypes(method->key) : "") {
        jvalue value{};
        switch (type) {
            case 'L':
                value.l = va_arg(list, jobject);
                break;
            case 'J':
                value.j = va_arg(list, jlong);
                break;
            case 'F':
            case 'D':
                value.d = va_arg(list, double);
                break;
            default:
                value.j = va_arg(list, jint);  // as every smaller type is passed
        }
        arguments.push_back(value);
    }
    return arguments;
}

Arguments readArray(jmethodID method, const jvalue* array) {
    Arguments arguments;
    for (char type : method ? parameterTypes(method->key) : "") {
        jvalue value = *array++;
        switch (type) {
            case 'Z':
                value.j = value.z;
                break;
            case 'I':
                value.j = value.i;
                break;
            default:
                break;
        }
        arguments.push_back(value);
    }
    return arguments;
}

std::vector<FakeValue> resolve(Call& call, jmethodID method, const Arguments& arguments) {
    std::vector<FakeValue> values;
    const std::string types = parameterTypes(method->key);
    for (size_t i = 0; i < types.size(); ++i) {
        FakeValue value;
        if (types[i] != 'L') {
            value.number = arguments[i].j;
        } else if (arguments[i].l) {
            const Reference* reference = call.find(arguments[i].l);
            value.object = reference ? reference->object : nullptr;
        }
        values.push_back(value);
    }
    return values;
}

// The Java method that a call means; null, and a violation, when there is none.
const FakeMethod* findMethod(Call& call, const Reference* target, jmethodID method, char type) {
    if (!method) {
        call.violate("null method id");
        return nullptr;
    }
    if (!target) {
        return nullptr;
    }
    const auto found = target->object->methods.find(method->key);
    if (target->object->className != method->className || found == target->object->methods.end()) {
        call.violate("method id of another class");
        return nullptr;
    }
    if (returnType(method->key) != type) {
        call.violate("wrong function for " + method->key);
        return nullptr;
    }
    return &found->second;
}

// Calls a Java method without the VM's mutex. A method that throws answers 0 or null.
jvalue invoke(JNIEnv* env, const char* function, char type, jobject object, jmethodID method,
              const Arguments& arguments) {
    jvalue result{};
    Call call(env, function);
    const FakeMethod* found = findMethod(call, call.find(object), method, type);
    if (!found) {
        return result;
    }
    const FakeMethod body = *found;
    const std::vector<FakeValue> values = resolve(call, method, arguments);
    call.lock.unlock();
    const FakeValue answer = body(values);
    call.lock.lock();
    if (!answer.violation.empty()) {
        call.violate(answer.violation);
    }
    call.thread->pending = answer.thrown;
    if (answer.thrown.empty()) {
        if (type == 'L') {
            result.l = call.local(answer.object);
        } else {
            result.j = answer.number;
        }
    }
    return result;
}

// The three forms of one Call<Type>Method function.
#define ZEM_CALL_FORMS(Name, Type, letter, convert)                                                   \
    Type Call##Name##MethodV(JNIEnv* env, jobject object, jmethodID method, va_list list) {           \
        const Arguments arguments = readList(method, list);                                           \
        const jvalue result = invoke(env, "Call" #Name "MethodV", letter, object, method, arguments); \
        return convert;                                                                               \
    }                                                                                                 \
    Type Call##Name##MethodA(JNIEnv* env, jobject object, jmethodID method, const jvalue* array) {    \
        const Arguments arguments = readArray(method, array);                                         \
        const jvalue result = invoke(env, "Call" #Name "MethodA", letter, object, method, arguments); \
        return convert;                                                                               \
    }                                                                                                 \
    Type Call##Name##Method(JNIEnv* env, jobject object, jmethodID method, ...) {                     \
        va_list list;                                                                                 \
        va_start(list, method);                                                                       \
        const Arguments arguments = readList(method, list);                                           \
        va_end(list);                                                                                 \
        const jvalue result = invoke(env, "Call" #Name "Method", letter, object, method, arguments);  \
        return convert;                                                                               \
    }

ZEM_CALL_FORMS(Object, jobject, 'L', result.l)
ZEM_CALL_FORMS(Boolean, jboolean, 'Z', result.j != 0 ? JNI_TRUE : JNI_FALSE)
ZEM_CALL_FORMS(Int, jint, 'I', static_cast<jint>(result.j))
ZEM_CALL_FORMS(Long, jlong, 'J', result.j)
ZEM_CALL_FORMS(Void, void, 'V', static_cast<void>(result))

#undef ZEM_CALL_FORMS

// --- Classes, methods and fields

jint GetVersion(JNIEnv* env) {
    Call call(env, "GetVersion");
    return JNI_VERSION_1_6;
}

jclass classReference(Call& call, FakeClass& described) {
    return static_cast<jclass>(call.local(&described));
}

jclass FindClass(JNIEnv* env, const char* name) {
    Call call(env, "FindClass");
    if (call.state.removedClasses.count(name) != 0) {
        call.thread->pending = std::string("NoClassDefFoundError: ") + name;
        return nullptr;
    }
    return classReference(call, call.state.classNamed(name, name));
}

jclass GetObjectClass(JNIEnv* env, jobject object) {
    Call call(env, "GetObjectClass");
    Reference* reference = call.find(object);
    if (!reference) {
        return nullptr;
    }
    // A class for each object: tests give objects of one class different methods.
    FakeObject* target = reference->object;
    char key[32];
    snprintf(key, sizeof key, "@%p", static_cast<void*>(target));
    FakeClass& described = call.state.classNamed(target->className, target->className + key);
    described.prototype = target;
    return classReference(call, described);
}

jboolean IsInstanceOf(JNIEnv* env, jobject object, jclass type) {
    Call call(env, "IsInstanceOf");
    FakeClass* described = call.findClass(type);
    if (!object) {
        return JNI_TRUE;
    }
    Reference* reference = call.find(object);
    return reference && described && reference->object->className == described->describes;
}

jmethodID GetMethodID(JNIEnv* env, jclass type, const char* name, const char* signature) {
    Call call(env, "GetMethodID");
    FakeClass* described = call.findClass(type);
    const std::string key = std::string(name) + signature;
    if (!described) {
        return nullptr;
    }
    if (!described->prototype || described->prototype->methods.count(key) == 0) {
        call.thread->pending = "NoSuchMethodError: " + key;
        return nullptr;
    }
    _jmethodID& id = call.state.methodIds[described->describes + "." + key];
    id = {described->describes, key};
    return &id;
}

jfieldID GetFieldID(JNIEnv* env, jclass type, const char* name, const char* signature) {
    Call call(env, "GetFieldID");
    FakeClass* described = call.findClass(type);
    const std::string key = std::string(name) + signature;
    if (!described) {
        return nullptr;
    }
    if (!described->prototype || described->prototype->fields.count(key) == 0) {
        call.thread->pending = "NoSuchFieldError: " + key;
        return nullptr;
    }
    _jfieldID& id = call.state.fieldIds[described->describes + "." + key];
    id = {described->describes, key};
    return &id;
}

FakeValue fieldOf(Call& call, jobject object, jfieldID field) {
    Reference* reference = call.find(object);
    if (!field) {
        call.violate("null field id");
    }
    if (!reference || !field) {
        return {};
    }
    const auto found = reference->object->fields.find(field->key);
    if (reference->object->className != field->className || found == reference->object->fields.end()) {
        call.violate("field id of another class");
        return {};
    }
    return found->second;
}

jobject GetObjectField(JNIEnv* env, jobject object, jfieldID field) {
    Call call(env, "GetObjectField");
    return call.local(fieldOf(call, object, field).object);
}

jboolean GetBooleanField(JNIEnv* env, jobject object, jfieldID field) {
    Call call(env, "GetBooleanField");
    return fieldOf(call, object, field).number != 0;
}

jint GetIntField(JNIEnv* env, jobject object, jfieldID field) {
    Call call(env, "GetIntField");
    return static_cast<jint>(fieldOf(call, object, field).number);
}

jlong GetLongField(JNIEnv* env, jobject object, jfieldID field) {
    Call call(env, "GetLongField");
    return fieldOf(call, object, field).number;
}

jint RegisterNatives(JNIEnv* env, jclass type, const JNINativeMethod* methods, jint count) {
    Call call(env, "RegisterNatives");
    FakeClass* described = call.findClass(type);
    if (!described) {
        return JNI_ERR;
    }
    FakeVm::NativeTable table{described->describes, {}};
    for (jint i = 0; i < count; ++i) {
        table.methods.push_back({methods[i].name, methods[i].signature, methods[i].fnPtr});
    }
    call.state.natives.push_back(std::move(table));
    return JNI_OK;
}

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

// --- The VM

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
#define ZEM_FAKED(name) table.name = name
#define ZEM_FAKED_CALL(Type)        \
    ZEM_FAKED(Call##Type##Method);  \
    ZEM_FAKED(Call##Type##MethodV); \
    ZEM_FAKED(Call##Type##MethodA)
    ZEM_FAKED(GetVersion);
    ZEM_FAKED(FindClass);
    ZEM_FAKED(GetObjectClass);
    ZEM_FAKED(IsInstanceOf);
    ZEM_FAKED(GetMethodID);
    ZEM_FAKED(GetFieldID);
    ZEM_FAKED(GetObjectField);
    ZEM_FAKED(GetBooleanField);
    ZEM_FAKED(GetIntField);
    ZEM_FAKED(GetLongField);
    ZEM_FAKED(RegisterNatives);
    ZEM_FAKED(Throw);
    ZEM_FAKED(ThrowNew);
    ZEM_FAKED(ExceptionOccurred);
    ZEM_FAKED(ExceptionCheck);
    ZEM_FAKED(ExceptionDescribe);
    ZEM_FAKED(ExceptionClear);
    ZEM_FAKED(FatalError);
    ZEM_FAKED(NewGlobalRef);
    ZEM_FAKED(DeleteGlobalRef);
    ZEM_FAKED(NewLocalRef);
    ZEM_FAKED(DeleteLocalRef);
    ZEM_FAKED(EnsureLocalCapacity);
    ZEM_FAKED(PushLocalFrame);
    ZEM_FAKED(PopLocalFrame);
    ZEM_FAKED(IsSameObject);
    ZEM_FAKED(GetObjectRefType);
    ZEM_FAKED(GetDirectBufferAddress);
    ZEM_FAKED(GetDirectBufferCapacity);
    ZEM_FAKED(GetJavaVM);
    ZEM_FAKED_CALL(Object);
    ZEM_FAKED_CALL(Boolean);
    ZEM_FAKED_CALL(Int);
    ZEM_FAKED_CALL(Long);
    ZEM_FAKED_CALL(Void);
#undef ZEM_FAKED_CALL
#undef ZEM_FAKED
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
