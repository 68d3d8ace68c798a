// Pictures to send through a codec and to compare with what comes back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zem::test {

/// A 4:2:0 picture, its planes packed.
struct Picture {
    int width = 0;
    int height = 0;
    bool key = false;
    std::vector<uint8_t> y, cb, cr;
};

/// The picture that a frame shows: four patches of different colour, mirrored nowhere.
Picture patches(int width, int height);

/// `picture` as an encoder's input buffer: with interleaved chroma (Cb first) or planes, the chroma from
/// `chromaOffset` on and rubbish before it.
std::vector<uint8_t> frameOf(const Picture& picture, bool interleaved, size_t chromaOffset);

/// The largest difference of two samples of the same place; 256 when the sizes differ.
int largestDifference(const Picture& a, const Picture& b);

}  // namespace zem::test
