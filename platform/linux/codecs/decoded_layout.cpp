#include "platform/linux/codecs/decoded_layout.h"

#include <algorithm>
#include <cstring>

namespace zem {
namespace {

// The padded rows: a row grows by its own remainder, not up to the next multiple. These chips do it so.
constexpr uint32_t kRowGrain = 64;

constexpr uint32_t kTileWidth = 64;
constexpr uint32_t kTileLines = 32;
constexpr uint32_t kTileSize = kTileWidth * kTileLines;
constexpr uint32_t kPlaneGrain = 8192;  // a tiled plane in an odd number of halves of this is rounded up

constexpr uint32_t tilesFor(uint32_t length, uint32_t tile) {
    return (length + tile - 1) / tile;
}

/// The grid of tiles that a plane of `lines` rows is stored in.
class TileGrid {
  public:
    TileGrid(uint32_t tilesAcross, uint32_t lines)
        : mAcross(tilesAcross), mRows(tilesFor(lines, kTileLines)) {}

    uint32_t rows() const { return mRows; }
    size_t size() const {
        const size_t tiles = size_t{mAcross} * mRows * kTileSize;
        return (tiles & (kPlaneGrain / 2)) != 0 ? (tiles + kPlaneGrain - 1) / kPlaneGrain * kPlaneGrain
                                                : tiles;
    }
    /// Of the part of `line` that lies in tile column `column`.
    size_t offset(uint32_t column, uint32_t line) const {
        return size_t{index(column, line / kTileLines)} * kTileSize + size_t{line % kTileLines} * kTileWidth;
    }

  private:
    // Two rows of tiles are stored as one zigzag of 2x2 groups; a last row without a partner as it is.
    uint32_t index(uint32_t column, uint32_t row) const {
        if (row % 2 != 0) {
            return column + column / 4 * 4 + mAcross * (row - 1) + 2;
        }
        if (row == mRows - 1) {
            return column + mAcross * row;
        }
        return column + (column + 2) / 4 * 4 + mAcross * row;
    }

    const uint32_t mAcross;  // even
    const uint32_t mRows;
};

void interleave(const uint8_t* cb, const uint8_t* cr, uint32_t pairs, uint8_t* out) {
    for (size_t i = 0; i < pairs; i++) {
        out[2 * i] = cb[i];
        out[2 * i + 1] = cr[i];
    }
}

uint8_t* copyPlane(const PlanarPicture::Plane& plane, uint32_t width, uint32_t rows, size_t stride,
                   uint8_t* out) {
    for (uint32_t row = 0; row < rows; row++, out += stride) {
        memcpy(out, plane.row(row), width);
    }
    return out;
}

}  // namespace

DecodedLayout::DecodedLayout(DecoderOutput output, uint32_t width, uint32_t height)
    : mOutput(output), mStride(width), mSliceHeight(height) {
    if (output == DecoderOutput::Nv12Tiles) {
        const uint32_t across = (tilesFor(width, kTileWidth) + 1) / 2 * 2;
        const TileGrid luma(across, height);
        mStride = across * kTileWidth;
        mSliceHeight = luma.rows() * kTileLines;
        mChromaOffset = luma.size();
        mSize = mChromaOffset + TileGrid(across, height / 2).size();
        return;
    }
    if (output == DecoderOutput::Nv12RowsOf64) {
        mStride = width + width % kRowGrain;
    }
    mChromaOffset = size_t{mStride} * height;
    mSize = mChromaOffset + (mChromaOffset + 1) / 2;
}

void DecodedLayout::write(const PlanarPicture& picture, uint8_t* destination) const {
    switch (mOutput) {
        case DecoderOutput::Nv12RowsOf64:
            writeRows(picture, destination);
            break;
        case DecoderOutput::Nv12Tiles:
            writeTiles(picture, destination);
            break;
        case DecoderOutput::I420:
            writePlanes(picture, destination);
            break;
    }
}

void DecodedLayout::writeRows(const PlanarPicture& picture, uint8_t* destination) const {
    uint8_t* out = copyPlane(picture.y, picture.width, picture.height, mStride, destination);
    for (uint32_t row = 0; row < picture.height / 2; row++, out += mStride) {
        interleave(picture.cb.row(row), picture.cr.row(row), picture.width / 2, out);
    }
}

void DecodedLayout::writeTiles(const PlanarPicture& picture, uint8_t* destination) const {
    const uint32_t across = mStride / kTileWidth;
    const TileGrid luma(across, picture.height);
    const TileGrid chroma(across, picture.height / 2);
    for (uint32_t x = 0; x < picture.width; x += kTileWidth) {
        const uint32_t column = x / kTileWidth;
        const uint32_t bytes = std::min(kTileWidth, picture.width - x);
        for (uint32_t line = 0; line < picture.height; line++) {
            memcpy(destination + luma.offset(column, line), picture.y.row(line) + x, bytes);
        }
        for (uint32_t line = 0; line < picture.height / 2; line++) {
            interleave(picture.cb.row(line) + x / 2, picture.cr.row(line) + x / 2, bytes / 2,
                       destination + mChromaOffset + chroma.offset(column, line));
        }
    }
}

void DecodedLayout::writePlanes(const PlanarPicture& picture, uint8_t* destination) const {
    const uint32_t width = picture.width;
    const uint32_t height = picture.height;
    uint8_t* out = copyPlane(picture.y, width, height, width, destination);
    out = copyPlane(picture.cb, width / 2, height / 2, width / 2, out);
    copyPlane(picture.cr, width / 2, height / 2, width / 2, out);
}

}  // namespace zem
