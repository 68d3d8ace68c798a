#include "tests/support/fake_hook.h"

#include <dlfcn.h>

#include <cstdlib>

namespace zem::test {

// The loader answers a later request by the bare name with a library of that name that is there already.
FakeHook::FakeHook(const std::string& kind)
    : mLibrary(dlopen((ZEM_FAKE_HOOKS "/" + kind + "/libaudiohookclient.so").c_str(), RTLD_NOW)),
      mState(mLibrary != nullptr ? static_cast<FakeHookState*>(dlsym(mLibrary, "fakeHookState")) : nullptr) {
    if (mState == nullptr) {
        abort();
    }
    mState->tone = false;
}

FakeHook::~FakeHook() {
    dlclose(mLibrary);
}

}  // namespace zem::test
