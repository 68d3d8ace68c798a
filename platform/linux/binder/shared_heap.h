// A shared-memory heap: an anonymous file, mapped.
#pragma once

#include <binder/IMemory.h>

namespace zem {

class SharedHeap final : public android::BnMemoryHeap {
  public:
    /// `size` is rounded up to whole pages. A failure is logged, and getBase() gives MAP_FAILED then.
    SharedHeap(size_t size, const char* name, uint32_t flags);

    int getHeapID() const override { return mFile; }
    void* getBase() const override { return mBase; }
    size_t getSize() const override { return mSize; }
    uint32_t getFlags() const override { return mFlags; }
    uint32_t getOffset() const override { return 0; }

  private:
    ~SharedHeap() override;

    size_t mSize = 0;  // 0 when not mapped
    const uint32_t mFlags;
    int mFile = -1;
    void* mBase;
};

}  // namespace zem
