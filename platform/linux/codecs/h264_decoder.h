// An H.264 decoder on libavcodec: one access unit in, its picture out, at once.
#pragma once

#include <memory>
#include <optional>

#include "platform/linux/codecs/av_decoder.h"
#include "platform/linux/codecs/decoded_layout.h"
#include "platform/linux/codecs/sequence_size.h"

namespace zem {

struct DecodedPicture {
    PlanarPicture planes;   // the decoder's memory, until its next call
    int64_t timestamp = 0;  // of the unit that it came in
};

/// One open stream. Damage is concealed, or gives no picture: nothing that a stream holds is an error. Not
/// thread-safe: one thread at a time.
class H264Decoder {
  public:
    /// Null, and one log line, when libavcodec refuses.
    static std::unique_ptr<H264Decoder> open();

    /// Takes a whole Annex B access unit, or the configuration (SPS, PPS) on its own; any other bytes do no
    /// harm. To be called when receive() has given all pictures of the last one. Nothing for 0 bytes. Returns
    /// the size of the pictures to come when this is what the unit tells, and they have a layout.
    std::optional<PictureSize> send(const uint8_t* unit, size_t size, int64_t timestamp);
    /// The next picture, in the order of the stream; none when the decoder wants more units. Pictures that
    /// the layouts have no room for (another chroma format, odd sizes, beyond kMaxDecodedSide) are dropped.
    std::optional<DecodedPicture> receive();
    /// The stream ends here: receive() gives what is left, then nothing. send() begins another.
    void drain() { mDecoder.drain(); }
    /// Forgets what was sent; the next picture is a key picture.
    void flush() { mDecoder.flush(); }

  private:
    H264Decoder() = default;

    AvDecoder mDecoder{"h264"};
    SequenceSize mSequenceSize;
    bool mRefused = false;  // the last picture had no layout: only the first of a row of them is logged
};

}  // namespace zem
