// An AAC encoder on libavcodec: PCM in pieces of any size, whole raw units out.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/linux/codecs/aac_format.h"
#include "platform/linux/codecs/av_handles.h"

namespace zem {

/// Coded or decoded audio: the codec's memory, until its next call.
struct AudioBlock {
    const uint8_t* data;
    size_t size;        // bytes
    int64_t timestamp;  // of the first sample, microseconds
};

/// One stream of low-complexity units without headers. Not thread-safe: one thread at a time.
class AacEncoder {
  public:
    /// Null, and one log line, when the format is refused. Bit rates (bits a second) that no stream of the
    /// format can have are replaced, not refused: usableAacBitRate.
    static std::unique_ptr<AacEncoder> open(const AudioFormat& format, uint32_t bitRate);

    const AacConfiguration& configuration() const { return mConfiguration; }

    /// Takes any number of bytes: what does not fill a unit, odd bytes of a sample included, waits for the
    /// next ones. To be called when receive() has given all units. `timestamp`: of the first byte.
    void send(const uint8_t* pcm, size_t size, int64_t timestamp);
    /// The next unit, in order; none when more samples are wanted. The first one comes with the samples of
    /// the second. Timestamps begin with the first bytes' and do not fall.
    std::optional<AudioBlock> receive();
    /// The stream ends here: receive() gives what is left, then nothing. send() begins another.
    void drain();
    /// Forgets what was sent.
    void flush();

  private:
    AacEncoder(const AudioFormat& format, uint32_t bitRate) : mFormat(format), mBitRate(bitRate) {}
    bool start();
    bool encode(size_t samples);
    bool fillFrame(size_t samples);
    int64_t timestampOf(int64_t sample);

    const AudioFormat mFormat;
    const uint32_t mBitRate;
    AacConfiguration mConfiguration{};
    AvContext mContext;
    AvFrame mFrame;             // empty between calls
    AvPacket mPacket;           // the last unit's bytes
    std::vector<uint8_t> mPcm;  // sent, not encoded yet
    size_t mTaken = 0;          // bytes at the start of mPcm that are encoded
    int64_t mSamples = 0;       // of each channel, encoded
    // The last bytes sent began at this time with this sample; no unit before them was later than mLatest.
    int64_t mAnchorTime = 0;
    int64_t mAnchorSample = 0;
    int64_t mLatest = 0;
    bool mDraining = false;
};

/// `bitRate` where a stream of the format can have it, the nearest one where it cannot; 0 is a rate at which
/// few hear a difference.
uint32_t usableAacBitRate(uint32_t bitRate, const AudioFormat& format);

}  // namespace zem
