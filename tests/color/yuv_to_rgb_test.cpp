// Proves that every (y, cb, cr) comes out right to the last bit in each linear converter, chroma 0 with
// its peculiar values included, and that each class reads and writes exactly the pixels that its planes
// and strides say. Faults it would catch: red and blue or Cb and Cr exchanged, a repaired chroma 0, the
// chroma strides uncrossed, a picture turned clockwise, a byte too many at either end for odd sizes, a
// vector variant that differs in a bit.
#include "color/yuv_to_rgb.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "color/picture_size.h"
#include "tests/color/reference.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/simd_targets.h"

using namespace zem::test;

namespace {

using Bytes = std::vector<uint8_t>;

// --- The formulas, read a second time

int wholes(int fixedPoint) {
    return (fixedPoint + 1024 * 65536) / 65536 - 1024;  // rounds down
}

uint8_t clamped(int value) {
    return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
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

// --- The four classes: where chroma is read and where a pixel is written

struct Kind {
    const char* name;
    int crPlane;
    int cbPlane;
    bool is565;
    bool crossed;  // the chroma planes' strides
    std::unique_ptr<ColorConverter> (*create)(int width, int height);
    int (*at)(int x, int y, int width, int height, int stride);

    bool pairs() const { return crPlane == cbPlane; }  // Cr, Cb
    void write(uint8_t* pixel, int y, int cb, int cr) const {
        const uint8_t b = clamped(y + blueOffset(cb));
        const uint8_t g = clamped(y + wholes(greenOfCb(cb) + greenOfCr(cr)));
        const uint8_t r = clamped(y + redOffset(cr));
        const uint8_t bytes[] = {b, g, r, 255};
        const auto word = static_cast<uint16_t>(b / 8 * 2048 + g / 4 * 32 + r / 8);
        is565 ? memcpy(pixel, &word, 2) : memcpy(pixel, bytes, 4);
    }
};

int inPairsOfRows(int x, int y, int width, int, int stride) {
    return y / 2 * (stride + 4 * width) + y % 2 * stride + 4 * x;
}
int inRows(int x, int y, int, int, int stride) {
    return y * stride + 2 * x;
}
int turned(int x, int y, int width, int height, int) {
    return 2 * ((width - 1 - x) * height + y);
}

const Kind kKinds[] = {
    {"Yuv420ToBgr32", 2, 1, false, false, create<Yuv420ToBgr32>, inPairsOfRows},
    {"Yuv420ToRgb565", 1, 2, true, true, create<Yuv420ToRgb565>, inRows},
    {"Nv12ToRgb565", 1, 1, true, false, create<Nv12ToRgb565>, inRows},
    {"Nv12ToRgb565Rotate", 1, 1, true, false, create<Nv12ToRgb565Rotate>, turned},
};

// What a picture shows at a pixel or block: noise, or all lumas and Cbs, with a Cr from `firstCr` for each
// column, so that no two neighbours have the same.
struct Content {
    int firstCr = -1;  // -1: noise

    static uint8_t mixed(int x, int y, int plane) {
        return static_cast<uint8_t>(static_cast<unsigned>(x * 7 + y * 1009 + plane * 31) * 2654435761u >> 24);
    }
    uint8_t y(int x, int y) const {
        return firstCr < 0 ? mixed(x, y, 0) : static_cast<uint8_t>(x + y % 2 * 128);
    }
    uint8_t cb(int x, int y) const { return firstCr < 0 ? mixed(x, y, 1) : static_cast<uint8_t>(y); }
    uint8_t cr(int x, int y) const {
        return firstCr < 0 ? mixed(x, y, 2) : static_cast<uint8_t>(firstCr + 37 * x);
    }
};

struct Layout {
    int width, height;
    int paddingY, padding1, padding2, paddingOut;  // bytes after each row
};

size_t bytesOf(int rows, int stride, int rowBytes) {
    return static_cast<size_t>(zem::planeBytes(rows, stride, rowBytes));
}

// Between planes that end at a guard page, with strides that may all differ.
void expectAsReference(const Kind& kind, const Layout& layout, const Content& content) {
    const auto& [w, h, paddingY, padding1, padding2, paddingOut] = layout;
    SCOPED_TRACE(testing::Message() << kind.name << " " << w << "x" << h << " + " << padding1);
    const int columns = w / 2;
    const int rows = zem::chromaRowsOf(h);
    const int chroma = kind.pairs() ? 2 * columns : columns;  // bytes
    int stride[] = {w + paddingY, chroma + padding1, chroma + padding2};
    const int step[] = {stride[0], stride[kind.crossed ? 2 : 1], stride[kind.crossed ? 1 : 2]};
    GuardedBuffer planes[] = {GuardedBuffer(bytesOf(h, step[0], 2 * columns)),
                              GuardedBuffer(bytesOf(rows, step[1], chroma)),
                              GuardedBuffer(kind.pairs() ? 0 : bytesOf(rows, step[2], chroma))};
    for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < columns; ++x) {
            const int at = kind.pairs() ? 2 * x : x;
            planes[kind.crPlane].data()[y * step[kind.crPlane] + at] = content.cr(x, y);
            planes[kind.cbPlane].data()[y * step[kind.cbPlane] + at + (kind.pairs() ? 1 : 0)] =
                content.cb(x, y);
        }
    }
    int dstStride = (kind.is565 ? 2 : 4) * w + paddingOut;
    const int corner = kind.at == turned ? 0 : 2 * columns - 1;  // the last address has this column
    Bytes expected(static_cast<size_t>(kind.at(corner, h - 1, w, h, dstStride) + (kind.is565 ? 2 : 4)),
                   GuardedBuffer::kPattern);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < 2 * columns; ++x) {
            planes[0].data()[y * step[0] + x] = content.y(x, y);
            kind.write(&expected[static_cast<size_t>(kind.at(x, y, w, h, dstStride))], content.y(x, y),
                       content.cb(x / 2, y / 2), content.cr(x / 2, y / 2));
        }
    }
    const uint8_t* source[] = {planes[0].data(), planes[1].data(), kind.pairs() ? nullptr : planes[2].data()};
    onEverySimdTarget([&, width = w, height = h] {
        GuardedBuffer out(expected.size());
        uint8_t* dst = out.data();
        EXPECT_EQ(kind.create(width, height)->convert(&dst, &dstStride, source, stride), 0);
        ASSERT_TRUE(out.bytes() == expected);
        EXPECT_TRUE(out.untouchedBefore());
    });
}

