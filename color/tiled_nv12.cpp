#include "color/tiled_nv12.h"

#include <limits>

#include "base/log.h"
#include "color/tile_clip.h"
#include "color/tiled_nv12_kernel.h"

namespace {

// Tiles from row to row of the grid: those that hold pixels, rounded up to an even count.
unsigned tilesAcross(unsigned width) {
    return (((width - 1) / zem::kTileWidth) + 2) & ~1u;
}

unsigned rowsOfTiles(unsigned lines) {
    return lines == 0 ? 0 : (lines - 1) / zem::kTileLines + 1;
}

// Decoders give each plane whole units of 8192 bytes. The grid is even, so that only bit 12 can stand over.
uint64_t tiledPlaneBytes(unsigned tilesX, unsigned rows) {
    constexpr uint64_t kRoundsUp = 4096;
    constexpr uint64_t kUnit = 8192;
    const uint64_t bytes = uint64_t{tilesX} * rows * zem::kTileBytes;
    return (bytes & kRoundsUp) != 0 ? (bytes + kUnit - 1) / kUnit * kUnit : bytes;
}

bool fits32Bits(uint64_t bytes) {
    return bytes <= std::numeric_limits<uint32_t>::max();
}

}  // namespace

namespace zem {

uint64_t tiledNv12Bytes(int width, int height) {
    if (width < 1 || height < 1) {
        return 0;
    }
    const unsigned tilesX = tilesAcross(static_cast<unsigned>(width));
    const auto lines = static_cast<unsigned>(height);
    return tiledPlaneBytes(tilesX, rowsOfTiles(lines)) + tiledPlaneBytes(tilesX, rowsOfTiles(lines / 2));
}

}  // namespace zem

unsigned TiledFrameSize(int width, int height) {
    const unsigned tilesX = tilesAcross(static_cast<unsigned>(width));
    const uint64_t luma = tiledPlaneBytes(tilesX, rowsOfTiles(static_cast<unsigned>(height)));
    const uint64_t chroma = tiledPlaneBytes(tilesX, rowsOfTiles(static_cast<unsigned>(height / 2)));
    return static_cast<unsigned>(luma + chroma);
}

unsigned nv12TileGetTiledMemBlockNum(unsigned x, unsigned y, unsigned tilesX, unsigned rows) {
    if (y % 2 != 0) {
        return x + (x & ~3u) + tilesX * (y & ~1u) + 2;
    }
    const bool unpairedLastRow = rows % 2 != 0 && y == rows - 1;
    return x + (unpairedLastRow ? 0 : (x + 2) & ~3u) + tilesX * y;
}

void nv12TileComputeRGB(uint8_t** cursor, const uint8_t* chromaLine, const uint8_t* lumaLine, unsigned width,
                        unsigned stride) {
    const zem::ClipReference clip;
    zem::convertTileLine(*cursor, lumaLine, chromaLine, width, clip.zero());
    *cursor += stride;
}

void nv12TileTraverseBlock(uint8_t** cursor, const uint8_t* lumaTile, const uint8_t* chromaTile,
                           unsigned width, unsigned lines, unsigned stride) {
    const zem::ClipReference clip;
    zem::convertTile(*cursor, lumaTile, chromaTile, width, lines, stride, clip.zero());
    *cursor += size_t{stride} * lines;
}

void convertNV12Tile(unsigned width, unsigned height, const void* src, unsigned, void* dst,
                     unsigned dstStride) {
    if (dstStride / 2 < width || dstStride % 4 != 0) {
        LOGE("\n error dstSkip param in convertNV12");
        return;
    }
    if (width == 0 || height == 0 || !src || !dst) {
        return;
    }
    zem::TiledNv12Frame frame{};
    frame.width = width;
    frame.height = height;
    frame.tilesX = tilesAcross(width);
    frame.lumaRows = rowsOfTiles(height);
    frame.chromaRows = rowsOfTiles(height / 2);
    const uint64_t lumaBytes = tiledPlaneBytes(frame.tilesX, frame.lumaRows);
    if (!fits32Bits(lumaBytes + tiledPlaneBytes(frame.tilesX, frame.chromaRows))) {
        LOGE("a tiled picture of %u x %u has more than 32 bits of bytes", width, height);
        return;
    }
    frame.luma = static_cast<const uint8_t*>(src);
    frame.chroma = frame.luma + static_cast<size_t>(lumaBytes);
    frame.dst = static_cast<uint8_t*>(dst);
    frame.dstStride = dstStride;
    const zem::ClipReference clip;
    frame.clip = clip.zero();
    zem::convertTiledNv12(frame);
}
