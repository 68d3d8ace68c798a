// Which parts of a heap are dealt out: the book-keeping of MemoryDealer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>

namespace zem {

/// Offsets and sizes in bytes. Any thread.
class BlockList {
  public:
    static constexpr size_t kGrain = 32;  // blocks are aligned to and rounded up to this

    explicit BlockList(size_t heapSize) : mHeapSize(heapSize) {}

    /// Takes the first gap of at least `size` (above 0). `*serial` names this use of the place.
    /// Returns false when there is no such gap.
    bool take(size_t size, size_t* offset, uint64_t* serial);
    /// Frees whatever block starts at `offset`. False when none does.
    bool freeAt(size_t offset);
    /// Frees the block at `offset` if it is still this use of the place; false when it is not, which
    /// is what the last reference finds after freeAt().
    bool freeExactly(size_t offset, uint64_t serial);

  private:
    struct Use {
        size_t size;
        uint64_t serial;
    };

    const size_t mHeapSize;
    std::mutex mMutex;
    std::map<size_t, Use> mUses;  // by offset; guarded by mMutex
    uint64_t mLastSerial = 0;     // guarded by mMutex
};

}  // namespace zem
