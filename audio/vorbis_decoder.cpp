#include "audio/vorbis_decoder.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/log.h"

namespace {

constexpr int kConvertedSamples = 4096;  // of all channels together

// What a sender makes stays far below both; a stream that is never fetched, or one endless packet, does not.
constexpr long kMaxStreamBytes = 1 << 20;
constexpr long kMaxStreamSegments = 1 << 16;

}  // namespace

int16_t zem::pcm16(float sample) {
    const double value = std::floor(static_cast<double>(sample) * 32767.0 + 0.5);
    if (std::isnan(value)) {
        return 0;
    }
    return static_cast<int16_t>(std::clamp(value, -32768.0, 32767.0));
}

void VorbisDecoder::release() {
    initialised = false;
    vb.reset();
    vd.reset();
    vc.reset();
    vi.reset();
    os.reset();
}

int VorbisDecoder::init(int channels, int sampling, int quality) {
    release();
    oy.reset();
    LOGD("VorbisDecoder::init(ch:%d, sampling:%d, quality:%d)", channels, sampling, quality);
    ogg_sync_init(&oy);
    const int result = feedOwnHeaders(channels, sampling);
    if (result != 1) {
        return result;
    }
    if (!startSynthesis()) {
        return 0;
    }
    if (ogg_stream_init(&os, zem::kVorbisSerial) != 0) {
        LOGE("VorbisDecoder::init: no memory for the stream");
        return 0;
    }
    logStream();
    initialised = true;
    return 1;
}

/// Lets an encoder of the sender's parameters make the headers, and reads them. 1, or what init() returns.
int VorbisDecoder::feedOwnHeaders(int channels, int sampling) {
    zem::VorbisInfo info;
    zem::VorbisComment comment;
    zem::VorbisDsp dsp;
    zem::VorbisBlock block;
    ogg_packet packets[3]{};
    vorbis_info_init(&info);
    if (zem::setUpVorbisRates(&info, channels, sampling, "VorbisDecoder") != 0) {
        return 0;
    }
    const int result = zem::makeVorbisHeaders(&info, &comment, &dsp, &block, &packets[0], &packets[1],
                                              &packets[2], "VorbisDecoder");
    if (result != 0) {
        return result;
    }
    vorbis_info_init(&vi);
    vorbis_comment_init(&vc);
    for (int n = 0; n < 3; ++n) {
        if (vorbis_synthesis_headerin(&vi, &vc, &packets[n]) != 0) {
            LOGE("VorbisDecoder vorbis_synthesis_headerin fail....%d\n", n + 1);
            return 0;
        }
    }
    return 1;
}

/// With all headers read. False when they do not make a stream (logged).
bool VorbisDecoder::startSynthesis() {
    if (vi.channels < 1 || vorbis_synthesis_init(&vd, &vi) != 0 || vorbis_block_init(&vd, &vb) != 0) {
        LOGE("VorbisDecoder: no synthesis with these headers");
        return false;
    }
    convsize = kConvertedSamples / vi.channels;
    return true;
}

void VorbisDecoder::logStream() const {
    for (int i = 0; i < vc.comments; ++i) {
        LOGI("%s\n", vc.user_comments[i]);
    }
    LOGI("\nBitstream is %d channel, %ldHz\n", vi.channels, vi.rate);
    // No vendor: the comment header is missing.
    LOGI("Encoded by: %s\n\n", vc.vendor != nullptr ? vc.vendor : "");
}

int VorbisDecoder::decode(uint8_t* data, int size) {
    if (size < 0 || (data == nullptr && size > 0)) {
        LOGE("VorbisDecoder::decode: refused (data=%p, size=%d)", static_cast<void*>(data), size);
        return 0;
    }
    const int waiting = oy.fill - oy.returned;
    if (size > kMaxBufferedBytes - waiting) {
        LOGE("VorbisDecoder::decode: dropped %d bytes, %d wait to be fetched", size, waiting);
        return 0;
    }
    char* const buffer = size > 0 ? ogg_sync_buffer(&oy, size) : nullptr;
    if (buffer != nullptr) {
        memcpy(buffer, data, static_cast<size_t>(size));
        ogg_sync_wrote(&oy, size);
    } else if (size > 0) {
        LOGE("VorbisDecoder::decode: no memory for %d bytes", size);
    }
    return 0;
}

bool VorbisDecoder::streamIsFull() const {
    return os.body_fill - os.body_returned > kMaxStreamBytes ||
           os.lacing_fill - os.lacing_returned > kMaxStreamSegments;
}

