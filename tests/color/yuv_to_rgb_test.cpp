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
    return static_cast<int>(std::floor(fixedPoint / 65536.0));
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

uint32_t pixelAt(const Kind& kind, const uint8_t* pixel) {
    uint32_t value = 0;
    kind.is565 ? memcpy(&value, pixel, 2) : memcpy(&value, pixel, 4);
    return value;
}

// --- Every colour: one picture for each Cr, a row pair for each Cb, four lumas a block

constexpr int kWidth = 128;
constexpr int kHeight = 512;

Bytes everyLuma() {
    Bytes y(size_t{kWidth} * kHeight);
    for (size_t i = 0; i < y.size(); ++i) {
        y[i] = static_cast<uint8_t>(i);  // two rows have all 256
    }
    return y;
}

int wrongPixels(const Kind& kind, ColorConverter& converter, const Bytes& y, int cr,
                const uint32_t* expected) {
    Bytes crPlane(y.size() / 4, static_cast<uint8_t>(cr));
    Bytes cbPlane(y.size() / 4);
    Bytes pairs(y.size() / 2, static_cast<uint8_t>(cr));
    for (size_t i = 0; i < cbPlane.size(); ++i) {
        cbPlane[i] = pairs[2 * i + 1] = static_cast<uint8_t>(i / (kWidth / 2));
    }
    const uint8_t* first = kind.crPlane == 1 ? crPlane.data() : cbPlane.data();
    const uint8_t* second = kind.crPlane == 1 ? cbPlane.data() : crPlane.data();
    const uint8_t* source[] = {y.data(), kind.pairs ? pairs.data() : first, second};
    int stride[] = {kWidth, kind.pairs ? kWidth : kWidth / 2, kWidth / 2};
    const size_t pixelBytes = kind.is565 ? 2 : 4;
    int rowBytes = static_cast<int>(pixelBytes) * kWidth;
    Bytes out(y.size() * pixelBytes);
    uint8_t* dst = out.data();
    converter.convert(&dst, &rowBytes, source, stride);
    int wrong = 0;
    for (size_t i = 0; i < size_t{kWidth} * kHeight; ++i) {
        const size_t at = kind.at(i % kWidth, i / kWidth, kWidth, kHeight, static_cast<size_t>(rowBytes));
        wrong += pixelAt(kind, dst + at) != expected[i];
    }
    return wrong;
}

TEST(YuvToRgb, EveryColourIsRightToTheLastBit) {
    const Bytes y = everyLuma();
    std::vector<uint32_t> expected[2];  // pixels of 32 bits, of 16 bits
    std::unique_ptr<ColorConverter> converters[4];
    for (size_t k = 0; k < 4; ++k) {
        converters[k] = kKinds[k].create(kWidth, kHeight);
    }
    for (int cr = 0; cr < 256; ++cr) {
        for (size_t k = 0; k < 2; ++k) {
            expected[k].clear();
            for (int i = 0; i < kWidth * kHeight; ++i) {
                uint8_t pixel[4];
                writeReference(kKinds[k], referenceColour(i % 256, i / kWidth / 2, cr), pixel);
                expected[k].push_back(pixelAt(kKinds[k], pixel));
            }
        }
        for (size_t k = 0; k < 4; ++k) {
            const uint32_t* pixels = expected[kKinds[k].is565].data();
            ASSERT_EQ(wrongPixels(kKinds[k], *converters[k], y, cr, pixels), 0)
                << kKinds[k].name << " cr " << cr;
        }
    }
}

// Anchors for the reference itself.
TEST(YuvToRgb, KnownColours) {
    struct Known {
        uint8_t y, cb, cr;
        Bgr bgr;
    };
    const Known table[] = {
        {16, 128, 128, {16, 16, 16}}, {235, 128, 128, {235, 235, 235}}, {255, 128, 255, {255, 164, 255}},
        {0, 1, 128, {0, 44, 0}},      {0, 0, 128, {178, 0, 0}},         {226, 0, 149, {255, 120, 255}},
        {179, 171, 0, {255, 164, 0}},
    };
    for (const Known& known : table) {
        SCOPED_TRACE(testing::Message() << +known.y << " " << +known.cb << " " << +known.cr);
        const Bytes luma(4, known.y);
        const uint8_t* source[] = {luma.data(), &known.cb, &known.cr};
        int stride[] = {2, 1, 1};
        int rowBytes = 8;
        uint8_t out[16];
        uint8_t* dst = out;
        Yuv420ToBgr32(2, 2).convert(&dst, &rowBytes, source, stride);
        for (size_t at = 0; at < 16; at += 4) {
            EXPECT_EQ(out[at], known.bgr.b);
            EXPECT_EQ(out[at + 1], known.bgr.g);
            EXPECT_EQ(out[at + 2], known.bgr.r);
            EXPECT_EQ(out[at + 3], 255);
        }
    }
}

// --- Every place: planes that end at a guard page, with strides that all differ

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

