// Bytes that were copied from a caller and never change again, so that readers need no lock.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace zem {

struct ByteBlock {
    std::unique_ptr<uint8_t[]> data;
    int size = 0;

    /// A copy of the `size` (at least 1) bytes at `source`; null when memory ran out.
    static std::shared_ptr<const ByteBlock> copyOf(const uint8_t* source, int size) {
        auto block = std::make_shared<ByteBlock>();
        block->data.reset(new (std::nothrow) uint8_t[static_cast<size_t>(size)]);
        if (block->data == nullptr) {
            return nullptr;
        }
        memcpy(block->data.get(), source, static_cast<size_t>(size));
        block->size = size;
        return block;
    }
};

}  // namespace zem
