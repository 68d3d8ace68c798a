// Where one byte of a tiled plane lies: the rules read a second time, apart from the code that follows them.
#pragma once

#include <cstddef>

namespace zem::test {

struct TiledPlane {
    size_t tilesX;
    size_t rows;

    size_t bytes() const {
        const size_t raw = tilesX * rows * 2048;
        return raw % 8192 < 4096 ? raw : raw + (8192 - raw % 8192);
    }
    // Two rows of tiles make groups of four, for two columns each: upper, upper, lower, lower in the
    // first group, the other way about in the next, and so on. A last row on its own is plain.
    size_t tile(size_t column, size_t row) const {
        if (row % 2 == 0 && row + 1 == rows) {
            return row * tilesX + column;
        }
        const size_t group = column / 2;
        const bool second = (row % 2 == 1) != (group % 2 == 1);
        return row / 2 * 2 * tilesX + 4 * group + (second ? 2 : 0) + column % 2;
    }
    size_t at(size_t byte, size_t line) const {
        return 2048 * tile(byte / 64, line / 32) + 64 * (line % 32) + byte % 64;
    }
};

}  // namespace zem::test
