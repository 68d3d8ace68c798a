// Memory that ends at a page no one may touch: one byte too far, read or written, ends the test.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace zem::test {

/// `size` bytes, with nothing behind them; before them, as far as their page goes, a pattern that
/// untouchedBefore() checks. Works without a sanitizer, under qemu too.
class GuardedBuffer {
  public:
    explicit GuardedBuffer(size_t size) : mSize(size) {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        mUsable = (size / page + 1) * page;  // at least a byte of pattern
        mMapped = mUsable + page;
        void* memory = mmap(nullptr, mMapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED || mprotect(static_cast<uint8_t*>(memory) + mUsable, page, PROT_NONE) != 0) {
            abort();
        }
        mStart = static_cast<uint8_t*>(memory);
        memset(mStart, kPattern, mUsable);
    }
    explicit GuardedBuffer(const std::vector<uint8_t>& bytes) : GuardedBuffer(bytes.size()) {
        std::copy(bytes.begin(), bytes.end(), data());
    }
    ~GuardedBuffer() { munmap(mStart, mMapped); }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    uint8_t* data() { return mStart + (mUsable - mSize); }
    std::vector<uint8_t> bytes() const { return {mStart + (mUsable - mSize), mStart + mUsable}; }
    bool untouchedBefore() const {
        return std::all_of(mStart, mStart + (mUsable - mSize), [](uint8_t byte) { return byte == kPattern; });
    }

    static constexpr uint8_t kPattern = 0x5A;

  private:
    size_t mSize;
    size_t mUsable;  // pattern and buffer
    size_t mMapped;  // and the guard page
    uint8_t* mStart;
};

}  // namespace zem::test
