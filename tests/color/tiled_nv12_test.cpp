// Proves that the tiled conversion takes every pixel from its place and gives it the right colour, stays
// within its planes, refuses what it must, and keeps its clip table while others drop it. Faults it would
// catch: two tiles exchanged, an unpaired last row zigzagged, Cb and Cr exchanged, rounding instead of
// truncation, chroma read behind the plane; under the sanitizers a table freed twice or under its reader.
#include "color/tiled_nv12.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <thread>

#include "tests/color/reference.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/log_capture.h"
#include "tests/support/simd_targets.h"
#include "tests/support/tiled_plane.h"

using namespace zem::test;

namespace {

using Bytes = std::vector<uint8_t>;

int scaled(int sum) {
    const int value = static_cast<int>(std::trunc(sum / 256.0));
    return value < 0 ? 0 : value > 255 ? 255 : value;
}

int referenceWord(int y, int cb, int cr) {
    const int c = y - 16, d = cb - 128, e = cr - 128;
    return scaled(298 * c + 409 * e) / 8 * 2048 + scaled(298 * c - 100 * d - 208 * e) / 4 * 32 +
           scaled(298 * c + 517 * d) / 8;
}

struct TiledPicture {
    size_t width, height;

    TiledPlane luma() const { return {(width + 127) / 128 * 2, (height + 31) / 32}; }
    TiledPlane chroma() const { return {(width + 127) / 128 * 2, (height / 2 + 31) / 32}; }
    size_t bytes() const { return luma().bytes() + chroma().bytes(); }
    int word(const uint8_t* source, size_t x, size_t y) const {
        const int bright = source[luma().at(x, y)];
        if (chroma().rows == 0) {
            return referenceWord(bright, 128, 128);
        }
        const size_t line = std::min(y / 2, chroma().rows * 32 - 1);
        const uint8_t* plane = source + luma().bytes();
        return referenceWord(bright, plane[chroma().at(x / 2 * 2, line)],
                             plane[chroma().at(x / 2 * 2 + 1, line)]);
    }
    // Rows of tiles start 64 * width bytes apart, so with longer rows they overlap.
    Bytes converted(const uint8_t* source, size_t stride) const {
        Bytes out;
        for (size_t y = 0; y < height; ++y) {
            for (size_t x = 0; x < width; ++x) {
                const size_t at = y / 32 * 64 * width + y % 32 * stride + 2 * x;
                out.resize(std::max(out.size(), at + 2), GuardedBuffer::kPattern);
                out[at] = static_cast<uint8_t>(word(source, x, y) % 256);
                out[at + 1] = static_cast<uint8_t>(word(source, x, y) / 256);
            }
        }
        return out;
    }
};

void expectAsReference(const TiledPicture& picture, size_t stride) {
    SCOPED_TRACE(testing::Message() << picture.width << "x" << picture.height << " stride " << stride);
    GuardedBuffer source(noise(picture.bytes()));
    const Bytes expected = picture.converted(source.data(), stride);
    onEverySimdTarget([&] {
        GuardedBuffer out(expected.size());
        convertNV12Tile(static_cast<unsigned>(picture.width), static_cast<unsigned>(picture.height),
                        source.data(), 0, out.data(), static_cast<unsigned>(stride));
        EXPECT_TRUE(out.bytes() == expected);
        EXPECT_TRUE(out.untouchedBefore());
    });
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
    for (size_t width = 2; width <= 200; ++width) {  // with each count of pixels in the last tile
        expectAsReference({width, 1 + width * 7 % 43}, (2 * width + 3) / 4 * 4);
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

TEST(TiledNv12, EveryColourIsTheSameInAPicture) {
    std::vector<Bytes> sources(64, Bytes(16384)), expected(64, Bytes(4096));
    for (size_t cb = 0; cb < 256; cb += 2) {  // 64 tiles, each with four lumas for every pair
        for (size_t tile = 0; tile < 64; ++tile) {
            for (size_t i = 0; i < 2048; ++i) {
                sources[tile][i] = static_cast<uint8_t>(4 * tile + i / 64 % 2 * 2 + i % 2);
                sources[tile][8192 + i / 2] = static_cast<uint8_t>(i / 2 % 2 == 0 ? cb + i / 1024 : i / 4);
            }
            uint8_t* cursor = expected[tile].data();
            nv12TileTraverseBlock(&cursor, &sources[tile][0], &sources[tile][8192], 64, 32, 128);
        }
        onEverySimdTarget([&] {
            Bytes out(4096);
            for (size_t tile = 0; tile < 64; ++tile) {
                convertNV12Tile(64, 32, sources[tile].data(), 0, out.data(), 128);
                EXPECT_TRUE(out == expected[tile]);
            }
        });
    }
}

TEST(TiledNv12, ABadStrideOrSizeLeavesTheDestinationAlone) {
    const Bytes source(16384, 200);
    Bytes out(4096, 1);
    const unsigned refused[][2] = {{64, 126}, {64, 130}, {64, 124},       {64, 0}, {64, UINT_MAX},
                                   {64, 129}, {1, 2},    {0x80000000u, 0}};  // 2 * width wraps
    for (const auto& [width, stride] : refused) {
        forgetLog();
        convertNV12Tile(width, 32, source.data(), 0, out.data(), stride);
        EXPECT_TRUE(logged(6, "\n error dstSkip param in convertNV12")) << width << ", " << stride;
    }
    forgetLog();
    convertNV12Tile(1u << 20, 1u << 20, source.data(), 0, out.data(), 1u << 21);
    EXPECT_EQ(loggedLines().size(), 1u);
    EXPECT_EQ(out, Bytes(4096, 1));
}

TEST(TiledNv12, TheClipTableMayBeDroppedWhileOthersConvert) {
    const Bytes source = noise(TiledFrameSize(66, 34));
    const auto converted = [&source] {
        Bytes out(size_t{2} * 66 * 34);
        convertNV12Tile(66, 34, source.data(), 0, out.data(), 132);
        return out;
    };
    const Bytes expected = converted();
    std::atomic<int> converting{3};
    const auto convertAll = [&] {
        for (int round = 0; round < 2000; ++round) {
            EXPECT_TRUE(converted() == expected);
        }
        --converting;
    };
    std::thread threads[] = {std::thread(convertAll), std::thread(convertAll), std::thread(convertAll)};
    while (converting > 0) {
        initClip();
        delClip();
        std::this_thread::yield();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    delClip();
    delClip();
    EXPECT_EQ(g_xClip.load(), nullptr);
}

}  // namespace
