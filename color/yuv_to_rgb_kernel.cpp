#include "color/yuv_to_rgb_kernel.h"

#include <cstring>

namespace {

// Blocks of 2x2 pixels, or 2x1 in an odd last row, share one pair of chroma.

struct ChromaOffsets {
    int red, green, blue;  // added to luma
};

ChromaOffsets offsetsOf(const zem::YuvToRgbFrame& frame, uint8_t cb, uint8_t cr) {
    return {frame.crR[cr], (frame.cbG[cb] + frame.crG[cr]) >> 16, frame.cbB[cb]};
}

template <bool kIs565>
void writePixel(uint8_t* out, const uint8_t* limit, int y, const ChromaOffsets& offsets) {
    const uint8_t red = limit[y + offsets.red];
    const uint8_t green = limit[y + offsets.green];
    const uint8_t blue = limit[y + offsets.blue];
    if constexpr (kIs565) {
        // Blue in the high bits: the planes reach these converters with Cb and Cr exchanged.
        const auto word = static_cast<uint16_t>((blue >> 3) << 11 | (green >> 2) << 5 | red >> 3);
        memcpy(out, &word, sizeof(word));  // rows may start at odd addresses
    } else {
        out[0] = blue;
        out[1] = green;
        out[2] = red;
        out[3] = 255;
    }
}

template <bool kIs565, int kChromaStep>
void convertRows(const zem::YuvToRgbFrame& frame, const zem::RowPair& pair) {
    const ptrdiff_t step = frame.target.pixelStep;
    for (int block = 0; block < frame.width / 2; ++block) {
        const ptrdiff_t chroma = ptrdiff_t{kChromaStep} * block;
        const ChromaOffsets offsets = offsetsOf(frame, pair.cb[chroma], pair.cr[chroma]);
        const ptrdiff_t left = ptrdiff_t{2} * block;
        for (int row = 0; row < pair.rows; ++row) {
            const uint8_t* y = pair.y + row * frame.yStride + left;
            uint8_t* out = pair.out + row * frame.target.secondRow + left * step;
            writePixel<kIs565>(out, frame.rangeLimit, y[0], offsets);
            writePixel<kIs565>(out + step, frame.rangeLimit, y[1], offsets);
        }
    }
}

template <bool kIs565, int kChromaStep>
void convertFrame(const zem::YuvToRgbFrame& frame) {
    for (int index = 0; index < zem::rowPairs(frame); ++index) {
        convertRows<kIs565, kChromaStep>(frame, zem::rowPair(frame, index));
    }
}

}  // namespace

namespace zem {

void convertYuvToRgbTable(const YuvToRgbFrame& frame) {
    if (frame.width < 2 || frame.height < 1) {
        return;
    }
    if (frame.target.is565) {
        frame.interleaved ? convertFrame<true, 2>(frame) : convertFrame<true, 1>(frame);
    } else {
        frame.interleaved ? convertFrame<false, 2>(frame) : convertFrame<false, 1>(frame);
    }
}

}  // namespace zem
