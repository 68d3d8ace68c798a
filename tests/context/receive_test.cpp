// Proves the receive path step by step on a fake decoder: what opens, how long a re-open waits and for what,
// which unit a stream header takes the place of, what closing lets go. Catches a header decoded twice or
// kept past the close, a dump that reads past a short unit, a wait
// before the decoder is gone in place of after it.
#include <gmock/gmock.h>

#include "context/hand_off.h"
#include "context/kiv_context.h"
#include "tests/context/fake_media.h"
#include "tests/context/stepped_clock.h"
#include "tests/support/log_capture.h"

namespace zem::test {
namespace {

using ::testing::ElementsAre;

using Bytes = std::vector<uint8_t>;

class Receive : public ::testing::Test {
  protected:
    void SetUp() override {
        resetFakeMedia();
        forgetLog();
    }
    void TearDown() override {
        resetFakeMedia();
        EXPECT_EQ(fakeDecoder().living, 0);
    }

    static KivContext& context() { return *KivContext::getInstance(); }
    void open() { ASSERT_TRUE(context().openVideoDecoder(2, 64, 48)); }
    static void keepHeader(Bytes header) {
        ASSERT_NE(context().keepEncoderHeader(header.data(), static_cast<int>(header.size())), nullptr);
    }
    /// In memory of exactly its size.
    static int decode(const Bytes& unit, int flag = 1) {
        const auto copy = std::make_unique<uint8_t[]>(unit.size());
        std::copy(unit.begin(), unit.end(), copy.get());
        return context().decodeVideo(copy.get(), static_cast<int>(unit.size()), flag);
    }
    static std::vector<Bytes>& units() { return fakeDecoder().units; }
};

/// 0x10, 0x11, ...
Bytes rising(int size) {
    Bytes bytes(static_cast<size_t>(size));
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<uint8_t>(0x10 + i);
    }
    return bytes;
}

// A sender's header may come before the decoder is ready for it.
TEST_F(Receive, ADecoderThatFailsToOpenLeavesTheHeader) {
    fakeDecoder().openResult = 0;
    keepHeader({1, 2, 3});
    EXPECT_FALSE(context().openVideoDecoder(2, 64, 48));
    EXPECT_TRUE(logged(6, "omxMpegVideoDecoder::open, id=2 failed"));
    EXPECT_EQ(fakeDecoder().living, 0);
    EXPECT_EQ(decode({7, 7}), -1);
    EXPECT_TRUE(context().ReadyEncoderHeader());
    fakeDecoder().openResult = 1;
    open();
    EXPECT_THAT(fakeDecoder().opens, ElementsAre("64x48", "64x48"));
    fakeDecoder().result = -5;
    EXPECT_EQ(decode({7, 7}), -1);
    EXPECT_THAT(units(), ElementsAre(Bytes{1, 2, 3}));
    EXPECT_FALSE(context().ReadyEncoderHeader()) << "a refused one is used up too";
    EXPECT_FALSE(context().openVideoDecoder(1, 64, 48));
    EXPECT_EQ(fakeDecoder().living, 0) << "the former decoder goes first";
}

// The id is one for both directions: a refused open of the encoder blinds the decoder's queries.
TEST_F(Receive, QueriesFollowTheIdThatWasOpenedLast) {
    open();
    fakeDecoder().openUntilDestroyed = true;
    EXPECT_TRUE(context().IsDecoderOpen());
    context().SetDecodedSize(5);
    EXPECT_EQ(context().GetDecodedSize(), 5);
    fakeDecoder().result = 3;
    EXPECT_FALSE(context().openVideoEncoder(1, 1, 2, 3, false));
    EXPECT_FALSE(context().IsDecoderOpen());
    EXPECT_EQ(context().GetDecoderBuffer(), nullptr);
    EXPECT_EQ(context().GetDecodedSize(), 0);
    EXPECT_EQ(decode({7}, 1), 3) << "decoded all the same";
    EXPECT_TRUE(logged(6, "int KivContext::decodeVideo(uint8_t*, int, int) not implemented"));
    EXPECT_FALSE(context().openVideoEncoder(2, 1, 2, 3, false)) << "no input, but the id counts";
    EXPECT_TRUE(context().IsDecoderOpen());
}

TEST_F(Receive, AHeaderIsDecodedInPlaceOfExactlyOneUnit) {
    const std::string first = " [(0): 1011121314-1516171819-1A1B1C]";
    const std::string shortSecond = " [(13): 1D1E1F202122-2324]";
    const std::string longSecond = " [(13): 1D1E1F202122-23242526272829]";
    const struct {
        int size;
        std::vector<std::string> dump;
    } cases[] = {
        {0, {}}, {20, {}}, {21, {first, shortSecond}}, {25, {first, shortSecond}}, {26, {first, longSecond}},
    };
    const Bytes header{1, 2, 3, 4, 5};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.size);
        open();
        units().clear();
        keepHeader(header);
        forgetLog();
        EXPECT_EQ(decode(rising(row.size)), 0);
        const std::string size = "(size:" + std::to_string(row.size) + ")";
        std::vector<std::string> expected{"mVideoDecoder->decode: send encoder header " + size};
        for (const std::string& line : row.dump) {
            expected.push_back("dec/org: size:" + std::to_string(row.size) + line);
        }
        std::vector<std::string> got;
        for (const LogLine& line : loggedLines()) {
            got.push_back(line.text);
        }
        EXPECT_EQ(got, expected);
        EXPECT_FALSE(context().ReadyEncoderHeader());
        EXPECT_EQ(decode(rising(row.size)), 0);
        EXPECT_THAT(units(), ElementsAre(header, rising(row.size)));
    }
}

