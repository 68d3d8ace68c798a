// Measures how a unit of 20 KB gets from an engine thread to Java: attached, copied into the pool, detached.
//
// bench_delivery JAR LIBRARY_FOLDER [--quick]
#include <jni.h>

#include <cstring>
#include <string>
#include <vector>

#include "bench/contest.h"
#include "context/hand_off.h"

namespace zem::bench {

namespace {

constexpr int kUnitBytes = 20 * 1024;
constexpr int kBuffers = 8;
constexpr int kWarmUp = 20000;  // deliveries until Java has compiled its part

JavaVM* gVm = nullptr;

// Attached for the lifetime of this object, as the engine does it for a delivery.
class JavaThread {
  public:
    JavaThread() { gVm->AttachCurrentThread(&env, nullptr); }
    ~JavaThread() { gVm->DetachCurrentThread(); }
    JavaThread(const JavaThread&) = delete;
    JavaThread& operator=(const JavaThread&) = delete;

    JNIEnv* env = nullptr;
};

// What an application has: a pool, and a channel that delivers into it.
struct Application {
    jobject pool = nullptr;  // a global reference, as long as the program lives
    jmethodID clear = nullptr;
    jmethodID pending = nullptr;
    jmethodID exhausted = nullptr;

    void takeAll() const { JavaThread().env->CallVoidMethod(pool, clear); }
    int waiting() const { return JavaThread().env->CallIntMethod(pool, pending); }
    int64_t lost() const { return JavaThread().env->CallLongMethod(pool, exhausted); }
};

Application gApplication;

bool startVm(const std::string& jar, const std::string& libraries) {
    std::string classPath = "-Djava.class.path=" + jar;
    std::string libraryPath = "-Djava.library.path=" + libraries;
    JavaVMOption options[2] = {};
    options[0].optionString = classPath.data();
    options[1].optionString = libraryPath.data();
    JavaVMInitArgs arguments{JNI_VERSION_1_6, 2, options, JNI_FALSE};
    JNIEnv* env = nullptr;
    return JNI_CreateJavaVM(&gVm, &env, &arguments) == JNI_OK;
}

// On the thread that started the VM, which is attached still.
bool openApplication() {
    const JavaThread thread;
    JNIEnv* const env = thread.env;
    const jclass pool = env->FindClass("com/tarvoln/zem/BufferPool");
    const jclass channel = pool != nullptr ? env->FindClass("com/tarvoln/zem/VideoTxChannel") : nullptr;
    if (channel != nullptr) {
        const jmethodID makePool = env->GetMethodID(pool, "<init>", "(III)V");
        const jmethodID make = env->GetMethodID(channel, "<init>", "(Lcom/tarvoln/zem/BufferPool;)V");
        const jmethodID connect = env->GetMethodID(channel, "setVideoEncoderEnv", "()V");
        gApplication.clear = env->GetMethodID(pool, "clear", "()V");
        gApplication.pending = env->GetMethodID(pool, "pending", "()I");
        gApplication.exhausted = env->GetMethodID(pool, "exhausted", "()J");
        if (env->ExceptionCheck() == JNI_FALSE) {
            gApplication.pool = env->NewGlobalRef(env->NewObject(pool, makePool, kBuffers, kUnitBytes, 0));
            env->CallVoidMethod(env->NewObject(channel, make, gApplication.pool), connect);
        }
    }
    if (env->ExceptionCheck() == JNI_FALSE) {
        return true;
    }
    env->ExceptionDescribe();
    return false;
}

void deliver(benchmark::State& state) {
    std::vector<uint8_t> unit(kUnitBytes, 0x5A);
    std::vector<uint8_t> copy(kUnitBytes);
    copyBufferForEncoder(unit.data(), kUnitBytes);
    if (gApplication.waiting() != 1) {
        state.SkipWithError("a unit does not arrive");
        return;
    }
    for (int i = 0; i < kWarmUp; ++i) {
        gApplication.takeAll();
        copyBufferForEncoder(unit.data(), kUnitBytes);
    }
    const auto takeAll = [] { gApplication.takeAll(); };
    contest(state,
            {{"engine", takeAll, [&](size_t) { copyBufferForEncoder(unit.data(), kUnitBytes); }},
             {"attach and copy", takeAll,
              [&](size_t) {
                  const JavaThread thread;
                  memcpy(copy.data(), unit.data(), unit.size());
                  benchmark::ClobberMemory();
              }},
             {"copy", takeAll,
              [&](size_t) {
                  memcpy(copy.data(), unit.data(), unit.size());
                  benchmark::ClobberMemory();
              }}},
            0);  // call by call: the pool is emptied before each
    if (gApplication.lost() != 0) {
        state.SkipWithError("units were dropped");
    }
}

}  // namespace

}  // namespace zem::bench

int main(int argc, char** argv) {
    if (argc < 3) {
        fprintf(stderr, "usage: %s JAR LIBRARY_FOLDER [--quick]\n", argv[0]);
        return 2;
    }
    const bool quick = argc > 3 && strcmp(argv[3], "--quick") == 0;
    if (!zem::bench::startVm(argv[1], argv[2]) || !zem::bench::openApplication()) {
        fprintf(stderr, "error: no Java VM with a session\n");
        return 1;
    }
    benchmark::RegisterBenchmark("20 KB to Java", zem::bench::deliver)
        ->Iterations(quick ? 1000 : 10000)
        ->UseManualTime();
    return zem::bench::runCases(1, argv, "delivery");
}
