#include "platform/linux/codecs/h264_decoder.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

#include "base/log.h"

namespace zem {
namespace {

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
    const bool good = decoder->mSequenceSize.open() && decoder->mDecoder.open([](AVCodecContext* context) {
        context->flags |= AV_CODEC_FLAG_LOW_DELAY;  // a frame comes out of its own packet: no reordering
        context->flags |= AV_CODEC_FLAG_UNALIGNED;  // crops to the pixel, on the left, too
        // Before memory is taken for what a damaged header claims.
        context->max_pixels = int64_t{kMaxDecodedSide} * kMaxDecodedSide;
    });
    return good ? std::move(decoder) : nullptr;
}

std::optional<PictureSize> H264Decoder::send(const uint8_t* unit, size_t size, int64_t timestamp) {
    const int result = mDecoder.send(unit, size, timestamp);
    if (result != AVERROR_INVALIDDATA || holdsSlice(unit, size)) {
        mDecoder.note(result);
        return std::nullopt;
    }
    // Remembered, and complained of only for want of a picture.
    const std::optional<PictureSize> told = mSequenceSize.read(unit, size);
    const bool usable =
        told.has_value() && sizeHasLayout(static_cast<int>(told->width), static_cast<int>(told->height));
    return usable ? told : std::nullopt;
}

std::optional<DecodedPicture> H264Decoder::receive() {
    while (const AVFrame* frame = mDecoder.receive()) {
        const bool good = hasLayout(*frame);
        if (!good && !mRefused) {
            LOGE("H264Decoder: pictures of %dx%d, format %d are dropped", frame->width, frame->height,
                 frame->format);
        }
        mRefused = !good;
        if (good) {
            return DecodedPicture{viewOf(*frame), frame->pts};
        }
    }
    return std::nullopt;
}

}  // namespace zem
