#include "platform/linux/omx_host/codec_plugin.h"

#include <dlfcn.h>

#include <string>

#include "base/log.h"

namespace zem {

namespace {

constexpr const char* kLibrary = "libzemcodecs.so";

using RegisterComponents = void (*)(ComponentRegistry&);

// This library's own folder is looked up here rather than left to its run path: a sanitizer that
// stands in for dlopen makes the loader see the sanitizer's run path instead.
std::string besideThisLibrary() {
    Dl_info here{};
    if (dladdr(reinterpret_cast<const void*>(&loadCodecComponents), &here) == 0 ||
        here.dli_fname == nullptr) {
        return kLibrary;
    }
    const std::string path = here.dli_fname;
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? kLibrary : path.substr(0, slash + 1) + kLibrary;
}

}  // namespace

ComponentRegistry loadCodecComponents() {
    ComponentRegistry registry;
    void* library = dlopen(besideThisLibrary().c_str(), RTLD_NOW);
    if (library == nullptr) {
        library = dlopen(kLibrary, RTLD_NOW);
    }
    if (library == nullptr) {
        LOGI("no codec components: %s", dlerror());
        return registry;
    }
    void* const entry = dlsym(library, "zemRegisterComponents");
    if (entry == nullptr) {
        LOGI("no codec components: %s", dlerror());
        return registry;
    }
    // POSIX: the address of a function, whose type both sides know from component.h.
    reinterpret_cast<RegisterComponents>(entry)(registry);
    return registry;
}

}  // namespace zem
