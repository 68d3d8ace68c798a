// Without vector instructions the pixel loops are the table loops.
#include "color/rgb_to_yuv_kernel.h"
#include "color/tiled_nv12_kernel.h"
#include "color/yuv_to_rgb_kernel.h"

namespace zem {

void convertRgbToYuv(const RgbToYuvFrame& frame) {
    convertRgbToYuvTable(frame);
}

void convertYuvToRgb(const YuvToRgbFrame& frame) {
    convertYuvToRgbTable(frame);
}

void convertTiledNv12(const TiledNv12Frame& frame) {
    convertTiledNv12Table(frame);
}

}  // namespace zem
