// libvorbis and libogg with nothing around them: the least that can be done to encode or decode a stream.
#pragma once

#include <ogg/ogg.h>
#include <vorbis/codec.h>

#include <cstdint>

namespace zem::bench {

/// Encodes 16-bit stereo to pages, at the engine's bit rates. Its data live as long as the program.
class PlainVorbisEncoder {
  public:
    PlainVorbisEncoder(int channels, int rate);
    void encode(const uint8_t* pcm, int bytes);
    int getData(uint8_t* out, int size);
    /// The stream's three headers.
    ogg_packet headers[3]{};

  private:
    vorbis_info mInfo{};
    vorbis_comment mComment{};
    vorbis_dsp_state mDsp{};
    vorbis_block mBlock{};
    ogg_stream_state mStream{};
};

/// Decodes them to 16-bit samples.
class PlainVorbisDecoder {
  public:
    PlainVorbisDecoder(int channels, int rate);
    void decode(const uint8_t* data, int bytes);
    int getData(uint8_t* out, int size);

  private:
    vorbis_info mInfo{};
    vorbis_comment mComment{};
    vorbis_dsp_state mDsp{};
    vorbis_block mBlock{};
    ogg_sync_state mSync{};
    ogg_stream_state mStream{};
};

}  // namespace zem::bench
