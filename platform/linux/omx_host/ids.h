// Names of nodes and buffers: 32-bit, never 0, unique in the process, never used again.
#pragma once

#include <atomic>
#include <cstdint>

namespace zem {

/// 0 when the four thousand million names are used up. Any thread.
inline uint32_t nextId(std::atomic<uint32_t>* last) {
    uint32_t value = last->load(std::memory_order_relaxed);
    while (value != UINT32_MAX) {
        if (last->compare_exchange_weak(value, value + 1, std::memory_order_relaxed)) {
            return value + 1;
        }
    }
    return 0;
}

inline uint32_t nextBufferId() {
    static std::atomic<uint32_t> last{0};
    return nextId(&last);
}

inline uint32_t nextNodeId() {
    static std::atomic<uint32_t> last{0};
    return nextId(&last);
}

}  // namespace zem
