#include "audio/vorbis_encoder.h"

#include <algorithm>
#include <cstring>

#include "base/log.h"

namespace {

constexpr int kFrameBytes = 4;

/// Little-endian PCM, at any address, as the library's floats.
float sampleAt(const uint8_t* bytes) {
    const auto sample = static_cast<int16_t>(static_cast<uint16_t>(bytes[0] | bytes[1] << 8));
    return static_cast<float>(sample) * 3.0517578e-5F;
}

}  // namespace

void VorbisEncoder::release() {
    mState = State::NotReady;
    os.reset();
    vb.reset();
    vd.reset();
    vc.reset();
    vi.reset();
}

int VorbisEncoder::init(int channels, int sampling, int quality) {
    release();
    vorbis_info_init(&vi);
    LOGD("VorbisEncoder::init(ch:%d, sampling:%d, quality:%d)", channels, sampling, quality);
    if (zem::setUpVorbisRates(&vi, channels, sampling, "VorbisEncoder") != 0 ||
        zem::makeVorbisHeaders(&vi, &vc, &vd, &vb, &header, &header_comm, &header_code, "VorbisEncoder") !=
            0) {
        return 0;
    }
    const int result = ogg_stream_init(&os, zem::kVorbisSerial);
    if (result != 0) {
        LOGE("VorbisEncoder ogg_stream_init return %d", result);
        return 0;
    }
    mState = State::Encoding;
    return 1;
}

bool VorbisEncoder::accepts(const uint8_t* pcm, int bytes) const {
    const int frames = bytes / kFrameBytes;
    if (mState == State::NotReady || bytes < 0 || (pcm == nullptr && frames > 0)) {
        LOGE("VorbisEncoder::encode: refused (pcm=%p, bytes=%d, initialised=%d)",
             static_cast<const void*>(pcm), bytes, mState != State::NotReady);
        return false;
    }
    if (frames > kMaxPendingFrames - std::min(vd.pcm_current, kMaxPendingFrames)) {
        LOGE("VorbisEncoder::encode: refused %d frames, %d wait to be fetched", frames, vd.pcm_current);
        return false;
    }
    return true;
}

void VorbisEncoder::fillChannels(float** channels, const uint8_t* pcm, int frames) const {
    const bool isMono = vi.channels == 1;  // one buffer: the right samples go nowhere
    for (int i = 0; i < frames; ++i, pcm += kFrameBytes) {
        channels[0][i] = sampleAt(pcm);
        if (!isMono) {
            channels[1][i] = sampleAt(pcm + 2);
        }
    }
    for (int c = 2; c < vi.channels; ++c) {
        std::fill_n(channels[c], frames, 0.0F);
    }
}

int VorbisEncoder::encode(uint8_t* pcm, int bytes) {
    if (mState == State::Ended) {
        return 0;
    }
    if (!accepts(pcm, bytes)) {
        return -1;
    }
    const int frames = bytes / kFrameBytes;
    float** const buffer = vorbis_analysis_buffer(&vd, frames);
    if (buffer == nullptr) {
        LOGE("VorbisEncoder vorbis_analysis_buffer return NULL");
        return -1;
    }
    fillChannels(buffer, pcm, frames);
    const int result = vorbis_analysis_wrote(&vd, frames);
    if (result != 0) {
        LOGE("VorbisEncoder vorbis_analysis_wrote return %d", result);
    }
    if (frames == 0) {
        mState = State::Ended;  // the library takes 0 frames as the end, and nothing behind it
    }
    return result;
}

/// Copies the pages that the stream has ready. False when one did not fit.
bool VorbisEncoder::copyPages(uint8_t* out, int size, int& written) {
    while (ogg_stream_pageout_fill(&os, &og, zem::kVorbisPageBytes) != 0) {
        if (og.header_len + og.body_len > size - written) {
            LOGE("VorbisEncoder vorbis encoder buffer is too small..");
            return false;
        }
        memcpy(out + written, og.header, static_cast<size_t>(og.header_len));
        written += static_cast<int>(og.header_len);
        memcpy(out + written, og.body, static_cast<size_t>(og.body_len));
        written += static_cast<int>(og.body_len);
        if (ogg_page_eos(&og) != 0) {
            break;
        }
    }
    return true;
}

int VorbisEncoder::getData(uint8_t* out, int size) {
    if (mState == State::NotReady || out == nullptr) {
        LOGE("VorbisEncoder::getData: refused (out=%p, initialised=%d)", static_cast<void*>(out),
             mState != State::NotReady);
        return 0;
    }
    int written = 0;
    while (vorbis_analysis_blockout(&vd, &vb) == 1) {
        vorbis_analysis(&vb, nullptr);
        vorbis_bitrate_addblock(&vb);
        while (vorbis_bitrate_flushpacket(&vd, &op) != 0) {
            ogg_stream_packetin(&os, &op);
            if (!copyPages(out, size, written)) {
                return written;
            }
        }
    }
    return written;
}
