#include "platform/linux/codecs/h264_encoder.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <string>

#include "base/log.h"
#include "platform/linux/codecs/av_log.h"

namespace zem {
namespace {

constexpr uint32_t kDefaultFrameRate = 30u << 16;
constexpr uint32_t kMaxFrameRate = 240u << 16;
constexpr uint32_t kOneFramePerSecond = 1u << 16;

// Below, x264 cannot even pay for its headers; above lies no level of the standard.
constexpr uint32_t kMinBitRate = 16000;
constexpr uint32_t kMaxBitRate = 240000000;

// Finest quantisation: bounds a unit's size; screens are visually lossless well before.
constexpr int kFinestQuantiser = 10;

// x264 takes larger intervals as "never"; the sum with 1 still fits an int.
constexpr uint32_t kLongestKeyInterval = 1u << 30;

// One frame's memory is the caller's.
void keepCallersMemory(void*, uint8_t*) {}

// How much of a second's bits the rate-control buffer holds, in percent.
int bufferPercent(H264RateControl control) {
    return control == H264RateControl::Constant ? 50 : 100;
}

const char* profileName(H264Profile profile) {
    switch (profile) {
        case H264Profile::Baseline:
            return "baseline";
        case H264Profile::Main:
            return "main";
        case H264Profile::High:
            break;
    }
    return "high";
}

}  // namespace

uint32_t usableBitRate(uint32_t bitRate, uint32_t width, uint32_t height, uint32_t frameRateQ16) {
    if (bitRate >= kMinBitRate && bitRate <= kMaxBitRate) {
        return bitRate;
    }
    if (bitRate > 0 && bitRate < kMinBitRate) {
        return kMinBitRate;
    }
    // A tenth of a bit a pixel: 2.8 Mbit/s at 1280x720 and 30 frames a second.
    const uint64_t pixelsPerSecond = (static_cast<uint64_t>(width) * height * frameRateQ16) >> 16;
    return static_cast<uint32_t>(std::clamp<uint64_t>(pixelsPerSecond / 10, kMinBitRate, kMaxBitRate));
}

uint32_t usableFrameRate(uint32_t frameRateQ16) {
    const bool usable = frameRateQ16 >= kOneFramePerSecond && frameRateQ16 <= kMaxFrameRate;
    return usable ? frameRateQ16 : kDefaultFrameRate;
}

uint32_t largestUnitSize(uint32_t width, uint32_t height) {
    // Noise of black and white samples, the worst there is, takes 1.04 times its raw size.
    constexpr uint32_t kHeaders = 4096;
    const uint32_t raw = roundedUp(width, 16) * roundedUp(height, 16) * 3 / 2;
    return raw + raw / 4 + kHeaders;
}

std::unique_ptr<H264Encoder> H264Encoder::open(const H264Settings& settings) {
    if (!frameSizeIsUsable(settings.width, settings.height)) {
        LOGE("H264Encoder: no frames of %ux%u", settings.width, settings.height);
        return nullptr;
    }
    std::unique_ptr<H264Encoder> encoder(new H264Encoder);
    return encoder->start(settings) ? std::move(encoder) : nullptr;
}

bool H264Encoder::start(const H264Settings& settings) {
    mSettings = settings;
    mSettings.frameRateQ16 = usableFrameRate(settings.frameRateQ16);
    mLayout = frameLayoutOf(settings.input, settings.width, settings.height);

    const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
    mContext.reset(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
    mFrame.reset(av_frame_alloc());
    mPacket.reset(av_packet_alloc());
    if (mContext == nullptr || mFrame == nullptr || mPacket == nullptr) {
        LOGE("H264Encoder: libavcodec has no libx264, or no memory is left");
        return false;
    }
    const int result =
        applyOptions(mSettings) ? avcodec_open2(mContext.get(), codec, nullptr) : AVERROR(EINVAL);
    if (result < 0) {
        LOGE("H264Encoder: cannot open %ux%u: %s", settings.width, settings.height,
             avErrorText(result).c_str());
        return false;
    }
    mConfiguration.assign(mContext->extradata, mContext->extradata + mContext->extradata_size);
    return true;
}

bool H264Encoder::applyOptions(const H264Settings& settings) {
    AVCodecContext& context = *mContext;
    context.width = static_cast<int>(settings.width);
    context.height = static_cast<int>(settings.height);
    context.pix_fmt = mLayout.interleaved() ? AV_PIX_FMT_NV12 : AV_PIX_FMT_YUV420P;
    // The engine's converters give full-range BT.601; unsaid, players take HD pictures for narrow BT.709.
    context.color_range = AVCOL_RANGE_JPEG;
    context.colorspace = AVCOL_SPC_SMPTE170M;
    context.framerate = av_make_q(static_cast<int>(settings.frameRateQ16), 1 << 16);
    context.time_base = av_inv_q(context.framerate);
    context.gop_size = static_cast<int>(std::clamp(settings.keyInterval, 1u, kLongestKeyInterval));
    context.max_b_frames = 0;
    context.thread_count = 1;
    context.qmin = kFinestQuantiser;
    context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    applyRate(settings.bitRate);

    void* x264 = context.priv_data;
    bool good =
        av_opt_set(x264, "preset", "superfast", 0) >= 0 && av_opt_set(x264, "tune", "zerolatency", 0) >= 0 &&
        av_opt_set(x264, "profile", profileName(settings.profile), 0) >= 0 &&
        av_opt_set_int(x264, "sc_threshold", 0, 0) >= 0 && av_opt_set_int(x264, "forced-idr", 1, 0) >= 0;
    if (!settings.cabac) {
        good = good && av_opt_set(x264, "coder", "cavlc", 0) >= 0;
    }
    if (settings.rateControl == H264RateControl::Quality) {
        good = good && av_opt_set_double(x264, "crf", 23, 0) >= 0;
    }
    if (settings.maxNalSize > 0 && settings.maxNalSize < largestUnitSize(settings.width, settings.height)) {
        const std::string slices = "slice-max-size=" + std::to_string(settings.maxNalSize);
        good = good && av_opt_set(x264, "x264-params", slices.c_str(), 0) >= 0;
    }
    return good;
}

// All three together: x264 follows a change at run time only where its buffer was on from the start.
void H264Encoder::applyRate(uint32_t bitRate) {
    const uint32_t usable = usableBitRate(bitRate, mSettings.width, mSettings.height, mSettings.frameRateQ16);
    if (usable != bitRate) {
        LOGW("H264Encoder: no stream has %u bits a second, taking %u", bitRate, usable);
    }
    const int64_t rate = usable;
    mContext->bit_rate = mSettings.rateControl == H264RateControl::Quality ? 0 : rate;
    mContext->rc_max_rate = rate;
    mContext->rc_buffer_size = static_cast<int>(rate * bufferPercent(mSettings.rateControl) / 100);
}

void H264Encoder::setBitRate(uint32_t bitRate) {
    applyRate(bitRate);
}

bool H264Encoder::wrapFrame(const uint8_t* frame, bool asKey) {
    // libavcodec reads from its frames only; the reference spares it a copy of the whole frame.
    auto* bytes = const_cast<uint8_t*>(frame);
    mFrame->buf[0] =
        av_buffer_create(bytes, mLayout.frameSize, keepCallersMemory, nullptr, AV_BUFFER_FLAG_READONLY);
    if (mFrame->buf[0] == nullptr) {
        return false;
    }
    mFrame->width = mContext->width;
    mFrame->height = mContext->height;
    mFrame->format = mContext->pix_fmt;
    mFrame->data[0] = bytes;
    mFrame->linesize[0] = mContext->width;
    mFrame->data[1] = bytes + mLayout.chromaOffset;
    mFrame->linesize[1] = static_cast<int>(mLayout.chromaRowLength);
    if (!mLayout.interleaved()) {
        mFrame->data[2] = bytes + mLayout.crOffset;
        mFrame->linesize[2] = mFrame->linesize[1];
    }
    mFrame->pict_type = asKey ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    mFrame->pts = mFrameNumber++;
    return true;
}

bool H264Encoder::encode(const uint8_t* frame, bool asKey, EncodedPicture* picture) {
    *picture = EncodedPicture{};
    av_packet_unref(mPacket.get());
    int result = AVERROR(ENOMEM);
    if (wrapFrame(frame, asKey)) {
        result = avcodec_send_frame(mContext.get(), mFrame.get());
    }
    if (result >= 0) {
        result = avcodec_receive_packet(mContext.get(), mPacket.get());
    }
    av_frame_unref(mFrame.get());
    if (result < 0) {
        LOGE("H264Encoder: frame %lld is lost: %s", static_cast<long long>(mFrameNumber - 1),
             avErrorText(result).c_str());
        return false;
    }
    picture->unit = AccessUnit(mPacket->data, static_cast<size_t>(mPacket->size));
    picture->key = (mPacket->flags & AV_PKT_FLAG_KEY) != 0;
    return true;
}

}  // namespace zem
