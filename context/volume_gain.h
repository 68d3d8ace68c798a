// Makes hooked sound louder.
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>

namespace zem {

/// `gain` in 1/4096. Rounds towards minus infinity; what would pass 16 bits is clipped.
inline int16_t amplifiedSample(int16_t sample, int32_t gain) {
    constexpr int64_t kEnd = int64_t{1} << 27;  // 32768 in 1/4096
    const int64_t product = int64_t{gain} * sample;
    if (product >= kEnd) {
        return std::numeric_limits<int16_t>::max();
    }
    return product < -kEnd ? std::numeric_limits<int16_t>::min() : static_cast<int16_t>(product >> 12);
}

/// In place, the signed 16-bit samples of a block of `bytes`, which may stand at any address. The last byte
/// of an odd number is left alone.
inline void amplify(uint8_t* pcm, int bytes, int32_t gain) {
    int16_t sample;
    for (int at = 0; at + 1 < bytes; at += 2) {
        memcpy(&sample, pcm + at, sizeof sample);
        sample = amplifiedSample(sample, gain);
        memcpy(pcm + at, &sample, sizeof sample);
    }
}

}  // namespace zem
