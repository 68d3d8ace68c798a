#include "color/rgb_to_yuv_kernel.h"

#include "color/rgb_ycc_table.h"
#include "color/walk_size.h"

namespace {

// Frame walk: two rows a pass. The first row of a pass is taken in pairs of pixels, the left one of
// which decides the chroma of the 2x2 block; the second row gives luma only. Odd widths make the
// first row one pixel longer, odd heights add a row: encoders are fed even sizes, and existing
// output for odd ones is kept byte for byte.

constexpr ptrdiff_t kPixelBytes = 4;

template <bool kRedFirst>
class PixelReader {
  public:
    explicit PixelReader(const int* ycc) : table(ycc) {}

    uint8_t y(const uint8_t* pixel) const {
        return sum(zem::kRedToY + pixel[kRed], zem::kGreenToY + pixel[1], zem::kBlueToY + pixel[kBlue]);
    }
    uint8_t cb(const uint8_t* pixel) const {
        return sum(zem::kRedToCb + pixel[kRed], zem::kGreenToCb + pixel[1], zem::kBlueToCb + pixel[kBlue]);
    }
    uint8_t cr(const uint8_t* pixel) const {
        return sum(zem::kRedToCr + pixel[kRed], zem::kGreenToCr + pixel[1], zem::kBlueToCr + pixel[kBlue]);
    }

  private:
    static constexpr int kRed = kRedFirst ? 0 : 2;
    static constexpr int kBlue = 2 - kRed;

    uint8_t sum(int red, int green, int blue) const {
        return static_cast<uint8_t>((table[red] + table[green] + table[blue]) >> 16);
    }

    const int* table;
};

template <bool kRedFirst, int kChromaStep>
void convertFrame(const zem::RgbToYuvFrame& frame) {
    const PixelReader<kRedFirst> read(frame.table);
    const int pairs = zem::walkPairs(frame.width);
    const ptrdiff_t gap = static_cast<ptrdiff_t>(frame.pixelsBetweenRows * kPixelBytes);
    const uint8_t* pixel = frame.source;
    uint8_t* y = frame.y;
    uint8_t* cb = frame.cb;
    uint8_t* cr = frame.cr;
    for (int passes = zem::walkPasses(frame.height); passes > 0; --passes) {
        for (int i = 0; i < pairs; ++i) {
            y[0] = read.y(pixel);
            y[1] = read.y(pixel + kPixelBytes);
            *cb = read.cb(pixel);
            *cr = read.cr(pixel);
            pixel += 2 * kPixelBytes;
            y += 2;
            cb += kChromaStep;
            cr += kChromaStep;
        }
        pixel += gap;
        for (int i = 0; i < frame.width; ++i) {
            *y++ = read.y(pixel);
            pixel += kPixelBytes;
        }
        pixel += passes > 1 ? gap : 0;  // never points past what is read
    }
}

}  // namespace

namespace zem {

void convertRgbToYuvTable(const RgbToYuvFrame& frame) {
    if (frame.width < 1 || frame.height < 1) {
        return;
    }
    if (frame.redFirst) {
        frame.interleaved ? convertFrame<true, 2>(frame) : convertFrame<true, 1>(frame);
    } else {
        frame.interleaved ? convertFrame<false, 2>(frame) : convertFrame<false, 1>(frame);
    }
}

}  // namespace zem
