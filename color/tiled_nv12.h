// Tiled NV12, as some decoders give it, straight to RGB565.
//
// Luma and chroma lie in tiles of 64 bytes x 32 lines, 2048 bytes each, in an order that zigzags
// over groups of four tiles in two rows. Chroma is Cb before Cr, at video range; RGB565 words have red
// in the high bits. This is what the decoders of those chips deliver, and differs from the linear
// converters on purpose.
#pragma once

#include <atomic>
#include <cstdint>

namespace zem {
struct ClipTable;

/// Bytes of a tiled picture, as TiledFrameSize() gives them, but never wrapping: what convertNV12Tile
/// may read. 0 for a size below 1. To check data by, where sizes come from a component.
uint64_t tiledNv12Bytes(int width, int height);
}  // namespace zem

/// Bytes of a tiled picture: luma and chroma plane, in 32-bit arithmetic that wraps for sizes which no
/// decoder has (zem::tiledNv12Bytes does not).
unsigned TiledFrameSize(int width, int height);

/// Place in memory, counted in tiles, of tile (x, y) of a plane of `rows` tile rows whose grid is
/// `tilesX` tiles wide (always even).
unsigned nv12TileGetTiledMemBlockNum(unsigned x, unsigned y, unsigned tilesX, unsigned rows);

/// Converts a line of `width` (at most 64) pixels of one tile to `*cursor`, and moves the cursor to
/// `stride` bytes behind the line's start. The chroma line has a Cb,Cr pair for each two pixels.
void nv12TileComputeRGB(uint8_t** cursor, const uint8_t* chromaLine, const uint8_t* lumaLine, unsigned width,
                        unsigned stride);

/// Converts the upper `lines` lines (at most 32) of a tile, each two with one chroma line.
void nv12TileTraverseBlock(uint8_t** cursor, const uint8_t* lumaTile, const uint8_t* chromaTile,
                           unsigned width, unsigned lines, unsigned stride);

/// Converts the picture at `src`, of which the caller knows that it has zem::tiledNv12Bytes() bytes, to
/// RGB565 lines `dstStride` bytes apart. A row of tiles starts 64 * width bytes after the one above
/// whatever `dstStride` is: callers pass 2 * width, for which `dst` needs width * height * 2 bytes.
/// Any other `dstStride` that is at least 2 * width and a multiple of 4 is accepted, all else refused
/// with a log line; so is a picture of more than 32 bits. A size of 0 or a null pointer converts
/// nothing. Any number of threads, alongside delClip() too.
void convertNV12Tile(unsigned width, unsigned height, const void* src, unsigned unused, void* dst,
                     unsigned dstStride);

/// The table by which the tiled conversion clips -278..535 to 0..255; null when there is none. Set and
/// cleared by initClip() and delClip() on any thread.
extern std::atomic<zem::ClipTable*> g_xClip;

/// The entry for 0 of the clip table, which is created when there is none. The caller may read it
/// until the next delClip(), conversions keep their table by themselves. Any thread.
uint8_t* initClip();

/// Drops the clip table, if there is one; conversions that are using it keep it until they are done.
/// Any thread.
void delClip();
