// Proves the session's own life and its header slot. Catches a second session by two first callers and a
// header published before it is filled.
#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "context/hand_off.h"
#include "context/kiv_context.h"
#include "tests/context/fake_media.h"

namespace zem::test {
namespace {

TEST(Session, IsOneForAllFirstCallersAndNewAfterItsEnd) {
    for (int round = 0; round < 50; ++round) {
        KivContext::deleteInstance();
        uint8_t byte = 0;
        EXPECT_EQ(copyBufferForEncoder(&byte, 1) + copyBufferForAudioDecoder(&byte, 1), 0);
        copyHeaderForDecoder(&byte, 1);
        EXPECT_EQ(KivContext::existingInstance(), nullptr) << "a hand-off makes none";
        KivContext* seen[4] = {};
        std::vector<std::thread> threads;
        threads.reserve(4);
        for (KivContext*& one : seen) {
            threads.emplace_back([&one] { one = KivContext::getInstance(); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(std::set<KivContext*>(seen, seen + 4).size(), 1u);
    }
    resetFakeMedia();
}

TEST(Session, KeepsTheFirstHeaderWhole) {
    resetFakeMedia();
    KivContext* context = KivContext::getInstance();
    std::vector<uint8_t> big(100000, 1), small(10, 2);
    copyHeaderForDecoder(big.data(), 0);
    copyHeaderForDecoder(big.data(), -1);
    EXPECT_FALSE(context->ReadyEncoderHeader());
    // A poller sees nothing or all of it.
    std::thread poller([&] {
        while (!context->ReadyEncoderHeader()) {
        }
        const auto header = context->encoderHeader();
        EXPECT_EQ(std::vector<uint8_t>(header->data.get(), header->data.get() + header->size), big);
    });
    copyHeaderForDecoder(big.data(), 100000);
    copyHeaderForDecoder(small.data(), 10);
    poller.join();
    EXPECT_EQ(context->keepEncoderHeader(small.data(), 10), nullptr);
    EXPECT_EQ(context->encoderHeader()->size, 100000);
    context->closeVideoDecoder();
    EXPECT_FALSE(context->ReadyEncoderHeader()) << "a closing decoder drops a header that nobody used";
    resetFakeMedia();
}

}  // namespace
}  // namespace zem::test
