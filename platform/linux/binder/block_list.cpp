#include "platform/linux/binder/block_list.h"

namespace zem {

bool BlockList::take(size_t size, size_t* offset, uint64_t* serial) {
    if (size == 0 || size > mHeapSize) {
        return false;
    }
    const size_t rounded = (size + kGrain - 1) / kGrain * kGrain;
    std::lock_guard<std::mutex> lock(mMutex);
    size_t gap = 0;
    for (const auto& [start, use] : mUses) {
        if (start - gap >= rounded) {
            break;
        }
        gap = start + use.size;
    }
    if (mHeapSize - gap < rounded) {
        return false;
    }
    *offset = gap;
    *serial = ++mLastSerial;
    mUses[gap] = {rounded, *serial};
    return true;
}

bool BlockList::freeAt(size_t offset) {
    std::lock_guard<std::mutex> lock(mMutex);
    return mUses.erase(offset) != 0;
}

bool BlockList::freeExactly(size_t offset, uint64_t serial) {
    std::lock_guard<std::mutex> lock(mMutex);
    const auto found = mUses.find(offset);
    if (found == mUses.end() || found->second.serial != serial) {
        return false;
    }
    mUses.erase(found);
    return true;
}

}  // namespace zem
