#include "bench/plain_vorbis.h"

#include <vorbis/vorbisenc.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "audio/vorbis_library.h"

namespace zem::bench {

PlainVorbisEncoder::PlainVorbisEncoder(int channels, int rate) {
    vorbis_info_init(&mInfo);
    vorbis_encode_init(&mInfo, channels, rate, kVorbisMaximumBitrate, kVorbisNominalBitrate,
                       kVorbisMinimumBitrate);
    vorbis_comment_init(&mComment);
    vorbis_analysis_init(&mDsp, &mInfo);
    vorbis_block_init(&mDsp, &mBlock);
    vorbis_analysis_headerout(&mDsp, &mComment, &headers[0], &headers[1], &headers[2]);
    ogg_stream_init(&mStream, kVorbisSerial);
}

void PlainVorbisEncoder::encode(const uint8_t* pcm, int bytes) {
    const int frames = bytes / 4;
    float** const channels = vorbis_analysis_buffer(&mDsp, frames);
    for (int i = 0; i < frames; ++i) {
        int16_t samples[2];
        memcpy(samples, pcm + 4 * i, sizeof samples);
        channels[0][i] = samples[0] / 32768.0F;
        channels[1][i] = samples[1] / 32768.0F;
    }
    vorbis_analysis_wrote(&mDsp, frames);
}

int PlainVorbisEncoder::getData(uint8_t* out, int /*size*/) {
    int written = 0;
    ogg_packet packet;
    ogg_page page;
    while (vorbis_analysis_blockout(&mDsp, &mBlock) == 1) {
        vorbis_analysis(&mBlock, nullptr);
        vorbis_bitrate_addblock(&mBlock);
        while (vorbis_bitrate_flushpacket(&mDsp, &packet) != 0) {
            ogg_stream_packetin(&mStream, &packet);
            while (ogg_stream_pageout_fill(&mStream, &page, kVorbisPageBytes) != 0) {
                memcpy(out + written, page.header, static_cast<size_t>(page.header_len));
                written += static_cast<int>(page.header_len);
                memcpy(out + written, page.body, static_cast<size_t>(page.body_len));
                written += static_cast<int>(page.body_len);
            }
        }
    }
    return written;
}

PlainVorbisDecoder::PlainVorbisDecoder(int channels, int rate) {
    PlainVorbisEncoder sender(channels, rate);
    vorbis_info_init(&mInfo);
    vorbis_comment_init(&mComment);
    for (ogg_packet& header : sender.headers) {
        vorbis_synthesis_headerin(&mInfo, &mComment, &header);
    }
    vorbis_synthesis_init(&mDsp, &mInfo);
    vorbis_block_init(&mDsp, &mBlock);
    ogg_sync_init(&mSync);
    ogg_stream_init(&mStream, kVorbisSerial);
}

void PlainVorbisDecoder::decode(const uint8_t* data, int bytes) {
    memcpy(ogg_sync_buffer(&mSync, bytes), data, static_cast<size_t>(bytes));
    ogg_sync_wrote(&mSync, bytes);
}

int PlainVorbisDecoder::getData(uint8_t* out, int /*size*/) {
    int written = 0;
    ogg_packet packet;
    ogg_page page;
    while (ogg_sync_pageout(&mSync, &page) != 0) {
        ogg_stream_pagein(&mStream, &page);
        while (ogg_stream_packetout(&mStream, &packet) != 0) {
            if (vorbis_synthesis(&mBlock, &packet) == 0) {
                vorbis_synthesis_blockin(&mDsp, &mBlock);
            }
            float** pcm = nullptr;
            for (int frames = 0; (frames = vorbis_synthesis_pcmout(&mDsp, &pcm)) > 0;) {
                for (int i = 0; i < frames; ++i, written += 4) {
                    int16_t samples[2];
                    for (int c = 0; c < 2; ++c) {
                        const double value = std::floor(pcm[c][i] * 32767.0 + 0.5);
                        samples[c] = static_cast<int16_t>(std::clamp(value, -32768.0, 32767.0));
                    }
                    memcpy(out + written, samples, sizeof samples);
                }
                vorbis_synthesis_read(&mDsp, frames);
            }
        }
    }
    return written;
}

}  // namespace zem::bench