int VorbisDecoder::getData(uint8_t* out, int size) {
    if (!initialised) {
        return 0;
    }
    if (out == nullptr) {
        LOGE("VorbisDecoder::getData: no buffer");
        return 0;
    }
    int written = 0;
    int full = 0;
    getPcmData(out, size, written, full);
    while (full == 0) {
        // A call that found no room leaves its page's packets in the stream, to follow with the next page.
        // When too much has gathered there, packets go first.
        const bool takePage = !streamIsFull();
        if (takePage) {
            const int result = ogg_sync_pageout(&oy, &og);
            if (result == 0) {
                break;
            }
            if (result < 0) {
                LOGE("VorbisDecoder Corrupt or missing data in bitstream; continuing...\n");
                continue;
            }
            ogg_stream_pagein(&os, &og);
        }
        decodePackets(out, size, written, full);
        if (full == 0 && streamIsFull()) {
            LOGE("VorbisDecoder: dropped a packet of more than %ld bytes", kMaxStreamBytes);
            ogg_stream_reset(&os);
        }
    }
    return written;
}

void VorbisDecoder::decodePackets(uint8_t* out, int size, int& written, int& full) {
    int result = 0;
    while (full == 0 && (result = ogg_stream_packetout(&os, &op)) != 0) {
        if (result < 0) {
            LOGI("VorbisDecoder missing or corrupt data at this page position...\n");
            continue;
        }
        const int synthesis = vorbis_synthesis(&vb, &op);
        if (synthesis == 0) {
            vorbis_synthesis_blockin(&vd, &vb);
        } else {
            LOGV("vorbis_synthesis result %d, vi.codec_setup=%p", synthesis, vi.codec_setup);
        }
        getPcmData(out, size, written, full);
    }
}

void VorbisDecoder::getPcmData(uint8_t* out, int size, int& written, int& full) {
    while (full == 0) {
        float** pcm = nullptr;
        const int ready = vorbis_synthesis_pcmout(&vd, &pcm);
        if (ready <= 0) {
            return;
        }
        const int frames = std::min(ready, convsize);
        const int bytes = frames * vi.channels * static_cast<int>(sizeof(int16_t));
        if (bytes > size - written) {
            LOGI(
                "VorbisDecoder audio bufer is running short...return now...written = %d, current sample size "
                "= %d, bufsize=%d\n",
                written, bytes, size);
            full = 1;
            return;
        }
        for (int c = 0; c < vi.channels; ++c) {
            for (int i = 0; i < frames; ++i) {
                convbuffer[i * vi.channels + c] = zem::pcm16(pcm[c][i]);
            }
        }
        memcpy(out + written, convbuffer, static_cast<size_t>(bytes));
        written += bytes;
        vorbis_synthesis_read(&vd, frames);
        if (written >= size) {
            full = 1;
        }
    }
}

int VorbisDecoder::getSamplingRate() {
    return initialised ? static_cast<int>(vi.rate) : -1;
}

int VorbisDecoder::getChannelCount() {
    return initialised ? vi.channels : -1;
}

bool VorbisDecoder::readFirstHeader() {
    if (ogg_sync_pageout(&oy, &og) != 1) {
        LOGE("VorbisDecoder Input does not appear to be an Ogg bitstream.\n");
        return false;
    }
    ogg_stream_init(&os, ogg_page_serialno(&og));
    if (ogg_stream_pagein(&os, &og) < 0) {
        LOGE("VorbisDecoder Error reading first page of Ogg bitstream data.\n");
        return false;
    }
    if (ogg_stream_packetout(&os, &op) != 1) {
        LOGE("VorbisDecoder Error reading initial header packet.\n");
        return false;
    }
    if (vorbis_synthesis_headerin(&vi, &vc, &op) < 0) {
        LOGE("VorbisDecoder This Ogg bitstream does not contain Vorbis audio data.\n");
        return false;
    }
    return true;
}

/// The comment and the set-up header, from the page just read.
bool VorbisDecoder::readOtherHeaders() {
    ogg_stream_pagein(&os, &og);
    for (int n = 0; n < 2; ++n) {
        const int result = ogg_stream_packetout(&os, &op);
        if (result == 0) {
            return true;
        }
        if (result < 0 || vorbis_synthesis_headerin(&vi, &vc, &op) != 0) {
            LOGE("VorbisDecoder Corrupt secondary header.  Exiting.\n");
            return false;
        }
    }
    return true;
}

int VorbisDecoder::decodeHeader() {
    release();
    vorbis_info_init(&vi);
    vorbis_comment_init(&vc);
    if (!readFirstHeader()) {
        return -1;
    }
    if (ogg_sync_pageout(&oy, &og) != 1) {
        return 0;
    }
    if (!readOtherHeaders()) {
        return -1;
    }
    logStream();
    initialised = startSynthesis();
    return 0;
}
