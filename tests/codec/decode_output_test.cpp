// Proves what becomes of each layout of decoded pictures, to the last byte of data that just suffices.
// Would catch a padding ignored, a chroma plane in the wrong place, U and V swapped, a size that is not
// learnt, pixels of another size's picture or beyond it, and output gathered past the end of its buffer.
#include "codec/decode_output.h"

#include <gtest/gtest.h>

#include <random>

#include "codec/codec_user_data.h"
#include "color/tiled_nv12.h"
#include "omx/qcom_omx_interface.h"
#include "tests/codec/decoded_picture.h"
#include "tests/codec/recorded_hand_off.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/log_capture.h"

using namespace zem::test;

namespace {

constexpr int kTiled = 0x2001;

// A component of which only the size of its pictures matters.
class SizedComponent : public QcomOmxInterface {
  public:
    ~SizedComponent() override { shutdown(); }
    void report(int width, int height) {
        mPortWidth[kOutputPort] = width;
        mPortHeight[kOutputPort] = height;
    }
    void* handle() { return static_cast<QcomOmxInterface*>(this); }
};

class DecodeOutput : public testing::Test {
  protected:
    DecodeOutput() {
        forgetDeliveries();
        forgetLog();
    }
    ~DecodeOutput() override {
        zem::dropDecodedPicture();
        delete[] mRecord.outputBuffer;
        delete[] mRecord.secondBuffer;
    }

    void setSize(int base, int width, int height, int remainder = 0) {
        mRecord.hardwareBase = base;
        mRecord.width = width;
        mRecord.height = height;
        mRecord.strideRemainder = remainder;
    }
    void gatherInto(int capacity) {
        delete[] mRecord.outputBuffer;
        mRecord.outputBuffer = new unsigned char[static_cast<size_t>(capacity)];
        mRecord.outputCapacity = capacity;
    }
    // Hands the bytes over in memory that ends with them.
    void give(const std::vector<uint8_t>& bytes) {
        GuardedBuffer data(bytes);
        const auto handler = mRecord.hardwareBase == kTiled ? GetDecodedData2 : GetDecodedData3;
        EXPECT_EQ(0,
                  handler(mComponent.handle(), data.data(), static_cast<unsigned>(bytes.size()), &mRecord));
    }
    std::string given() const {
        const auto pictures = deliveredPictures();
        return pictures.empty() ? "" : pictures.back();
    }

    codecUserData mRecord;
    SizedComponent mComponent;
};

TEST_F(DecodeOutput, LinearLayouts) {
    struct Case {
        int base, width, height, remainder;
    };
    for (const Case& c :
         {Case{0x2002, 70, 48, 6}, Case{0x2004, 70, 48, 6}, Case{0x2002, 64, 48, 0}, Case{0x2002, 126, 2, 62},
          Case{0x1001, 70, 48, 0}, Case{0x1002, 66, 34, 0}, Case{0x4001, 2, 2, 0}}) {
        const DecodedPicture picture{c.width, c.height};
        const auto bytes =
            c.base >= 0x2000 && c.base < 0x3000 ? picture.padded(c.remainder) : picture.planar();
        zem::dropDecodedPicture();
        setSize(c.base, c.width, c.height, c.remainder);
        forgetDeliveries();
        give(std::vector<uint8_t>(bytes.begin(), bytes.end() - 1));
        EXPECT_TRUE(deliveredPictures().empty()) << c.base << ": one byte too few";
        EXPECT_EQ(1, loggedCount("GetDecodedData3 : "));
        forgetLog();
        give(bytes);
        EXPECT_TRUE(picture.shown() == given()) << std::hex << c.base << " " << c.width;
        EXPECT_EQ(0, loggedCount("GetDecodedData3 : "));
    }
}

TEST_F(DecodeOutput, TiledPicturesNeedAllTheirTiles) {
    const std::pair<int, int> sizes[] = {{64, 32}, {100, 70}, {130, 34}, {2, 2}};
    for (const auto& size : sizes) {
        setSize(kTiled, size.first, size.second);
        forgetDeliveries();
        delete[] mRecord.secondBuffer;
        mRecord.secondBuffer = nullptr;
        std::vector<uint8_t> bytes(TiledFrameSize(size.first, size.second));
        std::minstd_rand random(7);
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<uint8_t>(random()); });
        give(std::vector<uint8_t>(bytes.begin(), bytes.end() - 1));
        EXPECT_TRUE(deliveredPictures().empty());
        give(bytes);
        std::string expected(static_cast<size_t>(size.first * size.second * 2), '\0');
        convertNV12Tile(static_cast<unsigned>(size.first), static_cast<unsigned>(size.second), bytes.data(),
                        0, expected.data(), static_cast<unsigned>(size.first) * 2);
        EXPECT_TRUE(expected == given()) << size.first;
        delClip();
        EXPECT_EQ(nullptr, g_xClip);
    }
}

