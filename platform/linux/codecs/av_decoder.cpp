#include "platform/linux/codecs/av_decoder.h"

#include <climits>
#include <cstring>

#include "base/log.h"
#include "platform/linux/codecs/av_log.h"

extern "C" {
#include <libavutil/log.h>
}

namespace zem {

bool AvDecoder::open(const std::function<void(AVCodecContext*)>& configure) {
    const AVCodec* codec = avcodec_find_decoder_by_name(mName);
    AvContext context(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
    AvFrame frame(av_frame_alloc());
    AvPacket packet(av_packet_alloc());
    if (context == nullptr || frame == nullptr || packet == nullptr) {
        LOGE("AvDecoder: libavcodec has no %s decoder, or no memory is left", mName);
        return false;
    }
    context->thread_count = 1;                 // frame threads add a delay each
    context->log_level_offset = AV_LOG_TRACE;  // it prints several lines about each damaged unit; we one
    configure(context.get());
    const int result = avcodec_open2(context.get(), codec, nullptr);
    if (result < 0) {
        LOGE("AvDecoder: cannot open %s: %s", mName, avErrorText(result).c_str());
        return false;
    }
    mContext = std::move(context);
    mFrame = std::move(frame);
    mPacket = std::move(packet);
    mDraining = false;
    return true;
}

int AvDecoder::send(const uint8_t* bytes, size_t size, int64_t timestamp) {
    if (mDraining) {
        flush();
    }
    // An empty packet would end the stream.
    if (size == 0 || size > INT_MAX - AV_INPUT_BUFFER_PADDING_SIZE) {
        return 0;
    }
    // Its memory ends in the zeros that libavcodec reads past the unit.
    int result = av_new_packet(mPacket.get(), static_cast<int>(size));
    if (result >= 0) {
        memcpy(mPacket->data, bytes, size);
        mPacket->pts = timestamp;
        result = avcodec_send_packet(mContext.get(), mPacket.get());
    }
    av_packet_unref(mPacket.get());
    return result;
}

void AvDecoder::note(int result) {
    const bool damaged = result < 0;
    if (damaged && !mDamaged) {
        LOGW("AvDecoder: nothing comes of a unit for %s: %s", mName, avErrorText(result).c_str());
    }
    mDamaged = damaged;
}

const AVFrame* AvDecoder::receive() {
    const int result = avcodec_receive_frame(mContext.get(), mFrame.get());
    if (result < 0 && result != AVERROR(EAGAIN) && result != AVERROR_EOF) {
        note(result);
    }
    return result >= 0 ? mFrame.get() : nullptr;
}

void AvDecoder::drain() {
    if (!mDraining) {
        mDraining = true;
        avcodec_send_packet(mContext.get(), nullptr);
    }
}

void AvDecoder::flush() {
    avcodec_flush_buffers(mContext.get());
    mDraining = false;
}

}  // namespace zem
