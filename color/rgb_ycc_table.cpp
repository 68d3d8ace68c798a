#include "color/rgb_ycc_table.h"

namespace {

// 0.5, as a rounding term and as a coefficient.
constexpr int kHalf = 1 << 15;
// The chroma offset of 128 plus a rounding half less one, so that pure red and blue stop at 255.
constexpr int kChromaOffset = (128 << 16) + kHalf - 1;

}  // namespace

int* init_rgb_ycc_table() {
    int* table = new int[zem::kRgbYccEntries];
    // BT.601: 0.299, 0.587, 0.114; -0.16874, -0.33126, 0.5; -0.41869, -0.08131, times 65536.
    for (int i = 0; i < 256; ++i) {
        table[zem::kRedToY + i] = 19595 * i;
        table[zem::kGreenToY + i] = 38470 * i;
        table[zem::kBlueToY + i] = 7471 * i + kHalf;
        table[zem::kRedToCb + i] = -11059 * i;
        table[zem::kGreenToCb + i] = -21709 * i;
        table[zem::kBlueToCb + i] = kHalf * i + kChromaOffset;
        table[zem::kGreenToCr + i] = -27439 * i;
        table[zem::kBlueToCr + i] = -5329 * i;
    }
    return table;
}

void deinit_rgb_ycc_table(int* table) {
    delete[] table;
}
