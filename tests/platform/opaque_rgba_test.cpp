// Proves the step from the X server's bytes to a picture, for both byte orders and every row length that
// meets the end of a strip. Would catch: red and blue exchanged, alpha left as the server gave it, the
// last pixels of a row not converted, a nearest-pixel scaler.
#include "platform/linux/screen/opaque_rgba.h"

#include <gtest/gtest.h>

#include <vector>

namespace zem {
namespace {

struct Shape {
    uint32_t width, height;
    ByteOrder order;
};

TEST(OpaqueRgba, SameSizeKeepsEveryColourAndMakesItOpaque) {
    const Shape shapes[] = {{1, 1, ByteOrder::kBgrx},    {7, 5, ByteOrder::kBgrx},
                            {1023, 2, ByteOrder::kBgrx}, {1025, 3, ByteOrder::kBgrx},
                            {2048, 1, ByteOrder::kBgrx}, {33, 3, ByteOrder::kRgbx},
                            {1030, 2, ByteOrder::kRgbx}};
    for (const Shape& shape : shapes) {
        std::vector<uint8_t> bytes(size_t{4} * shape.width * shape.height);
        for (size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<uint8_t>(i * 7 + i / 4);
        }
        Picture picture;
        ASSERT_TRUE(picture.reshape(shape.width, shape.height));
        ASSERT_TRUE(toOpaqueRgba({bytes.data(), shape.width, shape.height}, shape.order, &picture));
        const int red = shape.order == ByteOrder::kBgrx ? 2 : 0;
        for (size_t i = 0; i < bytes.size() / 4; ++i) {
            const Rgba got = picture.pixels()[i];
            ASSERT_EQ(got.r, bytes[4 * i + static_cast<size_t>(red)]) << shape.width << " wide, pixel " << i;
            ASSERT_EQ(got.g, bytes[4 * i + 1]);
            ASSERT_EQ(got.b, bytes[4 * i + static_cast<size_t>(2 - red)]);
            ASSERT_EQ(got.a, 255);
        }
    }
}

TEST(OpaqueRgba, HalfSizeIsTheMeanOfFourPixels) {
    constexpr uint32_t kWidth = 64;
    constexpr uint32_t kHeight = 16;
    std::vector<uint8_t> bytes(size_t{4} * kWidth * kHeight);
    for (size_t i = 0; i < bytes.size(); i += 4) {
        bytes[i] = i % 8 == 0 ? 200 : 0;  // blue in every other column
        bytes[i + 2] = 60;
    }
    Picture picture;
    ASSERT_TRUE(picture.reshape(kWidth / 2, kHeight / 2));
    ASSERT_TRUE(toOpaqueRgba({bytes.data(), kWidth, kHeight}, ByteOrder::kBgrx, &picture));
    for (uint32_t i = 0; i < picture.width() * picture.height(); ++i) {
        const Rgba got = picture.pixels()[i];
        ASSERT_NEAR(got.b, 100, 1);
        ASSERT_EQ(got.r, 60);
        ASSERT_EQ(got.g, 0);
        ASSERT_EQ(got.a, 255);
    }
}

TEST(OpaqueRgba, EvenAreasKeepTheirColourAtAnyFactor) {
    constexpr uint32_t kWidth = 96;
    constexpr uint32_t kHeight = 54;
    const std::vector<uint8_t> white(size_t{4} * kWidth * kHeight, 255);
    const uint32_t sizes[][2] = {{1, 1},   {32, 18},  {64, 36},  {48, 27}, {95, 53},
                                 {97, 54}, {144, 81}, {24, 200}, {500, 7}};
    for (const auto& size : sizes) {
        Picture picture;
        ASSERT_TRUE(picture.reshape(size[0], size[1]));
        ASSERT_TRUE(toOpaqueRgba({white.data(), kWidth, kHeight}, ByteOrder::kBgrx, &picture));
        for (uint32_t i = 0; i < size[0] * size[1]; ++i) {
            const Rgba got = picture.pixels()[i];
            ASSERT_TRUE(got.r == 255 && got.g == 255 && got.b == 255) << size[0] << "x" << size[1];
        }
    }
}

TEST(OpaqueRgba, OtherFactorsWeighTheNeighbours) {
    // Two pixels, black and red, drawn to eight: the ends stay, the middle falls evenly between.
    const std::vector<uint8_t> bytes{0, 0, 0, 0, 0, 0, 240, 0};
    const uint8_t reds[] = {0, 0, 30, 90, 150, 210, 240, 240};
    Picture picture;
    ASSERT_TRUE(picture.reshape(8, 3));
    ASSERT_TRUE(toOpaqueRgba({bytes.data(), 2, 1}, ByteOrder::kBgrx, &picture));
    for (uint32_t y = 0; y < 3; ++y) {
        for (uint32_t x = 0; x < 8; ++x) {
            EXPECT_EQ(picture.row(y)[x].r, reds[x]) << x;
        }
    }
}

}  // namespace
}  // namespace zem