TEST_F(Receive, ClosingLetsTheDecoderItsSinkAndTheHeaderGo) {
    for (const int how : {-1, 0, 1}) {  // without a close type, in order, at once
        SCOPED_TRACE(how);
        resetFakeMedia();
        const auto sink = std::make_shared<KivContext::DataCallback>(nullptr, nullptr);
        context().setSink(KivContext::Sink::Decoder, sink);
        open();
        keepHeader({1, 2});
        how < 0 ? context().closeVideoDecoder() : context().closeVideoDecoder(how == 1);
        EXPECT_EQ(fakeDecoder().living, 0);
        EXPECT_EQ(sink.use_count(), 1);
        EXPECT_FALSE(context().ReadyEncoderHeader());
        EXPECT_EQ(fakeDecoder().closes, how < 0 ? std::vector<bool>{} : std::vector<bool>{how == 1});
    }
}

TEST_F(Receive, ReopeningWaitsForADecoderThatIsStillOpen) {
    // How many decoders there are at each sleep; the long one is after the old one's end.
    const struct {
        int closesAtQuery;
        std::vector<int64_t> sleeps;
        std::vector<int> living;
    } cases[] = {
        {1, {}, {}},
        {3, {500000, 500000}, {1, 1}},
        {0, {500000, 500000, 5000000}, {1, 1, 0}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.closesAtQuery);
        resetFakeMedia();
        std::vector<int> living;
        SteppedClock clock([&living](size_t) { living.push_back(fakeDecoder().living); });
        const auto sink = std::make_shared<KivContext::DataCallback>(nullptr, nullptr);
        context().setSink(KivContext::Sink::Decoder, sink);
        open();
        keepHeader({1});
        fakeDecoder().openUntilDestroyed = true;
        fakeDecoder().closesAtQuery = row.closesAtQuery;
        open();
        EXPECT_EQ(clock.sleeps, row.sleeps);
        EXPECT_EQ(living, row.living);
        EXPECT_EQ(sink.use_count(), 2) << "the sink is for the new decoder";
        EXPECT_TRUE(context().ReadyEncoderHeader());
    }
}

}  // namespace
}  // namespace zem::test
