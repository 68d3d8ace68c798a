// Asks for memory before it is needed.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zem {

/// Brings the cache line `ahead` bytes behind `at` near, if there is one: any address will do, and nothing is
/// read or written. Any thread. (Inlined, as compilers leave out calls that do nothing else.)
__attribute__((always_inline)) inline void prefetch(const void* at, uintptr_t ahead) {
    __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(at) + ahead));
}

}  // namespace zem
