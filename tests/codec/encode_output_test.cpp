// Proves what reaches the session, when, and in which order. Would catch a second output that is not
// held back or comes behind the third, a chip that is held back wrongly, and a write past the buffer
// that gathers.
#include "codec/encode_output.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "codec/aac_output.h"
#include "codec/codec_user_data.h"
#include "tests/codec/recorded_hand_off.h"
#include "tests/support/log_capture.h"

using zem::test::delivered;
using zem::test::deliveredUnits;
using zem::test::HandedOff;
using Units = std::vector<std::string>;

namespace {

class EncodeOutput : public testing::Test {
  protected:
    EncodeOutput() {
        g_encodedSendCnt = 0;
        gEncodeOutCnt = 0;
        zem::dropHeldOutput();
        zem::test::forgetDeliveries();
        zem::test::forgetLog();
    }
    ~EncodeOutput() override { zem::dropHeldOutput(); }

    // Exactly as long as it claims to be, so that a sanitizer sees a byte too many.
    void gatherInto(int capacity) {
        mBuffer = std::make_unique<unsigned char[]>(static_cast<size_t>(capacity));
        mRecord.outputBuffer = mBuffer.get();
        mRecord.outputCapacity = capacity;
    }
    void output(std::string bytes) {
        GetEncodedData2(nullptr, bytes.data(), static_cast<unsigned>(bytes.size()), &mRecord);
    }
    std::string gathered(int from, int size) const {
        return {reinterpret_cast<const char*>(mRecord.outputBuffer) + from, static_cast<size_t>(size)};
    }

    codecUserData mRecord;
    std::unique_ptr<unsigned char[]> mBuffer;
};

TEST_F(EncodeOutput, OrderByChip) {
    for (const int base : {0x2001, 0x2002, 0x2003, 0x2004, 0x2100, 0x1001, 0x1002, 0, 0x4001}) {
        const bool held = base != 0 && base != 0x4001;
        g_encodedSendCnt = 0;
        zem::dropHeldOutput();
        zem::test::forgetDeliveries();
        mRecord.hardwareBase = base;
        output("conf");
        EXPECT_EQ(deliveredUnits(), (Units{"conf"})) << base;
        output("second");
        EXPECT_EQ(deliveredUnits(), held ? (Units{"conf"}) : (Units{"conf", "second"})) << base;
        output("third");
        EXPECT_EQ(deliveredUnits(), (Units{"conf", "second", "third"})) << base;
        output("fourth");
        EXPECT_EQ(deliveredUnits().back(), "fourth") << base;
        EXPECT_EQ(deliveredUnits().size(), 4u) << base;
    }
}

// The close resets the state while the output thread still runs: nothing is lost twice or made up.
TEST_F(EncodeOutput, ResetInMidStream) {
    mRecord.hardwareBase = 0x2002;
    for (const char* unit : {"a", "b", "c"}) {
        output(unit);
    }
    g_encodedSendCnt = 0;
    for (const char* unit : {"d", "e", "f"}) {
        output(unit);
    }
    EXPECT_EQ(deliveredUnits(), (Units{"a", "b", "c", "d", "b", "f"})) << "the copy kept first stays";
    zem::dropHeldOutput();
    g_encodedSendCnt = 2;
    output("g");
    EXPECT_EQ(deliveredUnits().back(), "g") << "without a kept copy only the current one";
}

// Encoded pictures and sound of either direction gather alike.
TEST_F(EncodeOutput, GatheringStaysInsideTheBuffer) {
    const struct {
        int (*handler)(void*, void*, unsigned, void*);
        HandedOff kind;
    } cases[] = {{GetEncodedData2, HandedOff::kUnit},
                 {GetAudEncodedData2, HandedOff::kSound},
                 {GetAudDecodedData2, HandedOff::kSound}};
    gatherInto(100);
    for (const auto& [handler, kind] : cases) {
        zem::test::forgetDeliveries();
        mRecord.outputUsed = 0;
        mRecord.outputCount = 0;
        const auto put = [&, to = handler](std::string bytes) {
            to(nullptr, bytes.data(), static_cast<unsigned>(bytes.size()), &mRecord);
        };
        put(std::string(60, 'a'));
        put(std::string(60, 'b'));
        EXPECT_EQ(mRecord.outputUsed, 60);
        EXPECT_EQ(gathered(0, 60), std::string(60, 'b'));
        put(std::string(39, 'c'));
        EXPECT_EQ(gathered(60, 39), std::string(39, 'c'));
        put("d");
        EXPECT_EQ(mRecord.outputUsed, 1) << "99 + 1 would reach the capacity";
        put("");
        EXPECT_TRUE(delivered(kind).empty());
        put(std::string(100, 'e'));
        EXPECT_EQ(delivered(kind), (Units{std::string(100, 'e')})) << "as large as the buffer: onward";
        for (const int used : {-1, 5000}) {
            mRecord.outputUsed = used;
            put("f");
            EXPECT_EQ(mRecord.outputUsed, 1);
        }
        EXPECT_EQ(mRecord.outputCount, kind == HandedOff::kSound ? 7U : 0U) << "what a call waits for";
    }
    std::string bytes(99, 'g');
    GetEncodedData(nullptr, bytes.data(), 99, &mRecord);
    EXPECT_EQ(mRecord.outputUsed, 100) << "appending may fill the buffer";
    GetEncodedData(nullptr, bytes.data(), 1, &mRecord);
    EXPECT_EQ(mRecord.outputUsed, 100) << "and drops what no longer fits";
}

TEST_F(EncodeOutput, NoDataOrASizeThatIsNone) {
    output("");
    std::string bytes = "0123";
    GetEncodedData2(nullptr, nullptr, 5, &mRecord);
    GetEncodedData2(nullptr, bytes.data(), 0x80000000u, &mRecord);
    EXPECT_TRUE(deliveredUnits().empty());
    GetEncodedDataOnly(nullptr, bytes.data(), 0, nullptr);
    GetEncodedDataOnly(nullptr, bytes.data(), 4, nullptr);
    EXPECT_EQ(delivered(HandedOff::kHeader), (Units{"0123"}));
}

}  // namespace
