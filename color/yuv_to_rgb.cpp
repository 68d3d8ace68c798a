#include "color/yuv_to_rgb.h"

#include <algorithm>

#include "color/yuv_to_rgb_kernel.h"

namespace {

constexpr int kZeroOfRange = 256;      // rangeTable entry for 0
constexpr int kRangeEnd = 896;         // behind the entry for 639
constexpr int kSecondZero = 1280;      // where the values rise from 0 again
constexpr int kHalf = 1 << 15;         // 0.5 with 16 fraction bits
constexpr ptrdiff_t kBgr32Bytes = 4;   // a pixel
constexpr ptrdiff_t kRgb565Bytes = 2;  // a pixel

zem::RgbTarget rowsOf565(uint8_t* start, int stride) {
    zem::RgbTarget target{};
    target.start = start;
    target.pixelStep = kRgb565Bytes;
    target.secondRow = stride;
    target.nextPair = ptrdiff_t{2} * stride;
    target.is565 = true;
    return target;
}

// Counter-clockwise: a source row becomes a column, its first pixel in the bottom row.
zem::RgbTarget turned565(uint8_t* start, int width, int height) {
    const ptrdiff_t row = kRgb565Bytes * height;
    zem::RgbTarget target{};
    target.start = start + row * (width - 1);
    target.pixelStep = -row;
    target.secondRow = kRgb565Bytes;
    target.nextPair = 2 * kRgb565Bytes;
    target.is565 = true;
    return target;
}

// The strides come in the order Y, Cb, Cr, whatever the order of the planes.
void takePlanes(zem::YuvToRgbFrame& frame, const uint8_t* const* src, const int* srcStride, int cb, int cr) {
    frame.y = src[0];
    frame.cb = src[cb];
    frame.cr = src[cr];
    frame.yStride = srcStride[0];
    frame.cbStride = srcStride[1];
    frame.crStride = srcStride[2];
}

void takePairs(zem::YuvToRgbFrame& frame, const uint8_t* const* src, const int* srcStride) {
    frame.y = src[0];
    frame.yStride = srcStride[0];
    frame.cr = src[1];
    frame.cb = src[1] + 1;
    frame.crStride = srcStride[1];
    frame.cbStride = srcStride[1];
    frame.interleaved = true;
}

}  // namespace

Yuv420ToBgr32::Yuv420ToBgr32(int frameWidth, int frameHeight) : height(frameHeight), width(frameWidth) {
    init_table();
}

Yuv420ToBgr32::~Yuv420ToBgr32() {
    deinit_table();
}

void Yuv420ToBgr32::init_table() {
    rangeLimit = rangeTable + kZeroOfRange;
    for (int i = 0; i < static_cast<int>(sizeof(rangeTable)); ++i) {
        // Behind the run of 255 the table starts again, as for an index of one byte that wrapped.
        const int value = i < kRangeEnd ? i - kZeroOfRange : i - kSecondZero;
        rangeTable[i] = static_cast<uint8_t>(std::clamp(value, 0, 255));
    }
    // BT.601, full range: 1.402, 1.772, -0.71414, -0.34414, times 65536.
    for (int c = 0; c < 256; ++c) {
        const int x = c - 128;
        crR[c] = (91881 * x + kHalf) >> 16;
        cbB[c] = (116130 * x + kHalf) >> 16;
        crG[c] = -46802 * x;
        cbG[c] = -22554 * x + kHalf;
    }
    // Chroma 0 has always been converted with the last entry of the neighbouring table. Both ends of
    // the wire show the same colours only as long as that stays (pure yellow and cyan get there).
    cbB[0] = crR[255];
    crG[0] = cbB[255];
    cbG[0] = crG[255];
}

void Yuv420ToBgr32::deinit_table() {}

zem::YuvToRgbFrame Yuv420ToBgr32::describe() const {
    zem::YuvToRgbFrame frame{};
    frame.width = width;
    frame.height = height;
    frame.rangeLimit = rangeLimit;
    frame.crR = crR;
    frame.cbB = cbB;
    frame.crG = crG;
    frame.cbG = cbG;
    return frame;
}

int Yuv420ToBgr32::convert(uint8_t** dst, int* dstStride, const uint8_t* const* src, int* srcStride) {
    if (isEmpty() || !dst[0] || !src[0] || !src[1] || !src[2]) {
        return 0;
    }
    zem::YuvToRgbFrame frame = describe();
    takePlanes(frame, src, srcStride, 1, 2);
    frame.target.start = dst[0];
    frame.target.pixelStep = kBgr32Bytes;
    frame.target.secondRow = dstStride[0];
    frame.target.nextPair = dstStride[0] + kBgr32Bytes * width;
    zem::convertYuvToRgb(frame);
    return 0;
}

Yuv420ToRgb565::Yuv420ToRgb565(int frameWidth, int frameHeight) : Yuv420ToBgr32(frameWidth, frameHeight) {}

Yuv420ToRgb565::~Yuv420ToRgb565() {
    deinit_table();
}

int Yuv420ToRgb565::convert(uint8_t** dst, int* dstStride, const uint8_t* const* src, int* srcStride) {
    if (isEmpty() || !dst[0] || !src[0] || !src[1] || !src[2]) {
        return 0;
    }
    zem::YuvToRgbFrame frame = describe();
    takePlanes(frame, src, srcStride, 2, 1);
    frame.target = rowsOf565(dst[0], dstStride[0]);
    zem::convertYuvToRgb(frame);
    return 0;
}

Nv12ToRgb565::Nv12ToRgb565(int frameWidth, int frameHeight) : Yuv420ToBgr32(frameWidth, frameHeight) {}

Nv12ToRgb565::~Nv12ToRgb565() {
    deinit_table();
}

int Nv12ToRgb565::convert(uint8_t** dst, int* dstStride, const uint8_t* const* src, int* srcStride) {
    if (isEmpty() || !dst[0] || !src[0] || !src[1]) {
        return 0;
    }
    zem::YuvToRgbFrame frame = describe();
    takePairs(frame, src, srcStride);
    frame.target = rowsOf565(dst[0], dstStride[0]);
    zem::convertYuvToRgb(frame);
    return 0;
}

Nv12ToRgb565Rotate::Nv12ToRgb565Rotate(int frameWidth, int frameHeight)
    : Yuv420ToBgr32(frameWidth, frameHeight) {}

Nv12ToRgb565Rotate::~Nv12ToRgb565Rotate() {
    deinit_table();
}

int Nv12ToRgb565Rotate::convert(uint8_t** dst, int*, const uint8_t* const* src, int* srcStride) {
    if (isEmpty() || !dst[0] || !src[0] || !src[1]) {
        return 0;
    }
    zem::YuvToRgbFrame frame = describe();
    takePairs(frame, src, srcStride);
    frame.target = turned565(dst[0], width, height);
    zem::convertYuvToRgb(frame);
    return 0;
}
