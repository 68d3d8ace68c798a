// Proves that pictures have the recorded sizes and hold all that a converter writes for them. Faults
// it would catch: a chroma plane sized by rounding up, the RGB picture's size taken for bytes, a
// plane freed twice or never, planes too small for an odd size (under AddressSanitizer).
#include "color/omx_av_frame.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>

#include "color/rgb_to_yuv.h"
#include "color/walk_size.h"
#include "tests/support/log_capture.h"

namespace {

void deletePicture(OmxAVFrame* picture) {
    dealloc_picture(picture);
    delete picture;
}
using Picture = std::unique_ptr<OmxAVFrame, decltype(&deletePicture)>;

TEST(OmxAvFrame, RecordsTheSizesAndSetsOnlyUsedPlanes) {
    const struct {
        OmxAVFrame* (*allocate)(int width, int height);
        int width, height;
        int32_t size[4];
    } cases[] = {
        {alloc_picture_nv12, 3, 3, {9, 4, 0, 0}},
        {alloc_picture_yuv420, 5, 3, {15, 3, 3, 0}},
        {alloc_picture_rgb, 6, 4, {12, 0, 0, 0}},
        {alloc_picture_yuv420, 4, -2, {0, 0, 0, 0}},
        // Beyond 31 bits; the product of the first wraps to a harmless 65536 in 32 bits.
        {alloc_picture_nv12, 65536, 65537, {0, 0, 0, 0}},
        {alloc_picture_rgb, 65536, 65537, {0, 0, 0, 0}},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::Message() << (&one - cases) << ": " << one.width << "x" << one.height);
        const Picture picture(one.allocate(one.width, one.height), deletePicture);
        EXPECT_THAT(picture->size, testing::ElementsAreArray(one.size));
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(picture->data[i] != nullptr, one.size[i] > 0) << "plane " << i;
        }
        dealloc_picture(picture.get());  // and once more at the end of the scope
    }
    EXPECT_TRUE(zem::test::logged(6, "no memory for a picture of 65536 x 65537"));
}

// One byte too many is for AddressSanitizer to find.
TEST(OmxAvFrame, PlanesHoldWhatIsWrittenForAnySize) {
    for (int size = 0; size < 25; ++size) {
        const int width = 1 + size % 5;
        const int height = 1 + size / 5;
        const zem::YuvWalkBytes walk = zem::yuvWalkBytes(width, height);
        // White: planes that overlap would mix 255 and 128.
        const std::vector<uint8_t> source(static_cast<size_t>(walk.source), 255);
        const uint8_t* in = source.data();
        int stride = 4 * width;
        const Picture planar(alloc_picture_yuv420(width, height), deletePicture);
        Rgb32ToYuv420(width, height).convert(planar->data, planar->size, &in, &stride);
        const Picture pairs(alloc_picture_nv12(width, height), deletePicture);
        Rgb32ToNV12(width, height).convert(pairs->data, pairs->size, &in, &stride);
        EXPECT_EQ(std::count(planar->data[0], planar->data[0] + walk.luma, 255),
                  static_cast<ptrdiff_t>(walk.luma));
        EXPECT_EQ(std::count(pairs->data[0], pairs->data[0] + walk.luma, 255),
                  static_cast<ptrdiff_t>(walk.luma));
    }
}

}  // namespace
