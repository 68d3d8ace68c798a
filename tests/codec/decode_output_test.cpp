// Proves what becomes of each layout of decoded pictures, to the last byte of data that just suffices.
// Would catch a padding ignored, a chroma plane in the wrong place, U and V swapped, a size that is not
// learnt, pixels of another size's picture or beyond it, and output gathered past the end of its buffer.
// What tiled pictures look like is compared end to end.
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
        mRecord.dropReason = nullptr;
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
        give({});
        for (int i = 0; i < 3; i++) {
            give(std::vector<uint8_t>(bytes.begin(), bytes.end() - 1));
        }
        EXPECT_TRUE(deliveredPictures().empty()) << c.base << ": one byte too few";
        EXPECT_EQ(1, loggedCount("GetDecodedData3 : ")) << "told once";
        forgetLog();
        give(bytes);
        EXPECT_TRUE(picture.shown() == given()) << std::hex << c.base << " " << c.width;
        EXPECT_EQ(0, loggedCount("GetDecodedData3 : "));
    }
}

TEST_F(DecodeOutput, SizeIsLearntFromTheComponent) {
    for (const int base : {0x2002, 0x1002, kTiled}) {
        zem::dropDecodedPicture();
        forgetDeliveries();
        setSize(base, 0, 48);
        const DecodedPicture picture{70, 48};
        const auto bytes = base == kTiled   ? std::vector<uint8_t>(TiledFrameSize(70, 48))
                           : base == 0x2002 ? picture.padded(6)
                                            : picture.planar();
        for (const auto& unknown : {std::pair<int, int>{0, 0}, {70, 0}, {0, 48}, {-70, 48}}) {
            mComponent.report(unknown.first, unknown.second);
            give(bytes);
        }
        mComponent.report(70, 48);
        give(std::vector<uint8_t>(bytes.begin(), bytes.end() - 1));
        EXPECT_TRUE(deliveredPictures().empty());
        give(bytes);
        EXPECT_TRUE(base == kTiled || picture.shown() == given());
        mComponent.report(140, 96);
        give(bytes);
        EXPECT_EQ(2U, deliveredPictures().size()) << "a size once learnt stays";
    }
}

// The first converter and picture are kept whatever comes later.
TEST_F(DecodeOutput, AnotherSizeIsDroppedUntilThePictureIs) {
    setSize(0x1001, 64, 32);
    give(DecodedPicture{64, 32}.planar());
    ASSERT_EQ(1U, deliveredPictures().size());
    const DecodedPicture bigger{128, 34};
    setSize(0x1001, 128, 34);
    give(bigger.planar());
    EXPECT_EQ(1U, deliveredPictures().size());
    zem::dropDecodedPicture();
    give(bigger.planar());
    EXPECT_TRUE(bigger.shown() == given());
    setSize(0x2002, 128, 34);
    give(std::vector<uint8_t>(100000));
    EXPECT_EQ(2U, deliveredPictures().size()) << "a converter of planes is none for pairs";
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
            gatherInto(below(3) == 0 ? below(40000) : 0);
            mRecord.outputUsed = 0;
        }
        const int width = below(100);
        setSize(bases[below(3)], width, below(60), below(2) == 0 ? below(70) : width % 64);
        mRecord.cropMargin = below(8) == 0 ? below(9) - 1 : 0;
        mComponent.report(below(100) - 10, below(60) - 10);
        const int exact = (width + mRecord.strideRemainder) * mRecord.height * 3 / 2;
        give(std::vector<uint8_t>(static_cast<size_t>(below(2) == 0 ? exact : below(30000)), 200));
        EXPECT_LE(mRecord.outputUsed, mRecord.outputCapacity);
        delivered += static_cast<int>(deliveredPictures().size());
        forgetDeliveries();
    }
    EXPECT_GT(delivered, 100) << "else this proves little";
}

}  // namespace
