// Proves the session's own life, its header slot, and what the paths answer that have no codec yet.
// Catches a second session by two first callers, a header published before it is filled, an id that is
// refused but not remembered.
#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "base/clock.h"
#include "context/hand_off.h"
#include "context/kiv_context.h"
#include "tests/context/fake_media.h"
#include "tests/support/log_capture.h"

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
    forgetLog();
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
    EXPECT_TRUE(logged(4, "copyHeaderForDecoder: encoder header is already existed."));
    EXPECT_EQ(loggedCount("copyHeaderForDecoder: [encoder header: 0x"), 1);
    context->closeVideoDecoder();
    EXPECT_FALSE(context->ReadyEncoderHeader()) << "a closing decoder drops a header that nobody used";
    resetFakeMedia();
}

TEST(Session, AbsentCodecsAnswerAsSuch) {
    resetFakeMedia();
    forgetLog();
    KivContext* context = KivContext::getInstance();
    uint8_t byte = 0;
    EXPECT_FALSE(context->openVideoDecoder(7, 64, 48));
    EXPECT_FALSE(context->openAudioEncoder(3, 2, 44100, 5) || context->openAudioEncoder(5, 2, 44100, 5));
    EXPECT_FALSE(context->openAudioDecoder(4, 2, 44100, 5) || context->openAudioDecoder(9, 2, 44100, 5));
    const int results[] = {context->decodeVideo(&byte, 1, 0),      context->getDecodedBitmap(nullptr, &byte),
                           context->getDecodedVideoWidth(),        context->getDecodedVideoHeight(),
                           context->encodeAudio(&byte, 1, 1),      context->decodeAudio(&byte, 1, 1),
                           context->getAudioEncoderData(&byte, 1), context->getAudioDecoderData(&byte, 1),
                           context->getAudioSamplingRate(),        context->getAudioChannelCount()};
    for (int result : results) {
        EXPECT_EQ(result, -1);
    }
    EXPECT_EQ(loggedCount("unknown id"), 3) << "known ids say that the codec is missing";
    resetFakeMedia();
}

}  // namespace
}  // namespace zem::test