TEST_F(DecodeOutput, TiledSizesThatAreRefused) {
    const std::pair<int, int> sizes[] = {{63, 32}, {64, 33}, {1, 32}, {64, 1}, {1 << 20, 1 << 20}};
    for (const auto& size : sizes) {
        setSize(kTiled, size.first, size.second);
        give(std::vector<uint8_t>(100000));
        EXPECT_TRUE(deliveredPictures().empty()) << size.first << " x " << size.second;
    }
    EXPECT_EQ(5, loggedCount("GetDecodedData2 : size of the picture is refused"));
}

TEST_F(DecodeOutput, SizeIsLearntFromTheComponent) {
    for (const int base : {0x2002, 0x1002, kTiled}) {
        zem::dropDecodedPicture();
        forgetDeliveries();
        forgetLog();
        setSize(base, 0, 48);
        const DecodedPicture picture{70, 48};
        const auto bytes = base == kTiled   ? std::vector<uint8_t>(TiledFrameSize(70, 48))
                           : base == 0x2002 ? picture.padded(6)
                                            : picture.planar();
        for (const auto& unknown : {std::pair<int, int>{0, 0}, {70, 0}, {0, 48}, {-70, 48}}) {
            mComponent.report(unknown.first, unknown.second);
            give(bytes);
        }
        EXPECT_TRUE(deliveredPictures().empty());
        EXPECT_TRUE(loggedLines().empty()) << "dropped in silence";
        mComponent.report(70, 48);
        give(bytes);
        ASSERT_EQ(1U, deliveredPictures().size()) << std::hex << base;
        EXPECT_TRUE(base == kTiled || picture.shown() == given());
        EXPECT_EQ(70, mRecord.width);
        EXPECT_EQ(base == 0x2002 ? 6 : 0, mRecord.strideRemainder);
        mComponent.report(140, 96);
        give(bytes);
        EXPECT_EQ(2U, deliveredPictures().size()) << "a size once learnt stays";
    }
}

TEST_F(DecodeOutput, EmptyOutputsAreSilent) {
    for (const int base : {0x2002, 0x1002, kTiled}) {
        setSize(base, 64, 32);
        give({});
        EXPECT_EQ(0, GetDecodedData2(nullptr, nullptr, 9, &mRecord));
        EXPECT_EQ(0, GetDecodedData3(nullptr, nullptr, 9, &mRecord));
        EXPECT_EQ(0, GetDecodedData3(nullptr, nullptr, 9, nullptr));
    }
    EXPECT_TRUE(deliveredPictures().empty());
    EXPECT_TRUE(loggedLines().empty());
}

// The first converter and picture are kept whatever comes later.
TEST_F(DecodeOutput, AnotherSizeIsDroppedUntilThePictureIs) {
    for (const int base : {0x2002, 0x1001}) {
        zem::dropDecodedPicture();
        forgetDeliveries();
        forgetLog();
        const auto layout = [base](const DecodedPicture& picture) {
            return base == 0x2002 ? picture.padded(picture.width % 64) : picture.planar();
        };
        setSize(base, 64, 32, 0);
        give(layout({64, 32}));
        ASSERT_EQ(1U, deliveredPictures().size());
        const auto* const converter = gConverterForDecoder.get();
        const DecodedPicture others[] = {{128, 32}, {64, 34}, {32, 16}, {32, 64}, {66, 32}};
        for (const DecodedPicture& other : others) {
            setSize(base, other.width, other.height, base == 0x2002 ? other.width % 64 : 0);
            give(layout(other));
            EXPECT_LE(given().size(), 64U * 32 * 2);
        }
        EXPECT_GE(loggedCount("GetDecodedData3 : "), 4);
        EXPECT_EQ(converter, gConverterForDecoder.get());
        zem::dropDecodedPicture();
        setSize(base, 128, 34, 0);
        give(layout({128, 34}));
        EXPECT_TRUE(DecodedPicture({128, 34}).shown() == given());
    }
    forgetDeliveries();
    setSize(0x2002, 128, 34);
    give(std::vector<uint8_t>(100000));
    EXPECT_TRUE(deliveredPictures().empty()) << "a converter of planes is none for pairs";
}

