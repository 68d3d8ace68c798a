#include "platform/linux/codecs/sequence_size.h"

#include <climits>
#include <vector>

extern "C" {
#include <libavutil/log.h>
}

namespace zem {
namespace {

// libavcodec's parser looks into a configuration only when a slice refers to it. So it is given the start of
// one: an IDR slice at macroblock 0 of kind I with picture parameter set 0, the one that encoders of one
// stream use. A reader of our own would be a second opinion on damaged headers.
constexpr uint8_t kSliceStart[] = {0, 0, 0, 1, 0x65, 0x88, 0x84, 0x21, 0xA0, 0x80};

}  // namespace

bool SequenceSize::open() {
    mContext.reset(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264)));
    mParser.reset(av_parser_init(AV_CODEC_ID_H264));
    if (mContext == nullptr || mParser == nullptr) {
        return false;
    }
    mContext->log_level_offset = AV_LOG_TRACE;  // a configuration in pieces is nothing to report
    mParser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    return true;
}

std::optional<PictureSize> SequenceSize::read(const uint8_t* unit, size_t size) {
    if (size > INT_MAX / 2) {
        return std::nullopt;
    }
    std::vector<uint8_t> bytes(unit, unit + size);
    bytes.insert(bytes.end(), kSliceStart, kSliceStart + sizeof(kSliceStart));
    const int length = static_cast<int>(bytes.size());
    bytes.resize(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    mParser->width = 0;
    mParser->height = 0;
    uint8_t* out = nullptr;
    int outSize = 0;
    av_parser_parse2(mParser.get(), mContext.get(), &out, &outSize, bytes.data(), length, AV_NOPTS_VALUE,
                     AV_NOPTS_VALUE, 0);
    if (mParser->width <= 0 || mParser->height <= 0) {
        return std::nullopt;
    }
    return PictureSize{static_cast<uint32_t>(mParser->width), static_cast<uint32_t>(mParser->height)};
}

}  // namespace zem
