// The conversions that are measured, and who does each: the engine, its limit, and two libraries.
#pragma once

#include <cstddef>
#include <vector>

#include "bench/engine.h"

namespace zem::bench {

/// A conversion of frames of one size.
struct Conversion {
    size_t sourceBytes;
    size_t targetBytes;
    Convert engine;
    Convert table;    // what the engine has to equal
    Convert limit;    // its memory traffic alone
    Convert libyuv;   // what comes nearest, see below
    Convert swscale;  // point sampling; empty where there is none
};

struct Subject {
    const char* name;
    Conversion (*make)(int width, int height);
};

/// All of them. Neither library gives the engine's bytes, but the same formats:
///   libyuv has no rotation to RGB565, so it rotates to I420 first; and it does not read these tiles, so it
///   converts a linear picture of the same size instead, which is less work.
const std::vector<Subject>& subjects();

}  // namespace zem::bench