void expectAsReference(const Kind& kind, const Layout& layout) {
    SCOPED_TRACE(testing::Message() << kind.name << " " << layout.width << "x" << layout.height << " + "
                                    << layout.padding1);
    const int rows = zem::chromaRowsOf(layout.height);
    const int chroma = kind.pairs ? layout.width / 2 * 2 : layout.width / 2;
    int stride[] = {layout.width + layout.paddingY, chroma + layout.padding1, chroma + layout.padding2};
    const int stepped[] = {stride[0], stride[kind.crossed ? 2 : 1], stride[kind.crossed ? 1 : 2]};
    const auto plane = [](int planeRows, int step, int bytes) {
        return noise(static_cast<size_t>(zem::planeBytes(planeRows, step, bytes)));
    };
    GuardedBuffer y(plane(layout.height, stepped[0], layout.width / 2 * 2));
    GuardedBuffer first(plane(rows, stepped[1], chroma));
    GuardedBuffer second(plane(kind.pairs ? 0 : rows, stepped[2], chroma));
    const uint8_t* source[] = {y.data(), first.data(), kind.pairs ? nullptr : second.data()};

    int dstStride = (kind.is565 ? 2 : 4) * layout.width + layout.paddingOut;
    const auto w = static_cast<size_t>(layout.width);
    const auto h = static_cast<size_t>(layout.height);
    const size_t corner = kind.at == turned ? 0 : w / 2 * 2 - 1;  // the last address has this column
    const size_t size = kind.at(corner, h - 1, w, h, static_cast<size_t>(dstStride)) + (kind.is565 ? 2 : 4);
    GuardedBuffer out(size);
    uint8_t* dst = out.data();
    EXPECT_EQ(kind.create(layout.width, layout.height)->convert(&dst, &dstStride, source, stride), 0);
    EXPECT_EQ(out.bytes(),
              referencePicture(kind, layout, source, stride, static_cast<size_t>(dstStride), size));
    EXPECT_TRUE(out.untouchedBefore());
}

TEST(YuvToRgb, EachClassHonoursItsStridesAndStaysWithinItsPlanes) {
    const Layout layouts[] = {
        {2, 2, 0, 0, 0, 0},  {4, 2, 0, 0, 0, 0},      {16, 6, 0, 0, 0, 0},  {66, 34, 62, 3, 8, 12},
        {18, 4, 5, 1, 2, 1}, {64, 64, 0, 64, 32, 16}, {2, 1, 0, 0, 0, 0},   {3, 2, 0, 0, 0, 0},
        {2, 3, 0, 0, 0, 0},  {5, 5, 1, 2, 3, 4},      {67, 35, 7, 5, 3, 9},
    };
    for (const Kind& kind : kKinds) {
        for (const Layout& layout : layouts) {
            expectAsReference(kind, layout);
        }
    }
}

TEST(YuvToRgb, WithoutAPictureOrAPlaneNothingIsTouched) {
    for (const Kind& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        const Bytes plane(64, 200);
        Bytes out(64, 1);
        uint8_t* dst = out.data();
        uint8_t* none = nullptr;
        int stride[] = {4, 4, 4};
        int rowBytes = 8;
        const uint8_t* source[] = {plane.data(), plane.data(), plane.data()};
        const int sizes[][2] = {{0, 2},       {1, 2},      {2, 0}, {-1, 2}, {2, -1}, {INT_MIN, INT_MIN},
                                {INT_MAX, 0}, {1, INT_MAX}};
        for (const auto& size : sizes) {
            EXPECT_EQ(kind.create(size[0], size[1])->convert(&dst, &rowBytes, source, stride), 0);
        }
        EXPECT_EQ(kind.create(2, 2)->convert(&none, &rowBytes, source, stride), 0);
        for (int missing = 0; missing < (kind.pairs ? 2 : 3); ++missing) {
            const uint8_t* some[] = {plane.data(), plane.data(), plane.data()};
            some[missing] = nullptr;
            EXPECT_EQ(kind.create(2, 2)->convert(&dst, &rowBytes, some, stride), 0);
        }
        EXPECT_EQ(out, Bytes(64, 1));
    }
}

TEST(PictureSize, CoversWhatIsReadAndNeverWraps) {
    EXPECT_EQ(zem::paddedNv12Bytes(1280, 0, 720), 1382400u);
    EXPECT_EQ(zem::paddedNv12Bytes(360, 40, 640), 384000u);  // rows of 400
    EXPECT_EQ(zem::paddedNv12Bytes(4, 0, 3), 20u);           // a second chroma row for the third
    EXPECT_EQ(zem::i420Bytes(1280, 720), 1382400u);
    EXPECT_EQ(zem::i420Bytes(4, 3), 19u);  // V starts at 12 + 3 and has two rows of 2
    EXPECT_EQ(zem::i420Bytes(3, 2), 9u);
    EXPECT_EQ(zem::rgb565Bytes(1920, 1080), 4147200u);
    EXPECT_EQ(zem::rgb565Bytes(INT_MAX, INT_MAX), uint64_t{INT_MAX} * INT_MAX * 2);
    EXPECT_EQ(zem::paddedNv12Bytes(INT_MAX, 0, INT_MAX),
              uint64_t{INT_MAX} * (uint64_t{INT_MAX} + (1u << 30)));
    EXPECT_EQ(zem::paddedNv12Bytes(-4, 2, 4) + zem::paddedNv12Bytes(4, -8, 4) + zem::i420Bytes(0, 4) +
                  zem::rgb565Bytes(4, -1) + zem::planeBytes(0, 4, 4),
              0u);
}

}  // namespace
