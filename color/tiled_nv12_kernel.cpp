#include "color/tiled_nv12_kernel.h"

#include <algorithm>
#include <array>

#include "color/tiled_nv12.h"

namespace {

constexpr size_t kPixelBytes = 2;

constexpr std::array<uint8_t, zem::kTileWidth> neutralLine() {
    std::array<uint8_t, zem::kTileWidth> line{};
    for (size_t i = 0; i < line.size(); ++i) {
        line[i] = 128;
    }
    return line;
}

// What a picture of one line, which has no chroma, is converted with.
constexpr std::array<uint8_t, zem::kTileWidth> kNoChroma = neutralLine();

const uint8_t* lumaTile(const zem::TiledNv12Frame& frame, unsigned column, unsigned row) {
    const unsigned tile = nv12TileGetTiledMemBlockNum(column, row, frame.tilesX, frame.lumaRows);
    return frame.luma + size_t{zem::kTileBytes} * tile;
}

// A row of chroma tiles serves two of luma tiles: the odd ones use its lower half. When a picture of an
// odd height has one line more than its chroma serves, the line takes the last one there is.
const uint8_t* chromaTile(const zem::TiledNv12Frame& frame, unsigned column, unsigned lumaRow) {
    if (frame.chromaRows == 0) {
        return kNoChroma.data();
    }
    const bool beyond = lumaRow / 2 >= frame.chromaRows;
    const unsigned row = beyond ? frame.chromaRows - 1 : lumaRow / 2;
    const unsigned line = beyond ? zem::kTileLines - 1 : lumaRow % 2 * zem::kTileLines / 2;
    const unsigned tile = nv12TileGetTiledMemBlockNum(column, row, frame.tilesX, frame.chromaRows);
    return frame.chroma + size_t{zem::kTileBytes} * tile + size_t{zem::kTileWidth} * line;
}

}  // namespace

namespace zem {

void convertTileLine(uint8_t* out, const uint8_t* luma, const uint8_t* chroma, unsigned width,
                     const uint8_t* clip) {
    for (unsigned p = 0; p < width; ++p) {
        // BT.601, video range: 1.164, 1.596, 0.391, 0.813, 2.018, times 256. Division, not a shift:
        // it rounds toward zero.
        const int c = 298 * (luma[p] - 16);
        const int d = chroma[p & ~1u] - 128;
        const int e = chroma[p | 1u] - 128;
        const uint8_t red = clip[(c + 409 * e) / 256];
        const uint8_t green = clip[(c - 100 * d - 208 * e) / 256];
        const uint8_t blue = clip[(c + 517 * d) / 256];
        const int word = (red >> 3) << 11 | (green >> 2) << 5 | blue >> 3;
        out[kPixelBytes * p] = static_cast<uint8_t>(word);
        out[kPixelBytes * p + 1] = static_cast<uint8_t>(word >> 8);
    }
}

void convertTile(uint8_t* out, const uint8_t* luma, const uint8_t* chroma, unsigned width, unsigned lines,
                 unsigned stride, const uint8_t* clip) {
    for (unsigned line = 0; line < lines; ++line) {
        convertTileLine(out + size_t{stride} * line, luma + size_t{kTileWidth} * line,
                        chroma + size_t{kTileWidth} * (line / 2), width, clip);
    }
}

TilePlace tilePlace(const TiledNv12Frame& frame, unsigned column, unsigned row) {
    // Rows of tiles are 32 packed lines apart, whatever the stride: callers pass 2 * width.
    uint8_t* base = frame.dst + kPixelBytes * kTileLines * frame.width * row;
    return {lumaTile(frame, column, row), chromaTile(frame, column, row),
            base + kPixelBytes * kTileWidth * column, std::min(frame.width - column * kTileWidth, kTileWidth),
            std::min(frame.height - row * kTileLines, kTileLines)};
}

void convertTiledNv12Table(const TiledNv12Frame& frame) {
    forEachTile(frame, [&frame](const TilePlace& tile) {
        convertTile(tile.out, tile.luma, tile.chroma, tile.pixels, tile.lines, frame.dstStride, frame.clip);
    });
}

}  // namespace zem
