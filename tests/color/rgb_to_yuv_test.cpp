// Proves that each converter reads and writes exactly the bytes that its frame walk has, and that every
// colour comes out right to the last bit. Faults it would catch: red and blue exchanged, Cb before Cr
// in the NV12 pair, chroma averaged over the block, a stride honoured where it is ignored or the
// reverse, one byte too many at either end for odd sizes, an instruction set that converts otherwise.
#include "color/rgb_to_yuv.h"

#include <gtest/gtest.h>

#include "color/rgb_to_yuv_kernel.h"
#include "color/rgb_ycc_table.h"
#include "color/walk_size.h"
#include "tests/color/reference.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/simd_targets.h"

using namespace zem::test;

namespace {

using Bytes = std::vector<uint8_t>;

// --- The formulas, read a second time: BT.601 in 16-bit fixed point, from the coefficients

struct Ycc {
    int y, cb, cr;
};

Ycc referenceColour(int r, int g, int b) {
    static const int kY[] = {fixed(0.299), fixed(0.587), fixed(0.114)};
    static const int kCb[] = {fixed(-0.16874), fixed(-0.33126), fixed(0.5)};
    static const int kCr[] = {fixed(0.5), fixed(-0.41869), fixed(-0.08131)};
    static const int kOffset = 128 * 65536 + 32767;  // never negative: division rounds down
    return {(kY[0] * r + kY[1] * g + kY[2] * b + 32768) / 65536,
            (kCb[0] * r + kCb[1] * g + kCb[2] * b + kOffset) / 65536,
            (kCr[0] * r + kCr[1] * g + kCr[2] * b + kOffset) / 65536};
}

// --- The four classes, and a reference walk that appends what it writes

struct Kind {
    const char* name;
    bool redFirst;
    bool pairs;  // NV12: Cr and Cb in one plane
    bool honoursStride;
    std::unique_ptr<ColorConverter> (*create)(int width, int height);
};

const Kind kKinds[] = {
    {"Bgr32ToYuv420", false, false, false, create<Bgr32ToYuv420>},
    {"Bgr32ToNV12", false, true, true, create<Bgr32ToNV12>},
    {"Rgb32ToYuv420", true, false, false, create<Rgb32ToYuv420>},
    {"Rgb32ToNV12", true, true, false, create<Rgb32ToNV12>},
};

struct Planes {
    Bytes plane[3];  // NV12: the third stays empty
};

Ycc colourAt(const Kind& kind, const uint8_t* pixel) {
    return kind.redFirst ? referenceColour(pixel[0], pixel[1], pixel[2])
                         : referenceColour(pixel[2], pixel[1], pixel[0]);
}

Planes referenceWalk(const Kind& kind, const uint8_t* source, int width, int height, int stride) {
    Planes out;
    const int gap = kind.honoursStride ? (stride / 4 - width) * 4 : 0;
    ptrdiff_t at = 0;
    for (int rows = height; rows > 0; rows -= 2) {
        for (int x = 0; x < width; x += 2, at += 8) {
            const Ycc left = colourAt(kind, source + at);
            out.plane[0].push_back(static_cast<uint8_t>(left.y));
            out.plane[0].push_back(static_cast<uint8_t>(colourAt(kind, source + at + 4).y));
            out.plane[1].push_back(static_cast<uint8_t>(kind.pairs ? left.cr : left.cb));
            out.plane[kind.pairs ? 1 : 2].push_back(static_cast<uint8_t>(kind.pairs ? left.cb : left.cr));
        }
        at += gap;
        for (int x = 0; x < width; ++x, at += 4) {
            out.plane[0].push_back(static_cast<uint8_t>(colourAt(kind, source + at).y));
        }
        at += gap;
    }
    return out;
}

// Converts from `source` into planes that end, and have their guard, where the reference's do.
void expectAsReference(const Kind& kind, const uint8_t* source, int width, int height, int stride) {
    SCOPED_TRACE(testing::Message() << kind.name << " " << width << "x" << height << " stride " << stride);
    const Planes expected = referenceWalk(kind, source, width, height, stride);
    const zem::YuvWalkBytes walk = zem::yuvWalkBytes(width, height);
    EXPECT_EQ(walk.luma, expected.plane[0].size());
    EXPECT_EQ(kind.pairs ? walk.chromaPairs : walk.chromaPlane, expected.plane[1].size());
    GuardedBuffer written[] = {GuardedBuffer(expected.plane[0].size()),
                               GuardedBuffer(expected.plane[1].size()),
                               GuardedBuffer(expected.plane[2].size())};
    uint8_t* planes[] = {written[0].data(), written[1].data(), kind.pairs ? nullptr : written[2].data()};
    int ignored[] = {7, 7, 7};
    EXPECT_EQ(kind.create(width, height)->convert(planes, ignored, &source, &stride), 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(written[i].bytes() == expected.plane[i]) << "plane " << i;
        EXPECT_TRUE(written[i].untouchedBefore()) << "plane " << i;
    }
}

// --- The pixel loops themselves

struct RgbToYuvKernel : testing::Test {
    RgbToYuvKernel() { frame.table = table.get(); }

