// What the converters' references share.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "color/color_converter.h"

namespace zem::test {

/// Bytes without a pattern, the same in every run.
inline std::vector<uint8_t> noise(size_t size) {
    std::vector<uint8_t> bytes(size);
    uint32_t state = 12345;
    for (uint8_t& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<uint8_t>(state >> 24);
    }
    return bytes;
}

/// A coefficient in 16-bit fixed point.
inline int fixed(double coefficient) {
    return static_cast<int>(std::lround(coefficient * 65536));
}

template <typename Converter>
std::unique_ptr<ColorConverter> create(int width, int height) {
    return std::make_unique<Converter>(width, height);
}

}  // namespace zem::test
