// A loaded library on a fake VM, and its native methods as Java calls them.
#pragma once

#include <gtest/gtest.h>
#include <jni.h>

#include "tests/context/fake_media.h"
#include "tests/support/fake_jni.h"
#include "tests/support/log_capture.h"

extern "C" jint JNI_OnLoad(JavaVM* vm, void* reserved);
extern "C" void JNI_OnUnload(JavaVM* vm, void* reserved);

namespace zem::test {

inline constexpr const char* kJniContext = "com/tarvoln/zem/JniContext";
inline constexpr const char* kVideoTx = "com/tarvoln/zem/VideoTxChannel";
inline constexpr const char* kVideoRx = "com/tarvoln/zem/VideoRxChannel";
inline constexpr const char* kAudioTx = "com/tarvoln/zem/AudioTxChannel";
inline constexpr const char* kAudioRx = "com/tarvoln/zem/AudioRxChannel";

/// Loads the library, and at the end unloads it and requires that nothing is left of it in the VM.
class Bridge : public ::testing::Test {
  protected:
    void SetUp() override {
        resetFakeMedia();
        forgetLog();
        mVm.env();  // this is the Java thread
        ASSERT_EQ(JNI_OnLoad(mVm.vm(), nullptr), JNI_VERSION_1_4);
    }
    void TearDown() override {
        JNI_OnUnload(mVm.vm(), nullptr);
        for (const std::string& violation : mVm.violations()) {
            ADD_FAILURE() << violation;
        }
        EXPECT_EQ(mVm.globalRefs(), 0);
        EXPECT_EQ(mVm.attachedThreads(), 0);
        EXPECT_EQ(fakeScreen().living + fakeEncoder().living + fakeDecoder().living, 0);
    }

    /// Calls a native method on `self`. Arguments must have exactly the method's types.
    template <class Result = jint, class... Arguments>
    Result call(const char* className, const char* name, FakeObject& self, Arguments... arguments) {
        auto* method = mVm.native<Result(JNIEnv*, jobject, Arguments...)>(className, name);
        if (method == nullptr) {
            ADD_FAILURE() << className << "." << name << " is not registered";
            abort();
        }
        JNIEnv* env = mVm.env();
        jobject local = mVm.local(self);
        const int before = mVm.localRefs();
        struct Return {
            ~Return() {
                EXPECT_EQ(bridge.mVm.localRefs(), before) << "a local reference leaks";
                bridge.mVm.env()->DeleteLocalRef(local);
            }
            Bridge& bridge;
            jobject local;
            const int before;
        } onReturn{*this, local, before};
        return method(env, local, arguments...);
    }

    /// A call on the pool's channel with a buffer.
    template <class... Numbers>
    jint callWith(FakeObject* buffer, const char* className, const char* name, Numbers... numbers) {
        jobject local = buffer != nullptr ? mVm.local(*buffer) : nullptr;
        const jint result = call<jint, jobject, Numbers...>(className, name, mPool, local, numbers...);
        mVm.env()->DeleteLocalRef(local);
        return result;
    }

    jboolean openEncoder(jint width = 64, jint height = 48) {
        return call<jboolean>(kVideoTx, "openVideoEncoder", mPool, jint{1}, width, height, jint{2},
                              jint{1000}, jint{30}, jint{0x1E01});
    }
    void closeEncoder() { call<void>(kVideoTx, "closeVideoEncoder", mPool); }

    FakeVm mVm;
    FakePool mPool{16, 8, 1000};
};

}  // namespace zem::test