    // What `convert` makes of the frame, each plane in memory that ends with it.
    Planes converted(void (*convert)(const zem::RgbToYuvFrame&)) {
        const zem::YuvWalkBytes walk = zem::yuvWalkBytes(frame.width, frame.height);
        GuardedBuffer y(walk.luma), cr(frame.interleaved ? walk.chromaPairs : walk.chromaPlane);
        GuardedBuffer cb(frame.interleaved ? 0 : walk.chromaPlane);
        frame.y = y.data();
        frame.cr = cr.data();
        frame.cb = frame.interleaved ? cr.data() + 1 : cb.data();
        convert(frame);
        EXPECT_TRUE(y.untouchedBefore() && cr.untouchedBefore() && cb.untouchedBefore());
        return {{y.bytes(), cr.bytes(), cb.bytes()}};
    }

    void expectEveryTargetAsTheTable() {
        SCOPED_TRACE(testing::Message()
                     << frame.width << "x" << frame.height << " gap " << frame.pixelsBetweenRows
                     << (frame.redFirst ? " RGB" : " BGR") << (frame.interleaved ? " NV12" : ""));
        const Planes expected = converted(zem::convertRgbToYuvTable);
        onEverySimdTarget([&] {
            const Planes planes = converted(zem::convertRgbToYuv);
            for (int i = 0; i < 3; ++i) {
                EXPECT_TRUE(planes.plane[i] == expected.plane[i]) << "plane " << i;
            }
        });
    }

    std::unique_ptr<int, void (*)(int*)> table{init_rgb_ycc_table(), deinit_rgb_ycc_table};
    zem::RgbToYuvFrame frame{};
};

TEST_F(RgbToYuvKernel, EveryColourIsRightToTheLastBit) {
    // One picture for each red: a row pair for each green, a 2x2 block for each blue.
    constexpr size_t kSide = 512;
    Bytes source(kSide * kSide * 4);
    for (int r = 0; r < 256; ++r) {
        for (size_t i = 0; i < kSide * kSide; ++i) {
            source[4 * i] = static_cast<uint8_t>(r);
            source[4 * i + 1] = static_cast<uint8_t>(i / kSide / 2);
            source[4 * i + 2] = static_cast<uint8_t>(i % kSide / 2);
        }
        expectAsReference(kKinds[2], source.data(), kSide, kSide, 4 * kSide);
        frame.source = source.data();
        frame.width = frame.height = kSide;
        frame.redFirst = true;
        expectEveryTargetAsTheTable();
    }
}

// Widths with whole steps and rests of every length, in all layouts; the ends of the planes move
// their starts over all alignments.
TEST_F(RgbToYuvKernel, EveryInstructionSetConvertsEverySizeAsTheTable) {
    const int gaps[] = {0, 3, 64, -2};
    for (int width = 1; width <= 200; ++width) {
        for (int height = 1; height <= 5; ++height) {
            const int gap = gaps[(width + height) % 4];
            const size_t skew = static_cast<size_t>(width % 5);  // bytes behind the source
            GuardedBuffer source(
                noise(static_cast<size_t>(zem::yuvWalkSourceBytes(width, height, 4 * (width + gap))) + skew));
            frame.source = source.data();
            frame.width = width;
            frame.height = height;
            frame.pixelsBetweenRows = gap;
            frame.redFirst = height % 2 == 0;
            for (const bool interleaved : {false, true}) {
                frame.interleaved = interleaved;
                expectEveryTargetAsTheTable();
            }
        }
    }
}

TEST(RgbToYuv, EachClassStaysWithinItsBuffersAndOnlyBgr32ToNv12HonoursTheStride) {
    // Even sizes, then ways to be odd, with one chroma pair and with several.
    const int sizes[][2] = {{2, 2}, {16, 4}, {1, 1}, {3, 2}, {2, 3}, {17, 5}};
    for (const Kind& kind : kKinds) {
        for (const auto& [width, height] : sizes) {
            for (const int stride : {4 * width, 4 * width + 67, 0}) {
                const auto bytes = kind.honoursStride ? zem::yuvWalkSourceBytes(width, height, stride)
                                                      : zem::yuvWalkBytes(width, height).source;
                GuardedBuffer source(noise(static_cast<size_t>(bytes)));
                expectAsReference(kind, source.data(), width, height, stride);
            }
        }
    }
    // A negative stride is a picture that stands on its head.
    GuardedBuffer source(noise(size_t{4} * 6 * 4));
    expectAsReference(kKinds[1], source.data() + size_t{3} * 6 * 4, 6, 4, -4 * 6 - 3);
}

// Planes are missing when there was no memory for their picture.
TEST(RgbToYuv, WithoutAPictureOrAPlaneNothingIsTouched) {
    const Bytes pixels = noise(16);
    Bytes plane(16, 1);
    const uint8_t* source = pixels.data();
    uint8_t* planes[] = {plane.data(), plane.data(), plane.data()};
    uint8_t* missing[] = {plane.data(), nullptr, plane.data()};
    int stride = 8;
    for (const Kind& kind : kKinds) {
        kind.create(0, 2)->convert(planes, nullptr, &source, &stride);
        kind.create(2, 2)->convert(missing, nullptr, &source, &stride);
        EXPECT_EQ(plane, Bytes(16, 1)) << kind.name;
    }
}

}  // namespace
