// Proves what reaches the session, when, and in which order. Would catch a second output that is not
// held back or comes behind the third, a chip that is held back wrongly, and a write past the buffer
// that gathers.
#include "codec/encode_output.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "codec/codec_user_data.h"
#include "tests/codec/recorded_hand_off.h"
#include "tests/support/log_capture.h"

using zem::test::deliveredUnits;
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
    EXPECT_EQ(deliveredUnits().size(), 7u);
    EXPECT_EQ(g_encodedSendCnt, 3);
}

TEST_F(EncodeOutput, GatheringWrapsBeforeTheBufferIsFull) {
    gatherInto(100);
    output(std::string(60, 'a'));
    output(std::string(60, 'b'));
    EXPECT_EQ(mRecord.outputUsed, 60);
    EXPECT_EQ(gathered(0, 60), std::string(60, 'b'));
    output(std::string(39, 'c'));
    EXPECT_EQ(mRecord.outputUsed, 99);
    EXPECT_EQ(gathered(60, 39), std::string(39, 'c'));
    output("d");
    EXPECT_EQ(mRecord.outputUsed, 1) << "99 + 1 would reach the capacity";
    EXPECT_TRUE(deliveredUnits().empty());
    output(std::string(100, 'e'));
    EXPECT_EQ(deliveredUnits(), (Units{std::string(100, 'e')})) << "as large as the buffer: onward";
    for (const int used : {-1, 5000}) {
        mRecord.outputUsed = used;
        output("f");
        EXPECT_EQ(mRecord.outputUsed, 1);
    }
}

TEST_F(EncodeOutput, OtherHandlers) {
    gatherInto(10);
    std::string bytes = "0123456789";
    GetEncodedData3(nullptr, bytes.data(), 10, &mRecord);
    EXPECT_EQ(deliveredUnits(), (Units{bytes}));
    GetEncodedData3(nullptr, bytes.data(), 9, &mRecord);
    EXPECT_EQ(mRecord.outputUsed, 9);
    GetEncodedData(nullptr, bytes.data(), 1, &mRecord);
    EXPECT_EQ(mRecord.outputUsed, 10) << "appending may fill the buffer";
    handleOutputEncoded(nullptr, bytes.data(), 1, nullptr, &mRecord);
    EXPECT_EQ(mRecord.outputUsed, 10) << "and drops what no longer fits";
    EXPECT_EQ(zem::test::loggedCount("do not fit"), 1);
    GetEncodedDataOnly(nullptr, bytes.data(), 0, nullptr);
    GetEncodedDataOnly(nullptr, bytes.data(), 4, nullptr);
    EXPECT_EQ(zem::test::deliveredHeaders(), (Units{"0123"}));
    EXPECT_EQ(deliveredUnits().size(), 1u);
}

TEST_F(EncodeOutput, PendingOutputsStopAtZeroAndEmptyOnesCount) {
    mRecord.pendingOutputs = 2;
    output("");
    EXPECT_EQ(mRecord.pendingOutputs, 1);
    output("x");
    output("y");
    EXPECT_EQ(mRecord.pendingOutputs, 0);
    GetEncodedData2(nullptr, nullptr, 5, &mRecord);
    GetEncodedData2(nullptr, mRecord.outputBuffer, 0x80000000u, &mRecord);
    EXPECT_EQ(deliveredUnits(), (Units{"x", "y"})) << "no data, or a size that is none";
}

TEST_F(EncodeOutput, FirstOutputsAreLoggedInHex) {
    gEncodeOutCnt = 2;
    std::string bytes;
    for (char i = 0; i < 21; ++i) {
        bytes.push_back(static_cast<char>(i + 0xA0));
    }
    output(bytes.substr(0, 20));
    output(bytes);
    output(bytes);
    EXPECT_TRUE(zem::test::logged(4, "j/enc2/output: size:20 [1: size is too small] 0."));
    EXPECT_TRUE(zem::test::logged(4, "j/enc2/output: size:21 [0(0): A0A1A2A3A4-A5A6A7A8A9-AAABAC]"));
    EXPECT_TRUE(zem::test::logged(4, "j/enc2/output: size:21 [0(13): ADAEAFB0B1B2-B3B4] 3."));
    EXPECT_EQ(zem::test::loggedCount("j/enc2/output"), 3);
}

TEST(EncodedDataPos, FirstStartCodeBehindTheBeginning) {
    const unsigned char data[] = {0, 0, 0, 1, 9, 0, 0, 0, 1, 8, 0, 0, 0, 1};
    EXPECT_EQ(GetEncodedDataPos(data, sizeof data), 5);
    EXPECT_EQ(GetEncodedDataPos(data, 9), 5) << "the last place where one can be";
    EXPECT_EQ(GetEncodedDataPos(data, 8), 0) << "the code at 0 does not count, the next is cut off";
    EXPECT_EQ(GetEncodedDataPos(data + 7, 7), 0) << "shorter than 8";
    EXPECT_EQ(GetEncodedDataPos(nullptr, 100), 0);
}

}  // namespace
