// Owners of libavcodec's objects.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <memory>

namespace zem {

struct AvDeleter {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

using AvContext = std::unique_ptr<AVCodecContext, AvDeleter>;
using AvFrame = std::unique_ptr<AVFrame, AvDeleter>;
using AvPacket = std::unique_ptr<AVPacket, AvDeleter>;

}  // namespace zem
