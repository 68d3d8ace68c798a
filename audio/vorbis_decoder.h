// Decodes the header-less Ogg Vorbis stream of VorbisEncoder to PCM.
#pragma once

#include <ogg/ogg.h>
#include <vorbis/codec.h>

#include <cstdint>

#include "audio/audio_decoder.h"
#include "audio/vorbis_library.h"

/// One thread at a time, which the caller sees to. Takes any bytes: what is damaged or foreign is logged and
/// skipped, and decoding goes on with the next good page.
class VorbisDecoder : public AudioDecoder {
  public:
    /// Bytes that may wait for getData(): over 5 minutes of a stream. Above it, decode() drops what it is
    /// given.
    static constexpr int kMaxBufferedBytes = 4 << 20;

    /// Rebuilds the sender's headers, so `channels` and `sampling` (Hz) must be the sender's; `quality` is
    /// only logged. 1, or 0 on failure (logged). When the headers cannot be made it is the library's error,
    /// which callers take for success: such a decoder yields nothing. Called again, it starts anew.
    int init(int channels, int sampling, int quality);

    /// Keeps the bytes for getData(); always 0. Bytes that cannot be kept are dropped as a whole (logged): a
    /// null pointer, a negative size, or more waiting than kMaxBufferedBytes.
    int decode(uint8_t* data, int size) override;

    /// Decodes what waits as far as it fits and writes interleaved 16-bit PCM in native byte order. Returns
    /// the bytes written, 0 while not initialised. PCM that does not fit (logged) is kept for the next call.
    int getData(uint8_t* out, int size) override;

    int getSamplingRate() override;
    int getChannelCount() override;

    /// In place of init(), for a stream whose first two pages have the headers, after decode() took them: 0,
    /// or -1 on failure (logged). Also 0, not initialised, while the second page or a header is missing: what
    /// was read is gone then, and the stream has to be fed from its start again. No live path uses it.
    int decodeHeader();

  private:
    void release();
    int feedOwnHeaders(int channels, int sampling);
    bool readFirstHeader();
    bool readOtherHeaders();
    bool startSynthesis();
    void logStream() const;
    bool streamIsFull() const;
    void decodePackets(uint8_t* out, int size, int& written, int& full);
    void getPcmData(uint8_t* out, int size, int& written, int& full);

    zem::OggSync oy;
    zem::OggStream os;
    ogg_page og{};
    ogg_packet op{};
    zem::VorbisInfo vi;
    zem::VorbisComment vc;
    zem::VorbisDsp vd;
    zem::VorbisBlock vb;
    int32_t convsize = 0;  // frames converted a round
    int16_t convbuffer[4096]{};
    bool initialised = false;
};

namespace zem {

/// A decoded sample as 16-bit PCM: 1.0 is 32767, rounded to the nearest and clipped; not a number is 0.
int16_t pcm16(float sample);

}  // namespace zem
