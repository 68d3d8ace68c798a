// The audio decoder as the session sees it, whatever codec stands behind it.
#pragma once

#include <cstdint>

class AudioDecoder {
  public:
    virtual ~AudioDecoder() = default;
    /// Submits `size` bytes of compressed audio. Negative on failure.
    virtual int decode(uint8_t* data, int size) = 0;
    /// Copies decoded interleaved signed 16-bit PCM into `out`, at most `size` bytes; returns the
    /// number of bytes written.
    virtual int getData(uint8_t* out, int size) = 0;
    /// Samples a second, or -1 while not initialised.
    virtual int getSamplingRate() = 0;
    /// Channels, or -1 while not initialised.
    virtual int getChannelCount() = 0;
};
