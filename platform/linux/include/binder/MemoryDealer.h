// MemoryDealer: deals out blocks of one shared heap.
#pragma once

#include <binder/IMemory.h>

namespace zem {
class BlockList;
}

namespace android {

/// Blocks are zero-filled at first, aligned to and rounded up to 32 bytes. The heap lives as long as
/// the dealer or any block. Any thread.
class MemoryDealer : public RefBase {
  public:
    /// `size` in bytes is rounded up to whole pages; `name` is for the kernel's listings.
    MemoryDealer(size_t size, const char* name = nullptr, uint32_t flags = 0);

    /// Null when no gap is large enough, and for a size of 0. The block is freed with its last reference.
    virtual sp<IMemory> allocate(size_t size);
    /// Frees the block at `offset` ahead of its last reference, which then frees nothing: a block that
    /// has since been dealt out at the same place stays its owner's. Its memory stays mapped.
    virtual void deallocate(size_t offset);
    sp<IMemoryHeap> getMemoryHeap() const { return heap(); }

  protected:
    ~MemoryDealer() override;

  private:
    class Block;

    const sp<IMemoryHeap>& heap() const;

    const sp<IMemoryHeap> mHeap;
    zem::BlockList* const mBlocks;  // owned; guards itself
};

}  // namespace android
