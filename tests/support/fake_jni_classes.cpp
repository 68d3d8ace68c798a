// Classes of the fake VM: their methods, fields and native functions.
#include <cstdio>
#include <utility>

#include "tests/support/fake_jni_call.h"

namespace zem::test {

namespace {

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

}  // namespace

void addClasses(JNINativeInterface* table) {
    table->GetVersion = GetVersion;
    table->FindClass = FindClass;
    table->GetObjectClass = GetObjectClass;
    table->IsInstanceOf = IsInstanceOf;
    table->GetMethodID = GetMethodID;
    table->GetFieldID = GetFieldID;
    table->GetObjectField = GetObjectField;
    table->GetBooleanField = GetBooleanField;
    table->GetIntField = GetIntField;
    table->GetLongField = GetLongField;
    table->RegisterNatives = RegisterNatives;
}

}  // namespace zem::test
