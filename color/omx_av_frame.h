// A picture held in process memory: the converters' target and the decoder's last picture.
#pragma once

#include <cstdint>

/// Up to four planes without gaps between their rows. One thread at a time.
struct OmxAVFrame {
    uint8_t* data[4];  // owned by the picture; null when unused
    int32_t size[4];   // above 0 for a plane that is there: its bytes (RGB pictures: bytes a row)
};

// The allocators below return a record that the caller deletes after dealloc_picture; null only when
// there is no memory for the record. Memory is not cleared. The converters write a little more than
// odd sizes have (color/walk_size.h): the planes have room for that, `size` tells the picture's own
// bytes. A picture of more than 31 bits, or one without memory, gets a log line and no planes.

/// Y of width * height bytes, interleaved chroma of half that.
OmxAVFrame* alloc_picture_nv12(int width, int height);

/// Y of width * height bytes, U and V of a quarter each.
OmxAVFrame* alloc_picture_yuv420(int width, int height);

/// RGB565, two bytes a pixel. `size[0]` is the length of a row, as the display path expects it.
OmxAVFrame* alloc_picture_rgb(int width, int height);

/// Frees the planes and marks them unused; the record stays the caller's. Null and a picture without
/// planes are ignored.
void dealloc_picture(OmxAVFrame* picture);

/// 1 when an encoder takes the pixel format `format` (1 or 2); else 0 and a log line. Any thread.
int CheckOmxPixelFormat(int format);
