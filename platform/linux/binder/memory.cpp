// Shared memory: heaps, blocks, and the dealer that cuts one from the other.
#include <binder/IMemory.h>
#include <binder/MemoryDealer.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/log.h"
#include "platform/linux/binder/block_list.h"
#include "platform/linux/binder/shared_heap.h"

namespace zem {

SharedHeap::SharedHeap(size_t size, const char* name, uint32_t flags) : mFlags(flags), mBase(MAP_FAILED) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t rounded = size + (page - size % page) % page;
    if (size == 0 || rounded < size || rounded > PTRDIFF_MAX) {
        LOGE("shared heap of %zu bytes refused", size);
        return;
    }
    mFile = memfd_create(name != nullptr ? name : "MemoryDealer", MFD_CLOEXEC);
    if (mFile >= 0 && ftruncate(mFile, static_cast<off_t>(rounded)) == 0) {
        const int access = (flags & READ_ONLY) != 0 ? PROT_READ : PROT_READ | PROT_WRITE;
        mBase = mmap(nullptr, rounded, access, MAP_SHARED, mFile, 0);
    }
    if (mBase == MAP_FAILED) {
        LOGE("shared heap of %zu bytes: %s", size, strerror(errno));
        return;
    }
    mSize = rounded;
}

SharedHeap::~SharedHeap() {
    if (mBase != MAP_FAILED) {
        munmap(mBase, mSize);
    }
    if (mFile >= 0) {
        close(mFile);
    }
}

}  // namespace zem

namespace android {

IMPLEMENT_META_INTERFACE(MemoryHeap, "android.utils.IMemoryHeap")
IMPLEMENT_META_INTERFACE(Memory, "android.utils.IMemory")

BnMemoryHeap::BnMemoryHeap() = default;
BnMemoryHeap::~BnMemoryHeap() = default;
BnMemory::BnMemory() = default;
BnMemory::~BnMemory() = default;

status_t BnMemoryHeap::onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    return BBinder::onTransact(code, data, reply, flags);
}

status_t BnMemory::onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    return BBinder::onTransact(code, data, reply, flags);
}

void* IMemory::pointer() const {
    ssize_t place = 0;
    const sp<IMemoryHeap> heap = getMemory(&place);
    if (heap == nullptr || heap->getBase() == MAP_FAILED) {
        return nullptr;
    }
    return static_cast<char*>(heap->getBase()) + place;
}

size_t IMemory::size() const {
    size_t bytes = 0;
    getMemory(nullptr, &bytes);
    return bytes;
}

ssize_t IMemory::offset() const {
    ssize_t place = 0;
    getMemory(&place);
    return place;
}

/// One dealt block. Holds the dealer, which owns the book-keeping, and the heap.
class MemoryDealer::Block final : public BnMemory {
  public:
    Block(const sp<MemoryDealer>& dealer, size_t offset, size_t size, uint64_t serial)
        : mDealer(dealer), mOffset(offset), mSize(size), mSerial(serial) {}

    sp<IMemoryHeap> getMemory(ssize_t* offset, size_t* size) const override {
        if (offset != nullptr) {
            *offset = static_cast<ssize_t>(mOffset);
        }
        if (size != nullptr) {
            *size = mSize;
        }
        return mDealer->heap();
    }

  private:
    ~Block() override { mDealer->mBlocks->freeExactly(mOffset, mSerial); }

    const sp<MemoryDealer> mDealer;
    const size_t mOffset;
    const size_t mSize;  // as asked for, not rounded
    const uint64_t mSerial;
};

MemoryDealer::MemoryDealer(size_t size, const char* name, uint32_t flags)
    : mHeap(new zem::SharedHeap(size, name, flags)), mBlocks(new zem::BlockList(mHeap->getSize())) {}

MemoryDealer::~MemoryDealer() {
    delete mBlocks;
}

const sp<IMemoryHeap>& MemoryDealer::heap() const {
    return mHeap;
}

sp<IMemory> MemoryDealer::allocate(size_t size) {
    size_t offset = 0;
    uint64_t serial = 0;
    if (!mBlocks->take(size, &offset, &serial)) {
        return nullptr;
    }
    return new Block(this, offset, size, serial);
}

void MemoryDealer::deallocate(size_t offset) {
    if (!mBlocks->freeAt(offset)) {
        LOGW("MemoryDealer: nothing to free at offset %zu", offset);
    }
}

}  // namespace android
