// Encodes PCM to Ogg Vorbis without header pages: the receiver makes the same headers for itself.
#pragma once

#include <ogg/ogg.h>
#include <vorbis/codec.h>

#include <cstdint>

#include "audio/audio_encoder.h"
#include "audio/vorbis_library.h"

/// One thread at a time, which the caller sees to. What is encoded and not fetched is kept, up to
/// kMaxPendingFrames of input.
class VorbisEncoder : public AudioEncoder {
  public:
    /// Input that may wait for getData(), in frames: 47 s at 44100 Hz, 16 MiB of the library's memory a
    /// channel.
    static constexpr int kMaxPendingFrames = 1 << 21;

    /// `sampling` in Hz; `quality` is only logged, the bit rates are fixed. 1, or 0 on failure (logged),
    /// after which the object encodes nothing. Called again, it starts a new stream.
    int init(int channels, int sampling, int quality);

    /// Takes interleaved 16-bit little-endian stereo, 4 bytes a frame, whatever the number of channels: a
    /// mono stream gets the left samples, channels past the second are silent. Bytes behind the last whole
    /// frame are ignored. Less than a frame ends the stream; from then on samples are ignored, with result 0.
    /// 0; -1 without set-up, for a negative size, a null pointer, or when more would wait than
    /// kMaxPendingFrames (logged, nothing is taken); or the library's error.
    int encode(uint8_t* pcm, int bytes) override;

    /// Copies the whole pages that are ready, one behind the other; returns their bytes, 0 when there is
    /// none. The first page that does not fit is lost (logged), and the call ends.
    int getData(uint8_t* out, int size) override;

  private:
    enum class State { NotReady, Encoding, Ended };

    void release();
    bool accepts(const uint8_t* pcm, int bytes) const;
    void fillChannels(float** channels, const uint8_t* pcm, int frames) const;
    bool copyPages(uint8_t* out, int size, int& written);

    zem::VorbisInfo vi;
    zem::VorbisComment vc;
    zem::VorbisDsp vd;
    zem::VorbisBlock vb;
    zem::OggStream os;
    ogg_page og{};
    ogg_packet op{};
    // Made by init() and never sent; the bytes are vd's.
    ogg_packet header{};
    ogg_packet header_comm{};
    ogg_packet header_code{};
    State mState = State::NotReady;
};
