// Proves that the fake VM sees what it is there to see: without this, a bridge that calls Java through
// another thread's environment or leaks a reference would pass its tests.
#include "tests/support/fake_jni.h"

#include <gmock/gmock.h>
#include <nativehelper/JNIHelp.h>

#include <cstring>
#include <thread>

namespace zem::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The three method ids of a pool, looked up as native code does.
struct PoolIds {
    PoolIds(JNIEnv* env, jobject pool) {
        jclass type = env->GetObjectClass(pool);
        offset = env->GetMethodID(type, "getBufferOffset", "()I");
        getFree = env->GetMethodID(type, "getFreeBuffer", "()Ljava/nio/ByteBuffer;");
        addUsed = env->GetMethodID(type, "addUsedBuffer", "(Ljava/nio/ByteBuffer;I)V");
        env->DeleteLocalRef(type);
    }
    jmethodID offset;
    jmethodID getFree;
    jmethodID addUsed;
};

TEST(FakeJni, LendsABufferOnAnAttachedThreadAndLeavesNothingBehind) {
    FakeVm vm;
    FakePool pool(16, 1, 100);
    JNIEnv* env = vm.env();
    jobject local = vm.local(pool);
    jobject global = env->NewGlobalRef(local);
    env->DeleteLocalRef(local);
    std::thread([&] {
        void* before = &vm;
        EXPECT_EQ(vm.vm()->GetEnv(&before, JNI_VERSION_1_4), JNI_EDETACHED);
        JNIEnv* own = nullptr;
        ASSERT_EQ(vm.vm()->AttachCurrentThread(&own, nullptr), JNI_OK);
        EXPECT_NE(own, env);
        const PoolIds ids(own, global);
        EXPECT_EQ(own->CallIntMethod(global, ids.offset), 16);
        jobject buffer = own->CallObjectMethod(global, ids.getFree);
        EXPECT_EQ(own->GetDirectBufferCapacity(buffer), 100);
        memcpy(static_cast<char*>(own->GetDirectBufferAddress(buffer)) + 16, "abc", 3);
        EXPECT_EQ(own->CallObjectMethod(global, ids.getFree), nullptr);
        own->CallVoidMethod(global, ids.addUsed, buffer, 3);
        EXPECT_EQ(vm.localRefs(), 1);  // detaching frees it
        EXPECT_EQ(vm.vm()->DetachCurrentThread(), JNI_OK);
    }).join();
    EXPECT_THAT(pool.stream(), ElementsAre('a', 'b', 'c'));
    EXPECT_EQ(vm.globalRefs(), 1);
    env->DeleteGlobalRef(global);
    EXPECT_EQ(vm.globalRefs() + vm.localRefs() + vm.attachedThreads() + pool.lentBuffers(), 0);
    EXPECT_THAT(vm.violations(), IsEmpty());
}

TEST(FakeJni, NoticesWhatARealVmDiesOf) {
    FakeVm vm;
    FakePool pool(4, 1, 8);
    JNIEnv* env = vm.env();
    jobject object = vm.local(pool);
    const PoolIds ids(env, object);
    std::thread([&] {
        JNIEnv* ended = nullptr;
        env->ExceptionCheck();
        env->DeleteLocalRef(nullptr);  // allowed, but not with this environment
        vm.vm()->AttachCurrentThread(&ended, nullptr);
        ended->CallIntMethod(object, ids.offset);
        vm.vm()->DetachCurrentThread();
        vm.vm()->DetachCurrentThread();
        ended->ExceptionCheck();
    }).join();
    env->CallVoidMethod(object, nullptr);
    env->CallVoidMethod(object, ids.offset);
    env->GetDirectBufferAddress(nullptr);
    jobject buffer = env->CallObjectMethod(object, ids.getFree);
    memset(env->GetDirectBufferAddress(buffer), 0, 5);  // runs into the header
    env->CallVoidMethod(object, ids.addUsed, buffer, 1);
    env->CallVoidMethod(object, ids.addUsed, buffer, 5);
    env->DeleteGlobalRef(buffer);
    env->DeleteLocalRef(buffer);
    env->DeleteLocalRef(buffer);
    vm.vm()->DetachCurrentThread();
    EXPECT_THAT(
        vm.violations(),
        ElementsAre("ExceptionCheck: environment of another thread",
                    "DeleteLocalRef: environment of another thread",
                    "CallIntMethodV: local reference of another thread",
                    "DetachCurrentThread: a thread that is not attached",
                    "ExceptionCheck: environment of a detached thread", "CallVoidMethodV: null method id",
                    "CallVoidMethodV: wrong function for getBufferOffset()I",
                    "GetDirectBufferAddress: null reference",
                    "CallVoidMethodV: addUsedBuffer: bytes before the offset were written",
                    "CallVoidMethodV: addUsedBuffer: more than the buffer holds",
                    "DeleteGlobalRef: a local reference", "DeleteLocalRef: dead reference",
                    "DetachCurrentThread: a Java thread"));
    EXPECT_EQ(pool.lentBuffers(), 1);
}

TEST(FakeJni, KeepsAnExceptionPendingUntilItIsCleared) {
    FakeVm vm;
    FakePool pool;
    pool.throwing = "getFreeBuffer";
    pool.removeMethod("addUsedBuffer");
    JNIEnv* env = vm.env();
    jobject object = vm.local(pool);
    const PoolIds ids(env, object);
    EXPECT_EQ(ids.addUsed, nullptr);
    EXPECT_EQ(env->ExceptionCheck(), JNI_TRUE);
    env->ExceptionClear();
    EXPECT_EQ(env->CallObjectMethod(object, ids.getFree), nullptr);
    EXPECT_EQ(vm.pendingException(), "getFreeBuffer");
    env->ExceptionDescribe();
    env->CallIntMethod(object, ids.offset);
    env->ExceptionClear();
    EXPECT_EQ(env->CallIntMethod(object, ids.offset), 16);
    // One call while the first error was pending would be a second line: DeleteLocalRef is allowed.
    EXPECT_THAT(vm.violations(), ElementsAre("CallIntMethodV: exception pending (getFreeBuffer)"));
}

TEST(FakeJni, KeepsTheTablesThatAreRegistered) {
    FakeVm vm;
    const auto answer = +[](JNIEnv*, jobject) -> jint { return 42; };
    const JNINativeMethod methods[] = {{"getAnswer", "()I", reinterpret_cast<void*>(answer)}};
    EXPECT_EQ(jniRegisterNativeMethods(vm.env(), "a/B", methods, 1), 0);
    ASSERT_EQ(vm.natives().size(), 1u);
    EXPECT_EQ(vm.natives()[0].className, "a/B");
    EXPECT_EQ(vm.natives()[0].methods[0].signature, "()I");
    auto* native = vm.native<jint(JNIEnv*, jobject)>("a/B", "getAnswer");
    ASSERT_NE(native, nullptr);
    EXPECT_EQ(native(vm.env(), nullptr), 42);
    EXPECT_EQ(vm.localRefs(), 0);
}

}  // namespace
}  // namespace zem::test
