// Proves which colour a screen's patch has at the other end, for each pair of sender and receiver, as
// users see it: the swaps of the two directions must cancel where they always have. Faults it would catch:
// one of them repaired on its own, a route with its chroma planes exchanged, chroma 0 repaired.
#include <gtest/gtest.h>

#include "color/rgb_to_yuv.h"
#include "color/tiled_nv12.h"
#include "color/yuv_to_rgb.h"

namespace {

struct Rgb {
    int r, g, b;
};

// What a component takes and gives, without coding loss: one 2x2 block.
struct Coded {
    uint8_t y[4];
    uint8_t chroma[2];  // what it takes for Cb, Cr
};

// Screens are R, G, B, x in memory.
template <typename Converter>
Coded sent(const Rgb& colour) {
    uint8_t screen[16];
    for (int i = 0; i < 16; i += 4) {
        screen[i] = static_cast<uint8_t>(colour.r);
        screen[i + 1] = static_cast<uint8_t>(colour.g);
        screen[i + 2] = static_cast<uint8_t>(colour.b);
        screen[i + 3] = 0;
    }
    Coded coded{};
    uint8_t* planes[] = {coded.y, coded.chroma, coded.chroma + 1};
    const uint8_t* source = screen;
    int stride = 8;
    Converter(2, 2).convert(planes, nullptr, &source, &stride);
    return coded;
}

template <typename Converter>
int shownBy(const Coded& coded) {
    uint16_t words[4];
    auto* dst = reinterpret_cast<uint8_t*>(words);  // converters write plain memory
    int rowBytes = 4;
    const uint8_t* source[] = {coded.y, coded.chroma, coded.chroma + 1};
    int stride[] = {2, 2, 2};
    Converter(2, 2).convert(&dst, &rowBytes, source, stride);
    return words[3];
}

int shownByTiles(const Coded& coded) {
    uint8_t pixel[4];
    uint8_t* cursor = pixel;
    nv12TileComputeRGB(&cursor, coded.chroma, coded.y, 2, 4);
    return pixel[0] + 256 * pixel[1];
}

int word565(const Rgb& colour) {
    return colour.r / 8 * 2048 + colour.g / 4 * 32 + colour.b / 8;
}

struct Patch {
    Rgb screen;
    Rgb pairsToLinear, pairsToTiles;    // chips that encode from Cr,Cb pairs
    Rgb planesToLinear, planesToTiles;  // chips that encode from planes
};

const Patch kPatches[] = {
    {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}},
    {{255, 255, 255}, {255, 255, 255}, {255, 255, 255}, {255, 255, 255}, {255, 255, 255}},
    {{128, 128, 128}, {128, 128, 128}, {130, 130, 130}, {128, 128, 128}, {130, 130, 130}},
    {{255, 0, 0}, {254, 0, 0}, {218, 0, 0}, {255, 63, 16}, {255, 0, 0}},
    {{0, 255, 0}, {1, 255, 0}, {21, 255, 0}, {0, 247, 32}, {0, 255, 0}},
    {{0, 0, 255}, {0, 0, 254}, {1, 55, 255}, {0, 0, 207}, {0, 0, 255}},
    {{255, 255, 0}, {255, 164, 0}, {255, 204, 0}, {255, 219, 47}, {255, 255, 0}},
    {{0, 255, 255}, {255, 120, 255}, {39, 255, 255}, {255, 57, 239}, {0, 255, 255}},
    {{255, 0, 255}, {254, 0, 255}, {237, 0, 255}, {255, 8, 223}, {255, 0, 255}},
    {{255, 128, 0}, {255, 128, 0}, {238, 62, 0}, {255, 186, 32}, {255, 130, 0}},
    {{224, 172, 140}, {223, 172, 140}, {226, 159, 136}, {235, 192, 149}, {241, 181, 145}},
};

TEST(ColourRoute, EachPairOfChipsShowsTheColoursItAlwaysHas) {
    for (const Patch& patch : kPatches) {
        SCOPED_TRACE(testing::Message() << patch.screen.r << "," << patch.screen.g << "," << patch.screen.b);
        const Coded pairs = sent<Bgr32ToNV12>(patch.screen);
        const Coded planes = sent<Rgb32ToYuv420>(patch.screen);
        EXPECT_EQ(shownBy<Nv12ToRgb565>(pairs), word565(patch.pairsToLinear));
        EXPECT_EQ(shownBy<Yuv420ToRgb565>(pairs), word565(patch.pairsToLinear));
        EXPECT_EQ(shownByTiles(pairs), word565(patch.pairsToTiles));
        EXPECT_EQ(shownBy<Nv12ToRgb565>(planes), word565(patch.planesToLinear));
        EXPECT_EQ(shownBy<Yuv420ToRgb565>(planes), word565(patch.planesToLinear));
        EXPECT_EQ(shownByTiles(planes), word565(patch.planesToTiles));
    }
}

}  // namespace
