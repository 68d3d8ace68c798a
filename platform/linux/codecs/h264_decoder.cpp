#include "platform/linux/codecs/h264_decoder.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

#include <climits>
#include <cstring>

#include "base/log.h"
#include "platform/linux/codecs/av_log.h"

namespace zem {
namespace {

// libavcodec prints several lines about each damaged unit; one of ours says it.
constexpr int kSilence = AV_LOG_TRACE;

bool sizeHasLayout(int width, int height) {
    const int largest = static_cast<int>(kMaxDecodedSide);
    return width > 0 && width <= largest && width % 2 == 0 && height > 0 && height <= largest &&
           height % 2 == 0;
}

bool hasLayout(const AVFrame& frame) {
    // Two names of one format: the second says that the samples use the full range.
    const bool planar = frame.format == AV_PIX_FMT_YUV420P || frame.format == AV_PIX_FMT_YUVJ420P;
    return planar && sizeHasLayout(frame.width, frame.height);
}

PlanarPicture viewOf(const AVFrame& frame) {
    PlanarPicture picture;
    picture.width = static_cast<uint32_t>(frame.width);
    picture.height = static_cast<uint32_t>(frame.height);
    picture.y = {frame.data[0], frame.linesize[0]};
    picture.cb = {frame.data[1], frame.linesize[1]};
    picture.cr = {frame.data[2], frame.linesize[2]};
    return picture;
}

// Whether a slice of a picture starts in the unit: without one it is configuration or padding.
bool holdsSlice(const uint8_t* unit, size_t size) {
    constexpr uint8_t kNalTypeMask = 0x1F;
    constexpr uint8_t kLastSliceType = 5;  // types 1 to 5 carry picture data
    for (size_t i = 3; i < size; i++) {
        const bool starts = unit[i - 3] == 0 && unit[i - 2] == 0 && unit[i - 1] == 1;
        const uint8_t type = unit[i] & kNalTypeMask;
        if (starts && type > 0 && type <= kLastSliceType) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::unique_ptr<H264Decoder> H264Decoder::open() {
    std::unique_ptr<H264Decoder> decoder(new H264Decoder);
    return decoder->start() ? std::move(decoder) : nullptr;
}

bool H264Decoder::start() {
    const AVCodec* codec = avcodec_find_decoder_by_name("h264");
    mContext.reset(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
    mFrame.reset(av_frame_alloc());
    mPacket.reset(av_packet_alloc());
    if (mContext == nullptr || mFrame == nullptr || mPacket == nullptr || !mSequenceSize.open()) {
        LOGE("H264Decoder: libavcodec has no h264 decoder, or no memory is left");
        return false;
    }
    // A frame comes out of its own packet: no reordering, no frame threads, which add a delay each.
    mContext->flags |= AV_CODEC_FLAG_LOW_DELAY;
    mContext->thread_count = 1;
    mContext->flags |= AV_CODEC_FLAG_UNALIGNED;  // crops to the pixel, on the left, too
    // Before memory is taken for what a damaged header claims.
    mContext->max_pixels = int64_t{kMaxDecodedSide} * kMaxDecodedSide;
    mContext->log_level_offset = kSilence;
    const int result = avcodec_open2(mContext.get(), codec, nullptr);
    if (result < 0) {
        LOGE("H264Decoder: cannot open: %s", avErrorText(result).c_str());
    }
    return result >= 0;
}

std::optional<PictureSize> H264Decoder::send(const uint8_t* unit, size_t size, int64_t timestamp) {
    if (mDraining) {
        flush();
    }
    // An empty packet would end the stream.
    if (size == 0 || size > INT_MAX - AV_INPUT_BUFFER_PADDING_SIZE) {
        return std::nullopt;
    }
    const int result = decode(unit, size, timestamp);
    if (result != AVERROR_INVALIDDATA || holdsSlice(unit, size)) {
        note(result, size);
        return std::nullopt;
    }
    // Remembered, and complained of only for want of a picture.
    const std::optional<PictureSize> told = mSequenceSize.read(unit, size);
    const bool usable =
        told.has_value() && sizeHasLayout(static_cast<int>(told->width), static_cast<int>(told->height));
    return usable ? told : std::nullopt;
}

int H264Decoder::decode(const uint8_t* unit, size_t size, int64_t timestamp) {
    // Its memory ends in the zeros that libavcodec reads past the unit.
    int result = av_new_packet(mPacket.get(), static_cast<int>(size));
    if (result >= 0) {
        memcpy(mPacket->data, unit, size);
        mPacket->pts = timestamp;
        result = avcodec_send_packet(mContext.get(), mPacket.get());
    }
    av_packet_unref(mPacket.get());
    return result;
}

void H264Decoder::note(int result, size_t size) {
    const bool damaged = result < 0;
    if (damaged && !mDamaged) {
        LOGW("H264Decoder: no picture from a unit of %zu bytes: %s", size, avErrorText(result).c_str());
    }
    mDamaged = damaged;
}

std::optional<DecodedPicture> H264Decoder::receive() {
    while (avcodec_receive_frame(mContext.get(), mFrame.get()) >= 0) {
        const bool good = hasLayout(*mFrame);
        if (!good && !mRefused) {
            LOGE("H264Decoder: pictures of %dx%d, format %d are dropped", mFrame->width, mFrame->height,
                 mFrame->format);
        }
        mRefused = !good;
        if (good) {
            return DecodedPicture{viewOf(*mFrame), mFrame->pts};
        }
    }
    return std::nullopt;
}

void H264Decoder::drain() {
    if (!mDraining) {
        mDraining = true;
        avcodec_send_packet(mContext.get(), nullptr);
    }
}

void H264Decoder::flush() {
    avcodec_flush_buffers(mContext.get());
    mDraining = false;
}

}  // namespace zem
