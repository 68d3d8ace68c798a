// Proves the session's life, its header slot and the receive path on a fake decoder. Catches a second session
// by two first callers, a header published before it is filled, decoded twice or kept past the close, a dump
// that reads past a short unit, a wait before the decoder is gone in place of after it.
#include <gmock/gmock.h>

#include <numeric>
#include <set>
#include <thread>

#include "context/hand_off.h"
#include "context/kiv_context.h"
#include "tests/context/fake_media.h"
#include "tests/support/fake_clock.h"
#include "tests/support/log_capture.h"

namespace zem::test {
namespace {

using ::testing::ElementsAre;

using Bytes = std::vector<uint8_t>;

class Receive : public ::testing::Test {
  protected:
    Receive() {
        resetFakeMedia();
        forgetLog();
        context();  // hand-offs make none
    }
    ~Receive() override {
        resetFakeMedia();
        EXPECT_EQ(fakeDecoder().living, 0);
    }

    static KivContext& context() { return *KivContext::getInstance(); }
    static bool open(int id = 2) { return context().openVideoDecoder(id, 64, 48); }
    static void keepHeader(Bytes header) {
        copyHeaderForDecoder(header.data(), static_cast<int>(header.size()));
    }
    /// A copy: memory of exactly its size.
    static int decode(Bytes unit) {
        return context().decodeVideo(unit.data(), static_cast<int>(unit.size()), 1);
    }
    const std::shared_ptr<KivContext::DataCallback> mSink =
        std::make_shared<KivContext::DataCallback>(nullptr, nullptr);
};

TEST_F(Receive, OneSessionForAllFirstCallers) {
    for (int round = 0; round < 50; ++round) {
        KivContext::deleteInstance();
        uint8_t byte = 0;
        EXPECT_EQ(copyBufferForEncoder(&byte, 1) + copyBufferForAudioDecoder(&byte, 1), 0);
        copyHeaderForDecoder(&byte, 1);
        EXPECT_EQ(KivContext::existingInstance(), nullptr) << "a hand-off makes none";
        KivContext* seen[4] = {};
        std::vector<std::thread> threads;
        for (KivContext*& one : seen) {
            threads.emplace_back([&one] { one = KivContext::getInstance(); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(std::set<KivContext*>(seen, seen + 4).size(), 1u);
    }
}

TEST_F(Receive, TheFirstHeaderIsKeptWhole) {
    Bytes big(100000, 1);
    copyHeaderForDecoder(big.data(), 0);
    copyHeaderForDecoder(big.data(), -1);
    EXPECT_FALSE(context().ReadyEncoderHeader());
    // A poller sees nothing or all of it.
    std::thread poller([&] {
        while (!context().ReadyEncoderHeader()) {
        }
        const auto header = context().encoderHeader();
        EXPECT_EQ(Bytes(header->data.get(), header->data.get() + header->size), big);
    });
    keepHeader(big);
    keepHeader({2, 2});
    poller.join();
    EXPECT_EQ(context().encoderHeader()->size, 100000);
}

// A sender's header may come before the decoder is ready for it.
TEST_F(Receive, ADecoderThatFailsToOpenLeavesTheHeader) {
    fakeDecoder().openResult = 0;
    keepHeader({1, 2, 3});
    EXPECT_TRUE(!open() && fakeDecoder().living == 0);
    EXPECT_TRUE(logged(6, "omxMpegVideoDecoder::open, id=2 failed"));
    EXPECT_EQ(decode({7, 7}), -1);
    EXPECT_TRUE(context().ReadyEncoderHeader());
    fakeDecoder().openResult = 1;
    ASSERT_TRUE(open());
    fakeDecoder().result = -5;
    EXPECT_EQ(decode({7, 7}), -1);
    EXPECT_THAT(fakeDecoder().units, ElementsAre(Bytes{1, 2, 3}));
    EXPECT_FALSE(context().ReadyEncoderHeader()) << "a refused one is used up too";
    EXPECT_TRUE(!open(1) && fakeDecoder().living == 0) << "the former decoder goes first";
}

// The id is one for both directions: a refused open of the encoder blinds the decoder's queries.
TEST_F(Receive, QueriesFollowTheIdThatWasOpenedLast) {
    ASSERT_TRUE(open());
    fakeDecoder().openQueries = 9;
    fakeDecoder().result = 3;
    context().SetDecodedSize(5);
    EXPECT_TRUE(context().IsDecoderOpen() && context().GetDecodedSize() == 5);
    EXPECT_FALSE(context().openVideoEncoder(1, 1, 2, 3, false));
    EXPECT_FALSE(context().IsDecoderOpen() || context().GetDecoderBuffer() || context().GetDecodedSize());
    EXPECT_EQ(decode({7}), 3) << "decoded all the same";
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
        ASSERT_TRUE(open());
        fakeDecoder().units.clear();
        keepHeader(header);
        forgetLog();
        Bytes unit(static_cast<size_t>(row.size));
        std::iota(unit.begin(), unit.end(), uint8_t{0x10});
        EXPECT_EQ(decode(unit) + decode(unit), 0);
        const std::string size = std::to_string(row.size);
        std::vector<std::string> expected{"mVideoDecoder->decode: send encoder header (size:" + size + ")"};
        for (const std::string& line : row.dump) {
            expected.emplace_back("dec/org: size:").append(size).append(line);
        }
        std::vector<std::string> got;
        for (const LogLine& line : loggedLines()) {
            got.push_back(line.text);
        }
        EXPECT_EQ(got, expected);
        EXPECT_THAT(fakeDecoder().units, ElementsAre(header, unit));
    }
}

TEST_F(Receive, ClosingLetsTheDecoderItsSinkAndTheHeaderGo) {
    for (const int how : {-1, 0, 1}) {  // without a close type, in order, at once
        SCOPED_TRACE(how);
        resetFakeMedia();
        context().setSink(KivContext::Sink::Decoder, mSink);
        ASSERT_TRUE(open());
        keepHeader({1, 2});
        how < 0 ? context().closeVideoDecoder() : context().closeVideoDecoder(how == 1);
        EXPECT_EQ(fakeDecoder().living, 0);
        EXPECT_EQ(mSink.use_count(), 1);
        EXPECT_FALSE(context().ReadyEncoderHeader());
        EXPECT_EQ(fakeDecoder().closes, how < 0 ? std::vector<bool>{} : std::vector<bool>{how == 1});
    }
}

TEST_F(Receive, ReopeningWaitsForADecoderThatIsStillOpen) {
    // How many decoders there are at each sleep; the long one is after the old one's end.
    const struct {
        int openQueries;
        std::vector<int64_t> sleeps;
        std::vector<int> living;
    } cases[] = {
        {0, {}, {}},
        {2, {500000, 500000}, {1, 1}},
        {99, {500000, 500000, 5000000}, {1, 1, 0}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.openQueries);
        resetFakeMedia();
        std::vector<int> living;
        FakeClock clock(1000000);
        clock.onSleep = [&living](size_t) { living.push_back(fakeDecoder().living); };
        context().setSink(KivContext::Sink::Decoder, mSink);
        ASSERT_TRUE(open());
        keepHeader({1});
        fakeDecoder().openQueries = row.openQueries;
        EXPECT_TRUE(open());
        EXPECT_EQ(clock.sleeps(), row.sleeps);
        EXPECT_EQ(living, row.living);
        EXPECT_EQ(mSink.use_count(), 2) << "the sink is for the new decoder";
        EXPECT_TRUE(context().ReadyEncoderHeader());
    }
}

}  // namespace
}  // namespace zem::test
