// The engine's converters, built twice: with vectors and, in a library of its own, without.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace zem::bench {

/// One frame from `source` to `target`, whose planes follow one another without gaps.
using Convert = std::function<void(const uint8_t* source, uint8_t* target)>;

/// The converters for frames of one size.
struct Engine {
    Convert rgb32ToNv12;
    Convert rgb32ToI420;
    Convert i420ToBgr32;
    Convert i420To565;
    Convert nv12To565;
    Convert nv12To565Rotated;
    Convert tiledNv12To565;
};

/// With the vectors of the dispatch target in force.
Engine vectorEngine(int width, int height);

/// From the tables alone, which define what the vectors have to give.
__attribute__((visibility("default"))) Engine tableEngine(int width, int height);

}  // namespace zem::bench
