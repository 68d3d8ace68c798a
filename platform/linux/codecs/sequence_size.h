// The picture size that a stream's configuration tells, before there is a picture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "platform/linux/codecs/av_handles.h"

namespace zem {

struct PictureSize {
    uint32_t width;
    uint32_t height;
};

/// Reads configuration units (SPS, PPS) as they come, together or one by one. Not thread-safe.
class SequenceSize {
  public:
    /// False when there is no memory.
    bool open();
    /// Takes a unit without picture data. The cropped size of the stream's pictures when the configuration is
    /// complete with it, else none. Damaged bytes give none, or a size that no picture will have.
    std::optional<PictureSize> read(const uint8_t* unit, size_t size);

  private:
    struct ParserDeleter {
        void operator()(AVCodecParserContext* parser) const { av_parser_close(parser); }
    };
    AvContext mContext;  // never opened: the parser's place for what it finds
    std::unique_ptr<AVCodecParserContext, ParserDeleter> mParser;
};

}  // namespace zem
