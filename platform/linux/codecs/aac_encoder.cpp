#include "platform/linux/codecs/aac_encoder.h"

#include <algorithm>
#include <cstring>

#include "base/log.h"
#include "platform/linux/codecs/av_log.h"

namespace zem {
namespace {

constexpr uint32_t kLeastBitRate = 8000;  // of each channel; libavcodec's rate control fails far below it

}  // namespace

uint32_t usableAacBitRate(uint32_t bitRate, const AudioFormat& format) {
    // A unit at its largest, 44100/1024 times a second; half as many bits as that are transparent, and a
    // quarter is what players and stores use.
    constexpr auto kMostBitsPerSample = static_cast<uint32_t>(kLargestUnitPerChannel * 8 / kSamplesPerUnit);
    const uint32_t most = format.rate * format.channels * kMostBitsPerSample;
    const uint32_t least = std::min(kLeastBitRate * format.channels, most);
    return bitRate == 0 ? std::max(most / 4, least) : std::clamp(bitRate, least, most);
}

std::unique_ptr<AacEncoder> AacEncoder::open(const AudioFormat& format, uint32_t bitRate) {
    if (!aacHasFormat(format)) {
        LOGE("AacEncoder: no stream of %u channels at %u Hz", format.channels, format.rate);
        return nullptr;
    }
    std::unique_ptr<AacEncoder> encoder(new AacEncoder(format, usableAacBitRate(bitRate, format)));
    return encoder->start() ? std::move(encoder) : nullptr;
}

bool AacEncoder::start() {
    const AVCodec* codec = avcodec_find_encoder_by_name("aac");
    mContext.reset(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
    mFrame.reset(av_frame_alloc());
    mPacket.reset(av_packet_alloc());
    if (mContext == nullptr || mFrame == nullptr || mPacket == nullptr) {
        LOGE("AacEncoder: libavcodec has no aac encoder, or no memory is left");
        return false;
    }
    mContext->sample_fmt = AV_SAMPLE_FMT_FLTP;
    mContext->sample_rate = static_cast<int>(mFormat.rate);
    mContext->time_base = av_make_q(1, mContext->sample_rate);
    mContext->bit_rate = mBitRate;
    mContext->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;  // no headers in the units
    av_channel_layout_default(&mContext->ch_layout, static_cast<int>(mFormat.channels));
    const int result = avcodec_open2(mContext.get(), codec, nullptr);
    if (result < 0) {
        LOGE("AacEncoder: cannot open %u channels at %u Hz: %s", mFormat.channels, mFormat.rate,
             avErrorText(result).c_str());
        return false;
    }
    mConfiguration = configurationOf(mFormat);
    mPcm.clear();
    mTaken = 0;
    mSamples = mAnchorSample = 0;
    mDraining = false;
    return true;
}

void AacEncoder::send(const uint8_t* pcm, size_t size, int64_t timestamp) {
    if (mDraining) {
        flush();
    }
    mPcm.erase(mPcm.begin(), mPcm.begin() + static_cast<ptrdiff_t>(mTaken));
    mTaken = 0;
    mAnchorTime = timestamp;
    mAnchorSample = mSamples + static_cast<int64_t>(mPcm.size() / mFormat.bytesPerSample());
    if (mSamples == 0 && mPcm.empty()) {
        mLatest = timestamp;
    }
    mPcm.insert(mPcm.end(), pcm, pcm + size);
}

std::optional<AudioBlock> AacEncoder::receive() {
    av_packet_unref(mPacket.get());
    while (mContext != nullptr && avcodec_receive_packet(mContext.get(), mPacket.get()) < 0) {
        const size_t whole = (mPcm.size() - mTaken) / mFormat.bytesPerSample();
        if (mDraining || whole < kSamplesPerUnit || !encode(kSamplesPerUnit)) {
            return std::nullopt;
        }
    }
    if (mPacket->data == nullptr) {
        return std::nullopt;
    }
    return AudioBlock{mPacket->data, static_cast<size_t>(mPacket->size), timestampOf(mPacket->pts)};
}

void AacEncoder::drain() {
    if (mDraining || mContext == nullptr) {
        return;
    }
    const size_t rest = (mPcm.size() - mTaken) / mFormat.bytesPerSample();
    if (rest > 0) {
        encode(rest);
    }
    mDraining = true;
    avcodec_send_frame(mContext.get(), nullptr);
}

// libavcodec's encoder cannot go on behind an end, nor forget.
void AacEncoder::flush() {
    start();
}

bool AacEncoder::encode(size_t samples) {
    const int result =
        fillFrame(samples) ? avcodec_send_frame(mContext.get(), mFrame.get()) : AVERROR(ENOMEM);
    av_frame_unref(mFrame.get());
    mTaken += samples * mFormat.bytesPerSample();
    mSamples += static_cast<int64_t>(samples);
    if (result < 0) {
        LOGE("AacEncoder: %zu samples are lost: %s", samples, avErrorText(result).c_str());
    }
    return result >= 0;
}

bool AacEncoder::fillFrame(size_t samples) {
    mFrame->nb_samples = static_cast<int>(samples);
    mFrame->format = mContext->sample_fmt;
    mFrame->sample_rate = mContext->sample_rate;
    mFrame->pts = mSamples;
    if (av_channel_layout_copy(&mFrame->ch_layout, &mContext->ch_layout) < 0 ||
        av_frame_get_buffer(mFrame.get(), 0) < 0) {
        return false;
    }
    const uint8_t* from = mPcm.data() + mTaken;
    for (size_t i = 0; i < samples; i++) {
        for (size_t channel = 0; channel < mFormat.channels; channel++) {
            int16_t sample = 0;
            memcpy(&sample, from, sizeof sample);
            from += sizeof sample;
            reinterpret_cast<float*>(mFrame->data[channel])[i] = static_cast<float>(sample) / 32768.0f;
        }
    }
    return true;
}

// A unit may hold samples from before the last bytes, and the first one holds none.
int64_t AacEncoder::timestampOf(int64_t sample) {
    mLatest = std::max(mLatest, mFormat.timeAfter(mAnchorTime, sample - mAnchorSample));
    return mLatest;
}

}  // namespace zem