TEST(YuvToRgb, EveryColourIsRightToTheLastBit) {
    for (const Kind& kind : kKinds) {
        for (int cr = 0; cr < 256; ++cr) {  // a row pair of all lumas for each Cb
            expectAsReference(kind, {128, 512, 0, 0, 0, 0}, {cr});
        }
    }
}

TEST(YuvToRgb, EachClassHonoursItsStridesAndStaysWithinItsPlanes) {
    const Layout layouts[] = {{2, 2, 0, 0, 0, 0}, {66, 34, 62, 3, 8, 12}, {64, 64, 0, 64, 32, 16},
                              {2, 1, 0, 0, 0, 0}, {5, 5, 1, 2, 3, 4},     {67, 35, 7, 5, 3, 9}};
    for (const Kind& kind : kKinds) {
        for (const Layout& layout : layouts) {
            expectAsReference(kind, layout, {});
        }
        for (int width = 2; width <= 200; ++width) {  // with and without a vector's end in each place
            expectAsReference(kind, {width, 1 + width * 7 % 43, width % 5, width % 3, width % 4, width % 7},
                              {});
        }
    }
}

TEST(YuvToRgb, AFrameThatNoCacheHoldsIsWrittenTheSame) {
    // Rows that start in each place within a vector or within a pixel, and are short of whole ones at both
    // ends.
    for (const Layout& layout :
         {Layout{2098, 2002, 0, 0, 0, 56}, {2098, 2002, 0, 0, 0, 0}, {2099, 2002, 0, 0, 0, 52}}) {
        expectAsReference(kKinds[0], layout, {});
    }
}

TEST(YuvToRgb, RowsUpwardAndRowsThatOverlapAreTheSameWithVectors) {
    constexpr int kWidth = 130, kHeight = 37;
    constexpr size_t kMiddle = 1 << 15;
    const Bytes planes = noise(2 * kMiddle);
    const uint8_t* source[] = {&planes[kMiddle], &planes[kMiddle + 40], &planes[kMiddle + 7]};
    int stride[] = {-kWidth, -kWidth - 3, -kWidth + 5};
    for (const Kind& kind : kKinds) {
        for (int dstStride : {-4 * kWidth, -2 * kWidth, -2 * kWidth + 2, 0, 6, 2 * kWidth - 1}) {
            SCOPED_TRACE(testing::Message() << kind.name << " " << dstStride);
            Bytes expected;
            onEverySimdTarget([&] {
                Bytes out(2 * kMiddle);
                uint8_t* dst = &out[kMiddle];
                kind.create(kWidth, kHeight)->convert(&dst, &dstStride, source, stride);
                EXPECT_TRUE(expected.empty() || out == expected);
                expected = out;
            });
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