TEST_F(DecodeOutput, MarginIsCut) {
    setSize(0x2002, 70, 4, 6);
    mRecord.cropMargin = 6;
    give(DecodedPicture{70, 4}.padded(6));
    ASSERT_EQ(64U * 4 * 2, given().size());
    EXPECT_TRUE(DecodedPicture({70, 4}).shown().substr(70 * 2, 64 * 2) == given().substr(64 * 2, 64 * 2));
    for (const int margin : {-2, 70, 1 << 30}) {
        mRecord.cropMargin = margin;
        give(DecodedPicture{70, 4}.padded(6));
    }
    EXPECT_EQ(1U, deliveredPictures().size());
}

TEST_F(DecodeOutput, GathersLinearPicturesBelowTheCapacity) {
    setSize(0x1001, 16, 2);
    const DecodedPicture picture{16, 2};  // 64 bytes
    gatherInto(64);
    give(picture.planar());
    EXPECT_EQ(1U, deliveredPictures().size()) << "of the capacity's size: handed on";
    gatherInto(129);
    const int expectedUsed[] = {64, 128, 64};
    for (const int used : expectedUsed) {
        give(picture.planar());
        EXPECT_EQ(used, mRecord.outputUsed);
        EXPECT_EQ(0, memcmp(mRecord.outputBuffer + used - 64, picture.shown().data(), 64));
    }
    EXPECT_EQ(1U, deliveredPictures().size());
}

TEST_F(DecodeOutput, GathersTiledPicturesUpToAFixedPlace) {
    setSize(kTiled, 64, 32);  // 16384 bytes of tiles, 4096 of picture
    const std::vector<uint8_t> bytes(TiledFrameSize(64, 32), 128);
    gatherInto(16384);
    give(bytes);
    EXPECT_EQ(1U, deliveredPictures().size());
    gatherInto(16385);
    const int usedAfter[] = {4096, 8192, 12288, 16384, 16384};
    for (const int used : usedAfter) {
        give(bytes);
        EXPECT_EQ(used, mRecord.outputUsed);
    }
    EXPECT_EQ(1, loggedCount("no room to gather"));
    gatherInto(6000000);
    const std::pair<int, int> places[] = {{4995903, 4999999}, {4995904, 4096}, {-5, 4096}};
    for (const auto& place : places) {
        mRecord.outputUsed = place.first;
        give(bytes);
        EXPECT_EQ(place.second, mRecord.outputUsed);
    }
    EXPECT_EQ(1U, deliveredPictures().size());
}

TEST_F(DecodeOutput, LogsAsManyAsAsked) {
    gDecodeOutCnt = 2;
    setSize(0x1001, 16, 2);
    for (int i = 0; i < 3; i++) {
        give(DecodedPicture{16, 2}.planar());
    }
    EXPECT_TRUE(logged(4, "j/dec3/output: size:48 [1] (w:16, h:2, m:0)"));
    EXPECT_TRUE(logged(4, "j/dec3/output: size:48 [0] (w:16, h:2, m:0)"));
    EXPECT_EQ(2, loggedCount("j/dec3/output"));
    gDecodeOutCnt = 1;
    setSize(kTiled, 64, 32);
    give(std::vector<uint8_t>(16384));
    EXPECT_TRUE(logged(4, "j/dec2/output: size:16384 [0] (w:64, h:32, m:0)"));
}

// Any size with any data, kept from one to the next: nothing outside is read or written.
TEST_F(DecodeOutput, RandomSizesStayInside) {
    std::minstd_rand random(20);
    const int bases[] = {0x2001, 0x2002, 0x1001};
    const auto below = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    int delivered = 0;
    for (int i = 0; i < 3000; i++) {
        if (below(4) == 0) {
            zem::dropDecodedPicture();
        }
        if (below(8) == 0) {
            delete[] mRecord.secondBuffer;
            mRecord.secondBuffer = nullptr;
            mRecord.secondBufferSize = 0;
        }
        const int width = below(100);
        setSize(bases[below(3)], width, below(60), below(2) == 0 ? below(70) : width % 64);
        mRecord.cropMargin = below(8) == 0 ? below(9) - 1 : 0;
        mComponent.report(below(100) - 10, below(60) - 10);
        const int exact = (width + mRecord.strideRemainder) * mRecord.height * 3 / 2;
        give(std::vector<uint8_t>(static_cast<size_t>(below(2) == 0 ? exact : below(30000)), 200));
        delivered += static_cast<int>(deliveredPictures().size());
        forgetDeliveries();
    }
    EXPECT_GT(delivered, 100) << "else this proves little";
}

}  // namespace
