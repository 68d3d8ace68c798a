// The pixel loops of the tiled conversion: one call a frame, so that they can be exchanged as a whole.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zem {

constexpr unsigned kTileWidth = 64;  // bytes: as many pixels of luma, half as many chroma pairs
constexpr unsigned kTileLines = 32;
constexpr unsigned kTileBytes = kTileWidth * kTileLines;

/// One frame to convert. All pointers are borrowed and valid; nothing overlaps.
struct TiledNv12Frame {
    unsigned width;  // pixels, at least 1
    unsigned height;
    unsigned tilesX;      // tiles from row to row of the grid, luma and chroma
    unsigned lumaRows;    // rows of tiles
    unsigned chromaRows;  // rows of tiles; 0 for a height of 1
    const uint8_t* luma;
    const uint8_t* chroma;
    uint8_t* dst;
    unsigned dstStride;   // bytes from line to line within a tile
    const uint8_t* clip;  // the entry for 0 of the clip table
};

/// Converts `frame` to RGB565.
void convertTiledNv12(const TiledNv12Frame& frame);

/// The same, pixel by pixel from the table: what convertTiledNv12 must equal to the last byte, and does
/// where there are no vectors.
void convertTiledNv12Table(const TiledNv12Frame& frame);

/// One tile and its place in the picture. All 64 bytes of a tile's lines may be read.
struct TilePlace {
    const uint8_t* luma;
    const uint8_t* chroma;  // the line for the first two of luma
    uint8_t* out;
    unsigned pixels;  // a line, that belong to the picture
    unsigned lines;
};

/// Where tile (column, row) of `frame` is.
TilePlace tilePlace(const TiledNv12Frame& frame, unsigned column, unsigned row);

/// Calls `convert` for the TilePlace of each tile that has pixels, in the order in which rows that
/// overlap must be written.
template <typename Convert>
void forEachTile(const TiledNv12Frame& frame, const Convert& convert) {
    const unsigned columns = (frame.width - 1) / kTileWidth + 1;
    for (unsigned row = 0; row < frame.lumaRows; ++row) {
        for (unsigned column = 0; column < columns; ++column) {
            convert(tilePlace(frame, column, row));
        }
    }
}

/// Converts the upper `lines` lines of one tile, `width` pixels each, to `out`.
void convertTile(uint8_t* out, const uint8_t* luma, const uint8_t* chroma, unsigned width, unsigned lines,
                 unsigned stride, const uint8_t* clip);

/// Converts one line of one tile.
void convertTileLine(uint8_t* out, const uint8_t* luma, const uint8_t* chroma, unsigned width,
                     const uint8_t* clip);

}  // namespace zem
