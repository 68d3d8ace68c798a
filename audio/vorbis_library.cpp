#include "audio/vorbis_library.h"

#include <vorbis/vorbisenc.h>

#include "base/log.h"

int zem::setUpVorbisRates(vorbis_info* vi, int channels, int sampling, const char* user) {
    // A header has one byte for the channels; the library divides by them before it looks.
    const int result = channels < 1 || channels > 255
                           ? OV_EINVAL
                           : vorbis_encode_init(vi, channels, sampling, kVorbisMaximumBitrate,
                                                kVorbisNominalBitrate, kVorbisMinimumBitrate);
    // Both codecs log under the decoder's name, and name the variable-rate call: the field's tools search
    // for these texts.
    LOGD("VorbisDecoder vorbis_encode_init CBR");
    if (result != 0) {
        LOGE("%s vorbis_encode_init_vbr return %d", user, result);
    }
    return result;
}

int zem::makeVorbisHeaders(vorbis_info* vi, vorbis_comment* vc, vorbis_dsp_state* vd, vorbis_block* vb,
                           ogg_packet* header, ogg_packet* comments, ogg_packet* code, const char* user) {
    vorbis_comment_init(vc);
    vorbis_comment_add_tag(vc, kVorbisTag, kVorbisTag);
    vorbis_analysis_init(vd, vi);
    vorbis_block_init(vd, vb);
    const int result = vorbis_analysis_headerout(vd, vc, header, comments, code);
    if (result != 0) {
        LOGE("%s vorbis_analysis_headerout return %d", user, result);
    }
    return result;
}
