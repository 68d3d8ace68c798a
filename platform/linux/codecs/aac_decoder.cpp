#include "platform/linux/codecs/aac_decoder.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/log.h"

namespace zem {
namespace {

// Clips; what is no number is silence.
int16_t sampleOf(float value) {
    const float scaled = std::clamp(value * 32768.0f, -32768.0f, 32767.0f);
    return std::isnan(scaled) ? int16_t{0} : static_cast<int16_t>(std::lrint(scaled));
}

}  // namespace

std::unique_ptr<AacDecoder> AacDecoder::open(const AudioFormat& format) {
    std::unique_ptr<AacDecoder> decoder(new AacDecoder);
    const AacConfiguration configuration = configurationOf(format);
    return decoder->configure(configuration.data(), configuration.size()) ? std::move(decoder) : nullptr;
}

bool AacDecoder::configure(const uint8_t* configuration, size_t size) {
    std::vector<uint8_t> wanted(configuration, configuration + size);
    mConfiguration.swap(wanted);
    const bool good = reopen();
    if (good) {
        mSeen = {};
    } else {
        mConfiguration.swap(wanted);
    }
    return good;
}

bool AacDecoder::reopen() {
    return mDecoder.open([this](AVCodecContext* context) {
        const size_t size = mConfiguration.size();
        // libavcodec's own, freed with the context.
        context->extradata = static_cast<uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
        if (context->extradata != nullptr) {
            memcpy(context->extradata, mConfiguration.data(), size);
            context->extradata_size = static_cast<int>(size);
        }
    });
}

void AacDecoder::send(const uint8_t* units, size_t size, int64_t timestamp) {
    mPacketTime = timestamp;
    mPacketSamples = 0;
    mDecoder.note(mDecoder.send(units, size, timestamp));
}

std::optional<AudioBlock> AacDecoder::receive(AudioFormat* format) {
    while (const AVFrame* frame = mDecoder.receive()) {
        const int64_t before = mPacketSamples;
        mPacketSamples += frame->nb_samples;
        if (believes(*frame)) {
            convert(*frame);
            *format = mBelieved;
            return AudioBlock{reinterpret_cast<const uint8_t*>(mSamples.data()),
                              mSamples.size() * sizeof(int16_t), mBelieved.timeAfter(mPacketTime, before)};
        }
    }
    return std::nullopt;
}

// Raw units do not carry their format: what changes it is most often damage that libavcodec takes for a
// header or an extension, and then holds on to. So it begins again with the configuration, and a second unit
// has to say the same; but the first one after a configuration is believed.
bool AacDecoder::believes(const AVFrame& frame) {
    const AudioFormat format{static_cast<uint32_t>(frame.sample_rate),
                             static_cast<uint32_t>(frame.ch_layout.nb_channels)};
    const bool again = format == mSeen || mSeen == AudioFormat{} || format == mBelieved;
    mSeen = format;
    if (again && aacHasFormat(format) && frame.format == AV_SAMPLE_FMT_FLTP) {
        mBelieved = format;
        mRefused = false;
        return true;
    }
    if (!mRefused) {
        LOGW("AacDecoder: samples of %u channels at %u Hz are dropped", format.channels, format.rate);
    }
    mRefused = true;
    reopen();
    return false;
}

void AacDecoder::convert(const AVFrame& frame) {
    const auto channels = static_cast<size_t>(frame.ch_layout.nb_channels);
    const auto count = static_cast<size_t>(frame.nb_samples);
    mSamples.resize(count * channels);
    for (size_t channel = 0; channel < channels; channel++) {
        const auto* from = reinterpret_cast<const float*>(frame.extended_data[channel]);
        for (size_t i = 0; i < count; i++) {
            mSamples[i * channels + channel] = sampleOf(from[i]);
        }
    }
}

}  // namespace zem
