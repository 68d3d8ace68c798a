// Proves that the tiled conversion takes every pixel from its place and gives it the right colour, stays
// within its planes, and refuses what it must. Faults it would catch: two tiles exchanged, an unpaired last
// row zigzagged, Cb and Cr exchanged, rounding instead of truncation, chroma read behind the plane.
#include "color/tiled_nv12.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "tests/color/noise.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/log_capture.h"
#include "tests/support/tiled_plane.h"

namespace {

using zem::test::GuardedBuffer;
using zem::test::noise;
using zem::test::TiledPlane;
using Bytes = std::vector<uint8_t>;

struct TiledPicture {
    size_t width, height;

    size_t tilesX() const { return (width + 127) / 128 * 2; }
    TiledPlane luma() const { return {tilesX(), (height + 31) / 32}; }
    TiledPlane chroma() const { return {tilesX(), (height / 2 + 31) / 32}; }
    size_t bytes() const { return luma().bytes() + chroma().bytes(); }
};

int scaled(int sum) {
    const int value = static_cast<int>(std::trunc(sum / 256.0));
    return value < 0 ? 0 : value > 255 ? 255 : value;
}

int referenceWord(int y, int cb, int cr) {
    const int c = y - 16, d = cb - 128, e = cr - 128;
    return scaled(298 * c + 409 * e) / 8 * 2048 + scaled(298 * c - 100 * d - 208 * e) / 4 * 32 +
           scaled(298 * c + 517 * d) / 8;
}

int referencePixel(const TiledPicture& picture, const uint8_t* source, size_t x, size_t y) {
    const TiledPlane chroma = picture.chroma();
    const int luma = source[picture.luma().at(x, y)];
    if (chroma.rows == 0) {
        return referenceWord(luma, 128, 128);
    }
    const size_t line = std::min(y / 2, chroma.rows * 32 - 1);
    const uint8_t* plane = source + picture.luma().bytes();
    return referenceWord(luma, plane[chroma.at(x / 2 * 2, line)], plane[chroma.at(x / 2 * 2 + 1, line)]);
}

size_t placeOf(const TiledPicture& picture, size_t x, size_t y, size_t stride) {
    return y / 32 * 64 * picture.width + y % 32 * stride + 2 * x;
}

void expectAsReference(const TiledPicture& picture, size_t stride) {
    SCOPED_TRACE(testing::Message() << picture.width << "x" << picture.height << " stride " << stride);
    size_t size = 0;
    for (size_t y = 0; y < picture.height; ++y) {
        size = std::max(size, placeOf(picture, picture.width - 1, y, stride) + 2);
    }
    GuardedBuffer source(noise(picture.bytes()));
    GuardedBuffer out(size);
    Bytes expected(size, GuardedBuffer::kPattern);
    for (size_t y = 0; y < picture.height; ++y) {
        for (size_t x = 0; x < picture.width; ++x) {
            const int word = referencePixel(picture, source.data(), x, y);
            const size_t at = placeOf(picture, x, y, stride);
            expected[at] = static_cast<uint8_t>(word % 256);
            expected[at + 1] = static_cast<uint8_t>(word / 256);
        }
    }
    convertNV12Tile(static_cast<unsigned>(picture.width), static_cast<unsigned>(picture.height),
                    source.data(), 0, out.data(), static_cast<unsigned>(stride));
    EXPECT_TRUE(out.bytes() == expected);
    EXPECT_TRUE(out.untouchedBefore());
    EXPECT_EQ(TiledFrameSize(static_cast<int>(picture.width), static_cast<int>(picture.height)),
              picture.bytes());
}

TEST(TiledNv12, EveryPixelComesFromItsPlace) {
    // The last lines of heights 65 and 129 have no chroma row of their own; a height of 1 has none at all.
    const TiledPicture pictures[] = {{2, 2}, {100, 70}, {258, 66}, {384, 160}, {1280, 720},
                                     {1, 1}, {1, 70},   {63, 31},  {100, 65},  {129, 129}};
    for (const TiledPicture& picture : pictures) {
        expectAsReference(picture, (2 * picture.width + 3) / 4 * 4);
    }
    // The stride holds within a row of tiles only: later rows write over earlier ones.
    expectAsReference({100, 70}, 264);
}

TEST(TiledNv12, EveryColourIsRightToTheLastBit) {
    EXPECT_EQ(referenceWord(16, 128, 128), 0x0000);
    EXPECT_EQ(referenceWord(235, 128, 128), 0xFFFF);
    uint8_t luma[256], chroma[64], out[512];
    for (int i = 0; i < 256; ++i) {
        luma[i] = static_cast<uint8_t>(i);
    }
    int wrong = 0;
    for (int pair = 0; pair < 65536; ++pair) {
        for (int i = 0; i < 64; ++i) {
            chroma[i] = static_cast<uint8_t>(i % 2 == 0 ? pair / 256 : pair % 256);
        }
        uint8_t* cursor = out;
        for (size_t part = 0; part < 4; ++part) {
            nv12TileComputeRGB(&cursor, chroma, luma + 64 * part, 64, 128);
        }
        for (size_t y = 0; y < 256; ++y) {
            wrong += out[2 * y] + 256 * out[2 * y + 1] != referenceWord(luma[y], pair / 256, pair % 256);
        }
    }
    EXPECT_EQ(wrong, 0);
}

TEST(TiledNv12, ABadStrideOrSizeLeavesTheDestinationAlone) {
    const Bytes source(16384, 200);
    Bytes out(4096, 1);
    const unsigned refused[][2] = {{64, 126}, {64, 130}, {64, 124},       {64, 0}, {64, UINT_MAX},
                                   {64, 129}, {1, 2},    {0x80000000u, 0}};  // 2 * width wraps
    for (const auto& [width, stride] : refused) {
        zem::test::forgetLog();
        convertNV12Tile(width, 32, source.data(), 0, out.data(), stride);
        EXPECT_TRUE(zem::test::logged(6, "\n error dstSkip param in convertNV12")) << width << ", " << stride;
    }
    zem::test::forgetLog();
    convertNV12Tile(1u << 20, 1u << 20, source.data(), 0, out.data(), 1u << 21);
    EXPECT_EQ(zem::test::loggedLines().size(), 1u);
    EXPECT_EQ(out, Bytes(4096, 1));
}

}  // namespace
