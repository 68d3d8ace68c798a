// Calls of Java methods: arguments taken apart, the right object asked, exceptions kept.
#include <cstdarg>
#include <utility>

#include "tests/support/fake_jni_call.h"

namespace zem::test {

namespace {

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

// The analyzer takes a va_list that is a parameter for one never started.
// NOLINTBEGIN(clang-analyzer-valist.Uninitialized)
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
// NOLINTEND(clang-analyzer-valist.Uninitialized)

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

}  // namespace

void addMethodCalls(JNINativeInterface* table) {
    table->CallObjectMethod = CallObjectMethod;
    table->CallObjectMethodV = CallObjectMethodV;
    table->CallObjectMethodA = CallObjectMethodA;
    table->CallBooleanMethod = CallBooleanMethod;
    table->CallBooleanMethodV = CallBooleanMethodV;
    table->CallBooleanMethodA = CallBooleanMethodA;
    table->CallIntMethod = CallIntMethod;
    table->CallIntMethodV = CallIntMethodV;
    table->CallIntMethodA = CallIntMethodA;
    table->CallLongMethod = CallLongMethod;
    table->CallLongMethodV = CallLongMethodV;
    table->CallLongMethodA = CallLongMethodA;
    table->CallVoidMethod = CallVoidMethod;
    table->CallVoidMethodV = CallVoidMethodV;
    table->CallVoidMethodA = CallVoidMethodA;
}

}  // namespace zem::test
