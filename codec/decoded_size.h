// The size of a decoder's picture, and what of it both output handlers check.
#pragma once

#include <cstdint>

#include "codec/codec_user_data.h"

namespace zem {

/// Pixels; of one output, so that every check of it looks at the same values.
struct DecodedSize {
    static constexpr int64_t kBytesPerPixel = 2;  // RGB565

    int width;
    int height;
    int margin;     // cut from the right of each row of linear pictures
    int remainder;  // bytes that pad each row of a linear picture

    int outputWidth() const { return width - margin; }
    /// Of the converted picture.
    int64_t outputBytes() const { return kBytesPerPixel * outputWidth() * height; }
    /// False when a size computed from this one could run over.
    bool isUsable() const;
};

/// Whether the chip's pictures are NV12 with rows padded by their width modulo 64.
bool hasPaddedRows(int hardwareBase);

/// That padding in bytes; 0 for chips without it.
int strideRemainderOf(int hardwareBase, int width);

/// False while the size is known nowhere. What the component tells is remembered in the record. Output
/// thread only.
bool learnDecodedSize(void* handle, codecUserData& record);

/// The record's size.
DecodedSize decodedSizeOf(const codecUserData& record);

/// Logs why a picture of `given` bytes is dropped, a literal; of those that follow for the same reason and
/// at the same size nothing more until the next open. 0, a handler's result. Output thread only.
int dropPicture(codecUserData& record, const char* handler, const char* why, const DecodedSize& size,
                uint64_t given);

}  // namespace zem
