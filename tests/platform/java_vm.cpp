#include "tests/platform/java_vm.h"

#include <dlfcn.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>

// Read by AddressSanitizer where it is built in: a VM raises SIGSEGV for purposes of its own, and is never
// taken down.
extern "C" const char* __asan_default_options();  // NOLINT(bugprone-reserved-identifier)
const char* __asan_default_options() {
    return "handle_segv=0:detect_leaks=0";
}

namespace zem::test {
namespace {

std::mutex gOutputLock;
std::string& output() {  // guarded by gOutputLock; the VM's threads outlive main()
    static auto* text = new std::string;
    return *text;
}

jint JNICALL keepOutput(FILE* /*file*/, const char* format, va_list arguments) {
    char text[4096];
    const int length = vsnprintf(text, sizeof text, format, arguments);
    std::lock_guard<std::mutex> lock(gOutputLock);
    output() += text;
    return length;
}

}  // namespace

std::string javaVmOutput() {
    std::lock_guard<std::mutex> lock(gOutputLock);
    return output();
}

JNIEnv* startJavaVm(const char* libjvm, const char* classPath) {
    using Create = jint(JavaVM**, void**, void*);
    void* library = dlopen(libjvm, RTLD_NOW);
    auto* create =
        library != nullptr ? reinterpret_cast<Create*>(dlsym(library, "JNI_CreateJavaVM")) : nullptr;
    if (create == nullptr) {
        return nullptr;
    }
    std::string path = std::string("-Djava.class.path=") + classPath;
    std::string check = "-Xcheck:jni";
    std::string memory = "-Xmx64m";
    std::string hook = "vfprintf";
    JavaVMOption options[] = {{path.data(), nullptr},
                              {check.data(), nullptr},
                              {memory.data(), nullptr},
                              {hook.data(), reinterpret_cast<void*>(keepOutput)}};
    JavaVMInitArgs arguments{JNI_VERSION_1_6, 4, options, JNI_FALSE};
    JavaVM* vm = nullptr;
    void* env = nullptr;
    return create(&vm, &env, &arguments) == JNI_OK ? static_cast<JNIEnv*>(env) : nullptr;
}

}  // namespace zem::test
