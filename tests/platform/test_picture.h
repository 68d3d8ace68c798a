// A picture as it comes out of a codec.
#pragma once

#include <cstdint>
#include <vector>

namespace zem::test {

/// A 4:2:0 picture, its planes packed.
struct Picture {
    int width = 0;
    int height = 0;
    bool key = false;
    std::vector<uint8_t> y, cb, cr;
};

}  // namespace zem::test
