// H.264 streams to feed to decoders, and what a player sees of them.
#pragma once

#include <cstdint>
#include <vector>

namespace zem::test {

using Unit = std::vector<uint8_t>;

/// A 4:2:0 picture, its planes packed.
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> y, cb, cr;
};

/// A stream as the encoder components put it out: the configuration, then a unit a picture.
struct CodedStream {
    Unit configuration;
    std::vector<Unit> units;  // the first one is a key picture, the others build on it

    /// Configuration and units, one after the other.
    std::vector<Unit> packets() const;
};

/// `count` pictures of moving noise, in which no two places look alike.
CodedStream codedStream(uint32_t width, uint32_t height, int count);

/// What libavcodec's own decoder, which refuses damage, shows of `packets`.
std::vector<Picture> picturesOf(const std::vector<Unit>& packets);

}  // namespace zem::test
