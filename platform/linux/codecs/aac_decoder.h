// An AAC decoder on libavcodec: raw units in, PCM out.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/linux/codecs/aac_encoder.h"
#include "platform/linux/codecs/av_decoder.h"

namespace zem {

/// One open stream. Nothing that a stream holds is an error: damage costs the rest of the bytes that were
/// sent with it. Not thread-safe: one thread at a time.
class AacDecoder {
  public:
    /// A decoder of low-complexity units of `format`, until a configuration says otherwise. Null, and one log
    /// line, when libavcodec refuses.
    static std::unique_ptr<AacDecoder> open(const AudioFormat& format);

    /// The units to come are of this configuration. False, one log line and no change for one that cannot be
    /// read.
    bool configure(const uint8_t* configuration, size_t size);
    /// Takes whole units, one or more end to end. To be called when receive() has given all of the last ones.
    void send(const uint8_t* units, size_t size, int64_t timestamp);
    /// The samples of the next unit, in `format`; none when the decoder wants more.
    std::optional<AudioBlock> receive(AudioFormat* format);
    /// The stream ends here: receive() gives what is left, then nothing. send() begins another.
    void drain() { mDecoder.drain(); }
    /// Forgets what was sent.
    void flush() { mDecoder.flush(); }

  private:
    AacDecoder() = default;
    bool reopen();
    bool believes(const AVFrame& frame);
    void convert(const AVFrame& frame);

    AvDecoder mDecoder{"aac"};
    std::vector<uint8_t> mConfiguration;  // that mDecoder is open with
    AudioFormat mBelieved{};              // of the stream
    AudioFormat mSeen{};                  // of the last unit; 0: none has come since the configuration
    int64_t mPacketTime = 0;              // of the first unit of the last packet
    int64_t mPacketSamples = 0;           // of each channel, that have come of it
    std::vector<int16_t> mSamples;
    bool mRefused = false;  // the last unit's format: only the first of a row is logged
};

}  // namespace zem
