// Without vector instructions the pixel loops are the table loops.
#include "color/rgb_to_yuv_kernel.h"

namespace zem {

void convertRgbToYuv(const RgbToYuvFrame& frame) {
    convertRgbToYuvTable(frame);
}

}  // namespace zem
