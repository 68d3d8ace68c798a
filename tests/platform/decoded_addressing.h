// Where one sample of a decoded picture lies in a decoder's output buffer, layout by layout, from the rules
// alone: for comparing a decoder's bytes with a picture sample by sample.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/platform/test_picture.h"

namespace zem::test {

enum class Layout { PaddedRows, Tiles, Planes };

class DecodedAddressing {
  public:
    DecodedAddressing(Layout layout, int width, int height)
        : mLayout(layout), mWidth(static_cast<size_t>(width)), mHeight(static_cast<size_t>(height)) {}

    size_t size() const {
        switch (mLayout) {
            case Layout::PaddedRows:
                return rowLength() * mHeight * 3 / 2;
            case Layout::Tiles:
                return planeOfTiles(mHeight) + planeOfTiles(mHeight / 2);
            default:
                return mWidth * mHeight * 3 / 2;
        }
    }
    size_t luma(size_t x, size_t y) const {
        return mLayout == Layout::Tiles ? inTiles(x, y, mHeight) : y * rowLength() + x;
    }
    /// Of the Cb (0) or Cr (1) sample at column x, row y of the half-sized planes.
    size_t chroma(size_t x, size_t y, size_t which) const {
        switch (mLayout) {
            case Layout::PaddedRows:
                return mWidth * mHeight + mHeight * (mWidth % 64) + y * rowLength() + 2 * x + which;
            case Layout::Tiles:
                return planeOfTiles(mHeight) + inTiles(2 * x + which, y, mHeight / 2);
            default:
                return mWidth * mHeight + which * (mWidth / 2) * (mHeight / 2) + y * (mWidth / 2) + x;
        }
    }

    /// Empty when `bytes` show `picture`, else what is wrong first.
    std::string fault(const std::vector<uint8_t>& bytes, const Picture& picture) const {
        if (bytes.size() != size()) {
            return std::to_string(bytes.size()) + " bytes, not " + std::to_string(size());
        }
        for (size_t y = 0; y < mHeight; y++) {
            for (size_t x = 0; x < mWidth; x++) {
                const size_t pair = y / 2 * (mWidth / 2) + x / 2;
                if (bytes[luma(x, y)] != picture.y[y * mWidth + x] ||
                    bytes[chroma(x / 2, y / 2, 0)] != picture.cb[pair] ||
                    bytes[chroma(x / 2, y / 2, 1)] != picture.cr[pair]) {
                    return "pixel " + std::to_string(x) + "," + std::to_string(y);
                }
            }
        }
        return "";
    }

  private:
    size_t rowLength() const { return mLayout == Layout::PaddedRows ? mWidth + mWidth % 64 : mWidth; }

    static size_t rowsOfTiles(size_t lines) { return (lines + 31) / 32; }
    size_t tilesAcross() const { return (mWidth + 127) / 128 * 2; }
    size_t planeOfTiles(size_t lines) const {
        const size_t raw = tilesAcross() * rowsOfTiles(lines) * 2048;
        return raw % 8192 < 4096 ? raw : raw + (8192 - raw % 8192);
    }
    // Two rows of tiles make groups of four, for two columns each: upper, upper, lower, lower in the first
    // group, the other way about in the next, and so on. A last row on its own is plain.
    size_t inTiles(size_t byte, size_t line, size_t lines) const {
        const size_t column = byte / 64;
        const size_t row = line / 32;
        size_t tile = row * tilesAcross() + column;
        if (row % 2 == 1 || row + 1 != rowsOfTiles(lines)) {
            const size_t group = column / 2;
            const bool second = (row % 2 == 1) != (group % 2 == 1);
            tile = row / 2 * 2 * tilesAcross() + 4 * group + (second ? 2 : 0) + column % 2;
        }
        return 2048 * tile + 64 * (line % 32) + byte % 64;
    }

    const Layout mLayout;
    const size_t mWidth;
    const size_t mHeight;
};

}  // namespace zem::test
