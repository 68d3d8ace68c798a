// What the memory traffic of a conversion costs alone: loops that read and write what the converters do, with
// one trivial operation for each result. They use the vectors of the dispatch target in force.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zem::bench {

/// A frame without gaps, even in height, of 32 rows at least, and a multiple of 128 pixels wide; the planes
/// follow one another.
struct LimitFrame {
    const uint8_t* source;
    uint8_t* target;
    size_t width;
    size_t height;
};

void limitRgb32ToNv12(const LimitFrame& frame);
void limitRgb32ToI420(const LimitFrame& frame);
void limitI420ToBgr32(const LimitFrame& frame);
void limitI420ToRgb565(const LimitFrame& frame);
void limitNv12ToRgb565(const LimitFrame& frame);
void limitNv12ToTurnedRgb565(const LimitFrame& frame);

}  // namespace zem::bench
