// Where one sample of a decoded picture lies in a decoder's output buffer, layout by layout, from the rules
// alone: for comparing a decoder's bytes with a picture sample by sample.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/platform/h264_stream.h"
#include "tests/support/tiled_plane.h"

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
                return tiles(mHeight).bytes() + tiles(mHeight / 2).bytes();
            default:
                return mWidth * mHeight * 3 / 2;
        }
    }
    size_t luma(size_t x, size_t y) const {
        return mLayout == Layout::Tiles ? tiles(mHeight).at(x, y) : y * rowLength() + x;
    }
    /// Of the Cb (0) or Cr (1) sample at column x, row y of the half-sized planes.
    size_t chroma(size_t x, size_t y, size_t which) const {
        switch (mLayout) {
            case Layout::PaddedRows:
                return mWidth * mHeight + mHeight * (mWidth % 64) + y * rowLength() + 2 * x + which;
            case Layout::Tiles:
                return tiles(mHeight).bytes() + tiles(mHeight / 2).at(2 * x + which, y);
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

    TiledPlane tiles(size_t lines) const { return {(mWidth + 127) / 128 * 2, (lines + 31) / 32}; }

    const Layout mLayout;
    const size_t mWidth;
    const size_t mHeight;
};

}  // namespace zem::test
