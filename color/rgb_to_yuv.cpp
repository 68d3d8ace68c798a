#include "color/rgb_to_yuv.h"

#include "color/rgb_to_yuv_kernel.h"
#include "color/rgb_ycc_table.h"

namespace {

zem::RgbToYuvFrame describe(int width, int height, const int* table, bool redFirst) {
    zem::RgbToYuvFrame frame{};
    frame.width = width;
    frame.height = height;
    frame.table = table;
    frame.redFirst = redFirst;
    return frame;
}

// Planes are null when their picture could not be allocated, which was logged then.
int convertToPlanes(zem::RgbToYuvFrame frame, uint8_t** dst, const uint8_t* const* src) {
    frame.source = src[0];
    frame.y = dst[0];
    frame.cb = dst[1];
    frame.cr = dst[2];
    if (frame.source && frame.y && frame.cb && frame.cr) {
        zem::convertRgbToYuv(frame);
    }
    return 0;
}

int convertToPairs(zem::RgbToYuvFrame frame, uint8_t** dst, const uint8_t* const* src) {
    if (src[0] && dst[0] && dst[1]) {
        frame.source = src[0];
        frame.y = dst[0];
        frame.cr = dst[1];
        frame.cb = dst[1] + 1;
        frame.interleaved = true;
        zem::convertRgbToYuv(frame);
    }
    return 0;
}

}  // namespace

Bgr32ToYuv420::Bgr32ToYuv420(int frameWidth, int frameHeight)
    : height(frameHeight), width(frameWidth), table(init_rgb_ycc_table()) {}

Bgr32ToYuv420::~Bgr32ToYuv420() {
    deinit_rgb_ycc_table(table);
}

int Bgr32ToYuv420::convert(uint8_t** dst, int*, const uint8_t* const* src, int*) {
    return convertToPlanes(describe(width, height, table, false), dst, src);
}

Bgr32ToNV12::Bgr32ToNV12(int frameWidth, int frameHeight)
    : height(frameHeight), width(frameWidth), table(init_rgb_ycc_table()) {}

Bgr32ToNV12::~Bgr32ToNV12() {
    deinit_rgb_ycc_table(table);
}

int Bgr32ToNV12::convert(uint8_t** dst, int*, const uint8_t* const* src, int* srcStride) {
    zem::RgbToYuvFrame frame = describe(width, height, table, false);
    frame.pixelsBetweenRows = static_cast<int64_t>(srcStride[0] / 4) - width;
    return convertToPairs(frame, dst, src);
}

Rgb32ToYuv420::Rgb32ToYuv420(int frameWidth, int frameHeight)
    : height(frameHeight), width(frameWidth), table(init_rgb_ycc_table()) {}

Rgb32ToYuv420::~Rgb32ToYuv420() {
    deinit_rgb_ycc_table(table);
}

int Rgb32ToYuv420::convert(uint8_t** dst, int*, const uint8_t* const* src, int*) {
    return convertToPlanes(describe(width, height, table, true), dst, src);
}

Rgb32ToNV12::Rgb32ToNV12(int frameWidth, int frameHeight)
    : height(frameHeight), width(frameWidth), table(init_rgb_ycc_table()) {}

Rgb32ToNV12::~Rgb32ToNV12() {
    deinit_rgb_ycc_table(table);
}

int Rgb32ToNV12::convert(uint8_t** dst, int*, const uint8_t* const* src, int*) {
    return convertToPairs(describe(width, height, table, true), dst, src);
}
