#include "tests/platform/h264_reader.h"

#include <cstring>

namespace zem::test {
namespace {

std::vector<uint8_t> packed(const AVFrame& frame, int plane, int width, int height) {
    std::vector<uint8_t> bytes;
    for (int row = 0; row < height; row++) {
        const uint8_t* start = frame.data[plane] + static_cast<ptrdiff_t>(row) * frame.linesize[plane];
        bytes.insert(bytes.end(), start, start + width);
    }
    return bytes;
}

}  // namespace

H264Reader::H264Reader()
    : mContext(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264))),
      mFrame(av_frame_alloc()),
      mPacket(av_packet_alloc()) {
    mContext->flags |= AV_CODEC_FLAG_LOW_DELAY;
    mContext->thread_count = 1;
    mContext->err_recognition = AV_EF_EXPLODE;
    avcodec_open2(mContext.get(), mContext->codec, nullptr);
}

bool H264Reader::read(const std::vector<uint8_t>& unit, Picture* picture) {
    av_packet_unref(mPacket.get());
    if (av_new_packet(mPacket.get(), static_cast<int>(unit.size())) < 0) {
        return false;
    }
    memcpy(mPacket->data, unit.data(), unit.size());
    if (avcodec_send_packet(mContext.get(), mPacket.get()) < 0 ||
        avcodec_receive_frame(mContext.get(), mFrame.get()) < 0) {
        return false;
    }
    picture->width = mFrame->width;
    picture->height = mFrame->height;
    picture->key = mFrame->key_frame != 0;
    picture->y = packed(*mFrame, 0, mFrame->width, mFrame->height);
    picture->cb = packed(*mFrame, 1, mFrame->width / 2, mFrame->height / 2);
    picture->cr = packed(*mFrame, 2, mFrame->width / 2, mFrame->height / 2);
    return true;
}

}  // namespace zem::test
