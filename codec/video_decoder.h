// The video decoder as the session sees it, whatever codec stands behind it.
#pragma once

#include <android/bitmap.h>

#include <cstdint>

class VideoDecoder {
  public:
    virtual ~VideoDecoder() = default;
    /// Decodes one received buffer of `size` bytes. The pictures reach the session through
    /// copyBufferForDecoder, on a thread of the decoder's. Returns 0, or -1 when it was not sent.
    virtual int decode(uint8_t* data, int size) = 0;
    /// Copies the last picture into the bitmap described by `info`; returns -1 when the decoder cannot.
    virtual int getBitmap(AndroidBitmapInfo* info, uint8_t* pixels) = 0;
    /// The size of the pictures, in pixels; 0 while it is not known.
    virtual int getWidth() = 0;
    virtual int getHeight() = 0;
};
