// Proves that every (y, cb, cr) comes out right to the last bit in each linear converter, chroma 0 with
// its peculiar values included, and that each class reads and writes exactly the pixels that its planes
// and strides say. Faults it would catch: red and blue or Cb and Cr exchanged, a repaired chroma 0, the
// chroma strides uncrossed, a picture turned clockwise, a byte too many at either end for odd sizes.
#include "color/yuv_to_rgb.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <memory>

#include "color/picture_size.h"
#include "tests/color/noise.h"
#include "tests/support/guarded_buffer.h"

namespace {

using zem::test::GuardedBuffer;
using zem::test::noise;
using Bytes = std::vector<uint8_t>;

// --- The formulas, read a second time

int fixed(double coefficient) {
    return static_cast<int>(std::lround(coefficient * 65536));
}

int wholes(int fixedPoint) {
    return (fixedPoint + 1024 * 65536) / 65536 - 1024;  // rounds down
}

int clamped(int value) {
    return value < 0 ? 0 : value > 255 ? 255 : value;
}

// Each chroma 0 borrows the 255 of another table.
int redOffset(int cr) {
    return wholes(fixed(1.402) * (cr - 128) + 32768);
}
int blueOffset(int cb) {
    return cb == 0 ? redOffset(255) : wholes(fixed(1.772) * (cb - 128) + 32768);
}
int greenOfCr(int cr) {
    return cr == 0 ? blueOffset(255) : fixed(-0.71414) * (cr - 128);
}
int greenOfCb(int cb) {
    return cb == 0 ? greenOfCr(255) : fixed(-0.34414) * (cb - 128) + 32768;
}

struct Bgr {
    int b, g, r;
};

Bgr referenceColour(int y, int cb, int cr) {
    return {clamped(y + blueOffset(cb)), clamped(y + wholes(greenOfCb(cb) + greenOfCr(cr))),
            clamped(y + redOffset(cr))};
}

// --- The four classes: where a chroma sample is read and where a pixel is written

struct Kind {
    const char* name;
    int crPlane;
    bool is565;
    bool pairs;    // chroma: Cr,Cb pairs in src[1]; else planes
    bool crossed;  // the chroma planes' strides
    std::unique_ptr<ColorConverter> (*create)(int width, int height);
    size_t (*at)(size_t x, size_t y, size_t width, size_t height, size_t stride);
};

template <typename Converter>
std::unique_ptr<ColorConverter> create(int width, int height) {
    return std::make_unique<Converter>(width, height);
}

size_t inPairsOfRows(size_t x, size_t y, size_t width, size_t, size_t stride) {
    return y / 2 * (stride + 4 * width) + y % 2 * stride + 4 * x;
}
size_t inRows(size_t x, size_t y, size_t, size_t, size_t stride) {
    return y * stride + 2 * x;
}
size_t turned(size_t x, size_t y, size_t width, size_t height, size_t) {
    return 2 * ((width - 1 - x) * height + y);
}

const Kind kKinds[] = {
    {"Yuv420ToBgr32", 2, false, false, false, create<Yuv420ToBgr32>, inPairsOfRows},
    {"Yuv420ToRgb565", 1, true, false, true, create<Yuv420ToRgb565>, inRows},
    {"Nv12ToRgb565", 1, true, true, false, create<Nv12ToRgb565>, inRows},
    {"Nv12ToRgb565Rotate", 1, true, true, false, create<Nv12ToRgb565Rotate>, turned},
};

void writeReference(const Kind& kind, const Bgr& colour, uint8_t* pixel) {
    if (kind.is565) {
        const auto word = static_cast<uint16_t>(colour.b / 8 * 2048 + colour.g / 4 * 32 + colour.r / 8);
        memcpy(pixel, &word, 2);
    } else {
        const int bytes[] = {colour.b, colour.g, colour.r, 255};
        std::copy(bytes, bytes + 4, pixel);
    }
}

// --- Planes that end at a guard page, with strides that may all differ

struct Layout {
    int width, height;
    int paddingY, padding1, padding2, paddingOut;  // bytes after each row
};

// What the converter must leave in a destination of `size` bytes.
Bytes referencePicture(const Kind& kind, const Layout& layout, const uint8_t* const* source,
                       const int* stride, size_t dstStride, size_t size) {
    Bytes out(size, GuardedBuffer::kPattern);
    const int crPlane = kind.crPlane;
    const int cbPlane = kind.pairs ? 1 : 3 - crPlane;
    for (int y = 0; y < layout.height; ++y) {
        for (int x = 0; x < layout.width / 2 * 2; ++x) {
            const int crStride = stride[kind.crossed ? cbPlane : crPlane];
            const int cbStride = stride[kind.crossed ? crPlane : cbPlane];
            const int cr = source[crPlane][y / 2 * crStride + (kind.pairs ? x / 2 * 2 : x / 2)];
            const int cb = source[cbPlane][y / 2 * cbStride + (kind.pairs ? x / 2 * 2 + 1 : x / 2)];
            const size_t at =
                kind.at(static_cast<size_t>(x), static_cast<size_t>(y), static_cast<size_t>(layout.width),
                        static_cast<size_t>(layout.height), dstStride);
            writeReference(kind, referenceColour(source[0][y * stride[0] + x], cb, cr), &out[at]);
        }
    }
    return out;
}

// One picture of all lumas and Cbs for each Cr: a row pair for each Cb, four lumas a block.
constexpr Layout kOfOneCr = {128, 512, 0, 0, 0, 0};

Bytes lumaOfOneCr() {
    Bytes luma(size_t{128} * 512);
    for (size_t i = 0; i < luma.size(); ++i) {
        luma[i] = static_cast<uint8_t>(i);  // two rows have all 256
    }
    return luma;
}

// The bytes of chroma plane `plane` of a picture of one Cr.
Bytes chromaOfOneCr(const Kind& kind, int plane, int cr) {
    Bytes bytes;
    for (int i = 0; i < 64 * 256; ++i) {
        if (kind.pairs || plane == kind.crPlane) {
            bytes.push_back(static_cast<uint8_t>(cr));
        }
        if (kind.pairs || plane != kind.crPlane) {
            bytes.push_back(static_cast<uint8_t>(i / 64));
        }
    }
    return bytes;
}

// Of noise, or of one Cr when that is not negative.
void expectAsReference(const Kind& kind, const Layout& layout, int cr = -1) {
    SCOPED_TRACE(testing::Message() << kind.name << " " << layout.width << "x" << layout.height << " + "
                                    << layout.padding1);
    const int rows = zem::chromaRowsOf(layout.height);
    const int chroma = kind.pairs ? layout.width / 2 * 2 : layout.width / 2;
    int stride[] = {layout.width + layout.paddingY, chroma + layout.padding1, chroma + layout.padding2};
    const int stepped[] = {stride[0], stride[kind.crossed ? 2 : 1], stride[kind.crossed ? 1 : 2]};
    const auto plane = [](int planeRows, int step, int bytes) {
        return noise(static_cast<size_t>(zem::planeBytes(planeRows, step, bytes)));
    };
    const bool noisy = cr < 0;
    GuardedBuffer y(noisy ? plane(layout.height, stepped[0], layout.width / 2 * 2) : lumaOfOneCr());
    GuardedBuffer first(noisy ? plane(rows, stepped[1], chroma) : chromaOfOneCr(kind, 1, cr));
    GuardedBuffer second(noisy ? plane(kind.pairs ? 0 : rows, stepped[2], chroma)
                               : chromaOfOneCr(kind, 2, cr));
    const uint8_t* source[] = {y.data(), first.data(), kind.pairs ? nullptr : second.data()};

    int dstStride = (kind.is565 ? 2 : 4) * layout.width + layout.paddingOut;
    const auto w = static_cast<size_t>(layout.width);
    const auto h = static_cast<size_t>(layout.height);
    const size_t corner = kind.at == turned ? 0 : w / 2 * 2 - 1;  // the last address has this column
    const size_t size = kind.at(corner, h - 1, w, h, static_cast<size_t>(dstStride)) + (kind.is565 ? 2 : 4);
    GuardedBuffer out(size);
    uint8_t* dst = out.data();
    EXPECT_EQ(kind.create(layout.width, layout.height)->convert(&dst, &dstStride, source, stride), 0);
    ASSERT_TRUE(out.bytes() ==
                referencePicture(kind, layout, source, stride, static_cast<size_t>(dstStride), size));
    EXPECT_TRUE(out.untouchedBefore());
}

TEST(YuvToRgb, EveryColourIsRightToTheLastBit) {
    for (const Kind& kind : kKinds) {
        for (int cr = 0; cr < 256; ++cr) {
            expectAsReference(kind, kOfOneCr, cr);
        }
    }
}

TEST(YuvToRgb, EachClassHonoursItsStridesAndStaysWithinItsPlanes) {
    const Layout layouts[] = {{2, 2, 0, 0, 0, 0}, {66, 34, 62, 3, 8, 12}, {64, 64, 0, 64, 32, 16},
                              {2, 1, 0, 0, 0, 0}, {5, 5, 1, 2, 3, 4},     {67, 35, 7, 5, 3, 9}};
    for (const Kind& kind : kKinds) {
        for (const Layout& layout : layouts) {
            expectAsReference(kind, layout);
        }
    }
}

TEST(YuvToRgb, WithoutAPictureNothingIsTouched) {
    const Bytes plane(64, 200);
    Bytes out(64, 1);
    uint8_t* dst = out.data();
    int stride[] = {4, 4, 4};
    const uint8_t* source[] = {plane.data(), plane.data(), plane.data()};
    const int sizes[][2] = {{0, 2}, {1, 2}, {2, 0}, {2, -1}, {INT_MIN, INT_MIN}, {1, INT_MAX}};
    for (const Kind& kind : kKinds) {
        for (const auto& size : sizes) {
            EXPECT_EQ(kind.create(size[0], size[1])->convert(&dst, stride, source, stride), 0);
        }
        EXPECT_EQ(out, Bytes(64, 1)) << kind.name;
    }
}

}  // namespace
