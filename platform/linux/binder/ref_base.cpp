#include <utils/RefBase.h>

namespace android {

// Not inline: no caller's compiler or analyser can then take the deletion for certain.
void RefBase::incStrong(const void* /*id*/) const {
    if (mCounts->incStrong()) {
        const_cast<RefBase*>(this)->onFirstRef();
    }
}

void RefBase::decStrong(const void* id) const {
    if (mCounts->decStrong()) {
        const_cast<RefBase*>(this)->onLastStrongRef(id);
        delete this;
    }
}

}  // namespace android
