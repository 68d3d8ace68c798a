// What the two Vorbis codecs share: the stream's fixed parameters, owners for the structures of libvorbis
// and libogg, and the set-up of an encoder, which is also how a decoder gets its headers.
#pragma once

#include <ogg/ogg.h>
#include <vorbis/codec.h>

namespace zem {

// No header travels: each end makes the three headers for itself out of these. Peers in the field have the
// same values, and a change on one side only breaks decoding.
constexpr long kVorbisMaximumBitrate = -1;  // bit/s; none
constexpr long kVorbisNominalBitrate = 100000;
constexpr long kVorbisMinimumBitrate = 90000;
constexpr char kVorbisTag[] = "KIV";     // a comment of this name, with its name as value
constexpr int kVorbisSerial = 12345678;  // of the Ogg stream, in both directions of every session
constexpr int kVorbisPageBytes = 1000;   // a page is cut when its body has about as many

/// A structure of the libraries, zeroed at first, in which state clearing it is safe. It stays where it is:
/// the libraries keep pointers from one structure to the other, so an owner declares them in the order of
/// their set-up, and they are cleared in reverse.
template <typename T, auto Clear>
class Owned : public T {
  public:
    Owned() : T{} {}
    ~Owned() { Clear(this); }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;

    /// Releases what it holds, and zeroes it.
    void reset() {
        Clear(this);
        static_cast<T&>(*this) = T{};
    }
};

using VorbisInfo = Owned<vorbis_info, vorbis_info_clear>;
using VorbisComment = Owned<vorbis_comment, vorbis_comment_clear>;
using VorbisDsp = Owned<vorbis_dsp_state, vorbis_dsp_clear>;
using VorbisBlock = Owned<vorbis_block, vorbis_block_clear>;
using OggStream = Owned<ogg_stream_state, ogg_stream_clear>;
using OggSync = Owned<ogg_sync_state, ogg_sync_clear>;

/// Sets `vi` (initialised, not yet set up) to the stream's bit rates. 0, or the library's error, which is
/// logged with `user` before it; the library has no settings for some rates and numbers of channels.
int setUpVorbisRates(vorbis_info* vi, int channels, int sampling, const char* user);

/// Starts analysis with a `vi` that is set up, and makes the identification, comment and set-up headers,
/// whose bytes `vd` and `vb` own. 0, or the library's error, which is logged with `user` before it.
int makeVorbisHeaders(vorbis_info* vi, vorbis_comment* vc, vorbis_dsp_state* vd, vorbis_block* vb,
                      ogg_packet* header, ogg_packet* comments, ogg_packet* code, const char* user);

}  // namespace zem
