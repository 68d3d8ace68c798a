// Reads H.264 units with libavcodec's own decoder, as a player would.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/linux/codecs/av_handles.h"
#include "tests/platform/test_picture.h"

namespace zem::test {

class H264Reader {
  public:
    H264Reader();
    /// Takes one unit of an Annex B stream. True, and the picture in `picture`, when it completes one.
    bool read(const std::vector<uint8_t>& unit, Picture* picture);

  private:
    AvContext mContext;
    AvFrame mFrame;
    AvPacket mPacket;
};

}  // namespace zem::test
