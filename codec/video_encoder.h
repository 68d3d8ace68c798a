// The video encoder as the session sees it, whatever codec stands behind it.
#pragma once

#include <cstdint>

class VideoEncoder {
  public:
    virtual ~VideoEncoder() = default;
    /// Encodes one captured picture: `in` holds at least inStride * height pixels, rows of `inStride`
    /// pixels. The encoded units reach the session through copyBufferForEncoder, on a thread of the
    /// encoder's; `out` (outSize bytes) is never written. Returns 0; -1 when this picture was not
    /// sent; -2 when the encoder stopped and is closed now.
    virtual int encode(uint8_t* out, int outSize, const uint8_t* in, int inStride) = 0;
    /// Whether closing may skip the orderly end of the stream. Before closing; any thread.
    virtual void setCloseType(bool force) = 0;
    /// The size given at open, in pixels; -1 before.
    virtual int getWidth() = 0;
    virtual int getHeight() = 0;
};
