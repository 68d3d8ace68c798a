// The driver and the platform's component host agree on the rules: states, buffers, end of stream.
// Would catch: a host that waits for what the driver never does, or the reverse, which both sides'
// own tests, each against a scripted partner, cannot see.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "omx/hardware_base.h"
#include "omx/qcom_omx_interface_encoder.h"
#include "tests/support/log_capture.h"

namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kFrames = 10;

struct Stream {
    static int callback(void* /*interface*/, void* data, unsigned int length, void* user) {
        auto* self = static_cast<Stream*>(user);
        static constexpr uint8_t kStartCode[] = {0, 0, 0, 1};
        self->wellFormed =
            self->wellFormed && (length == 0 || (length > 4 && memcmp(data, kStartCode, 4) == 0));
        self->units += length > 0 ? 1 : 0;
        return 0;
    }
    std::atomic<int> units{0};
    std::atomic<bool> wellFormed{true};
};

std::unique_ptr<QcomOmxInterfaceEncoder> createEncoder() {
    encoderParams params{kWidth, kHeight, 30, 1, 500000, 30, HW_BASE_QCOM_8974, "OMX.qcom.video.encoder.avc"};
    QcomOmxInterfaceEncoder* encoder = nullptr;
    EXPECT_EQ(0, QcomOmxInterfaceEncoder::Create(&encoder, &params));
    return std::unique_ptr<QcomOmxInterfaceEncoder>(encoder);
}

/// Repeats an input call while it answers that no buffer is free.
int whenFree(const std::function<int()>& call) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    int result = call();
    while (result == -1 && std::chrono::steady_clock::now() < deadline) {
        zem::sleepMillis(1);
        result = call();
    }
    return result;
}

bool sendGreyFrame(QcomOmxInterfaceEncoder& encoder, int timestamp) {
    void* buffer = nullptr;
    void* data = nullptr;
    if (whenFree([&] { return encoder.reserveInputBuffer(&buffer, &data); }) != 0) {
        return false;
    }
    const unsigned int room = encoder.inputBufferCapacity(buffer);
    memset(data, 128, room);
    return encoder.sendInputBuffer(buffer, static_cast<int>(room), timestamp) == 0;
}

TEST(RealComponent, EveryFrameComesOutAndTheStreamEnds) {
    const auto encoder = createEncoder();
    ASSERT_NE(nullptr, encoder);
    Stream stream;
    encoder->registerOutputCallback(Stream::callback, &stream);
    ASSERT_EQ(0, encoder->init());
    EXPECT_EQ(OMX_StateExecuting, encoder->omxState());
    for (int i = 0; i < kFrames; i++) {
        ASSERT_TRUE(sendGreyFrame(*encoder, i * 33333)) << i;
    }
    EXPECT_EQ(0, encoder->requestIFrame());
    EXPECT_EQ(0, encoder->updateBitRate(300000));
    ASSERT_EQ(0, encoder->sendEndOfInputFlag(kFrames * 33333))
        << "a buffer must be free: all frames were taken";
    EXPECT_EQ(0, encoder->deInit(false));
    EXPECT_EQ(OMX_StateLoaded, encoder->omxState()) << "every state was acknowledged";
    EXPECT_EQ(kFrames + 1, stream.units) << "the configuration, then a unit a frame";
    EXPECT_TRUE(stream.wellFormed);
}

TEST(RealComponent, ForcedClosesWhileExecutingLeaveTheNextOpenWorking) {
    for (int i = 0; i < 3; i++) {
        const auto encoder = createEncoder();
        ASSERT_NE(nullptr, encoder);
        ASSERT_EQ(0, encoder->init());
        ASSERT_TRUE(sendGreyFrame(*encoder, 0));
        if (i == 1) {
            EXPECT_EQ(33, encoder->deInit(true));
        }
    }
    const auto encoder = createEncoder();
    ASSERT_NE(nullptr, encoder);
    EXPECT_EQ(0, encoder->init());
    EXPECT_EQ(33, encoder->deInit(true));
}

}  // namespace
