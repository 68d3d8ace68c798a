// Bytes without a pattern, the same in every run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zem::test {

inline std::vector<uint8_t> noise(size_t size) {
    std::vector<uint8_t> bytes(size);
    uint32_t state = 12345;
    for (uint8_t& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<uint8_t>(state >> 24);
    }
    return bytes;
}

}  // namespace zem::test
