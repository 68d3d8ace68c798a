// The look-up table from 8-bit RGB to full-range BT.601 luma and chroma.
#pragma once

namespace zem {

/// The table is eight runs of 256 entries, each indexed by one colour component: fixed point with
/// 16 fraction bits. A result is the sum of three entries shifted right by 16; it never leaves 0..255.
enum RgbYccRun : int {
    kRedToY = 0,
    kGreenToY = 256,
    kBlueToY = 512,  // carries the rounding half
    kRedToCb = 768,
    kGreenToCb = 1024,
    kBlueToCb = 1280,      // carries the offset 128 and the rounding
    kRedToCr = kBlueToCb,  // the same coefficient, 0.5, and the same offset
    kGreenToCr = 1536,
    kBlueToCr = 1792,
    kRgbYccEntries = 2048,
};

}  // namespace zem

/// Allocates and fills a table of zem::kRgbYccEntries entries, which the caller owns.
int* init_rgb_ycc_table();

/// Frees a table; null is ignored.
void deinit_rgb_ycc_table(int* table);
