// The audio encoder as the session sees it, whatever codec stands behind it.
#pragma once

#include <cstdint>

class AudioEncoder {
  public:
    virtual ~AudioEncoder() = default;
    /// Submits `bytes` bytes of interleaved signed 16-bit little-endian PCM. Negative on failure.
    virtual int encode(uint8_t* pcm, int bytes) = 0;
    /// Copies what is ready into `out`, at most `size` bytes; returns the number of bytes written.
    virtual int getData(uint8_t* out, int size) = 0;
};
