// Proves that pictures have the recorded sizes and hold all that a converter writes for them. Faults
// it would catch: a chroma plane sized by rounding up, the RGB picture's size taken for bytes, a
// plane freed twice or never, planes too small for an odd size (under AddressSanitizer).
#include "color/omx_av_frame.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstring>
#include <memory>

#include "color/rgb_to_yuv.h"
#include "color/walk_size.h"
#include "tests/support/log_capture.h"

namespace {

using testing::ElementsAre;

struct DeletePicture {
    void operator()(OmxAVFrame* picture) const {
        dealloc_picture(picture);
        delete picture;
    }
};
using Picture = std::unique_ptr<OmxAVFrame, DeletePicture>;
using Allocator = OmxAVFrame* (*)(int width, int height);

struct Case {
    Allocator allocate;
    int width, height;
    int32_t size[4];
};

TEST(OmxAvFrame, RecordsTheSizesAndSetsOnlyUsedPlanes) {
    const Case cases[] = {
        {alloc_picture_nv12, 1280, 720, {921600, 460800, 0, 0}},
        {alloc_picture_nv12, 3, 3, {9, 4, 0, 0}},
        {alloc_picture_yuv420, 6, 2, {12, 3, 3, 0}},
        {alloc_picture_yuv420, 5, 3, {15, 3, 3, 0}},
        {alloc_picture_rgb, 6, 4, {12, 0, 0, 0}},
        {alloc_picture_rgb, 6, 0, {12, 0, 0, 0}},
        {alloc_picture_nv12, 0, 5, {0, 0, 0, 0}},
        {alloc_picture_yuv420, 4, -2, {0, 0, 0, 0}},
        {alloc_picture_rgb, -6, 4, {0, 0, 0, 0}},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(testing::Message() << (&one - cases) << ": " << one.width << "x" << one.height);
        const Picture picture(one.allocate(one.width, one.height));
        ASSERT_TRUE(picture);
        EXPECT_THAT(picture->size, testing::ElementsAreArray(one.size));
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(picture->data[i] != nullptr, one.size[i] > 0) << "plane " << i;
        }
    }
}

TEST(OmxAvFrame, PlanesHoldWhatIsWrittenForAnySize) {
    for (int width = 1; width <= 5; ++width) {
        for (int height = 1; height <= 5; ++height) {
            const zem::YuvWalkBytes walk = zem::yuvWalkBytes(width, height);
            const std::vector<uint8_t> source(static_cast<size_t>(walk.source), 255);
            const uint8_t* in = source.data();
            int stride = 4 * width;
            const Picture planar(alloc_picture_yuv420(width, height));
            Rgb32ToYuv420(width, height).convert(planar->data, planar->size, &in, &stride);
            const Picture pairs(alloc_picture_nv12(width, height));
            Rgb32ToNV12(width, height).convert(pairs->data, pairs->size, &in, &stride);
            // White: planes that overlap would mix 255 and 128.
            for (uint8_t* const luma : {planar->data[0], pairs->data[0]}) {
                EXPECT_EQ(std::count(luma, luma + walk.luma, 255), static_cast<ptrdiff_t>(walk.luma));
            }
            for (uint8_t* const chroma : {planar->data[1], planar->data[2]}) {
                EXPECT_EQ(std::count(chroma, chroma + walk.chromaPlane, 128),
                          static_cast<ptrdiff_t>(walk.chromaPlane));
            }
            EXPECT_EQ(std::count(pairs->data[1], pairs->data[1] + walk.chromaPairs, 128),
                      static_cast<ptrdiff_t>(walk.chromaPairs));
            const Picture rgb(alloc_picture_rgb(width, height));
            memset(rgb->data[0], 1,
                   size_t{2} * static_cast<size_t>(width) * static_cast<size_t>(height + height % 2));
        }
    }
}

TEST(OmxAvFrame, DeallocatingIsDoneOnce) {
    for (Allocator allocate : {alloc_picture_nv12, alloc_picture_yuv420, alloc_picture_rgb}) {
        const Picture picture(allocate(8, 8));
        dealloc_picture(picture.get());
        EXPECT_THAT(picture->size, ElementsAre(0, 0, 0, 0));
        dealloc_picture(picture.get());
    }
    dealloc_picture(nullptr);
    // Only planes marked as present are freed: this one is not the picture's.
    uint8_t borrowed = 0;
    OmxAVFrame picture{{&borrowed, nullptr, nullptr, nullptr}, {0, 0, 0, 0}};
    dealloc_picture(&picture);
}

TEST(OmxAvFrame, APictureBeyond31BitsHasNoPlanes) {
    for (Allocator allocate : {alloc_picture_nv12, alloc_picture_yuv420, alloc_picture_rgb}) {
        zem::test::forgetLog();
        // The product of the first wraps to a harmless 65536 in 32 bits.
        for (int height : {65537, INT_MAX}) {
            const Picture picture(allocate(65536, height));
            ASSERT_TRUE(picture);
            EXPECT_THAT(picture->size, ElementsAre(0, 0, 0, 0));
            EXPECT_THAT(picture->data, ElementsAre(nullptr, nullptr, nullptr, nullptr));
        }
        EXPECT_TRUE(zem::test::logged(6, "no memory for a picture of 65536 x 65537"));
        EXPECT_EQ(zem::test::loggedLines().size(), 2u);
    }
}

TEST(OmxAvFrame, OnlyPixelFormats1And2AreAccepted) {
    zem::test::forgetLog();
    EXPECT_EQ(CheckOmxPixelFormat(1), 1);
    EXPECT_EQ(CheckOmxPixelFormat(2), 1);
    EXPECT_TRUE(zem::test::loggedLines().empty());
    for (int format : {0, 3, -1, INT_MIN, INT_MAX}) {
        EXPECT_EQ(CheckOmxPixelFormat(format), 0);
        EXPECT_TRUE(
            zem::test::logged(6, "CheckOmxPixelFormat(" + std::to_string(format) + ") unknown format"));
    }
}

}  // namespace
