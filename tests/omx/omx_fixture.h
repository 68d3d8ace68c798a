// What the tests of the component driver share: a scripted host, a short clock, a bare component.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "omx/qcom_omx_interface_encoder.h"
#include "tests/support/fake_clock.h"
#include "tests/support/log_capture.h"
#include "tests/support/omx_proxy.h"

namespace zem::test {

constexpr const char* kCodec = "OMX.test.codec";
constexpr auto kSoon = std::chrono::seconds(60);  // a hang, not a slow machine

/// A component without a port set-up of its own.
class BareComponent : public QcomOmxInterface {
  public:
    explicit BareComponent(BufferMode input = kSharedMemory, BufferMode output = kSharedMemory) {
        mComponentName = kCodec;
        mPortBufferMode[kInputPort] = input;
        mPortBufferMode[kOutputPort] = output;
    }
    ~BareComponent() override { shutdown(); }

    using QcomOmxInterface::kComponentAllocates;
    using QcomOmxInterface::kSharedMemory;
    using QcomOmxInterface::mComponentName;
    using QcomOmxInterface::mSkipOutputCount;
    using QcomOmxInterface::mWaitAfterSendBuffer;
    using QcomOmxInterface::mWaitAfterSendData;
};

/// Counts calls of an input callback.
struct InputCalls {
    std::atomic<int> count{0};
    static int callback(void* /*interface*/, void* user) {
        static_cast<InputCalls*>(user)->count++;
        return 0;
    }
};

/// Collects what an output callback is given.
struct Outputs {
    using Unit = std::vector<uint8_t>;
    static int callback(void* interface, void* data, unsigned int length, void* user) {
        auto* self = static_cast<Outputs*>(user);
        const auto* bytes = static_cast<const uint8_t*>(data);
        const std::lock_guard<std::mutex> lock(self->mutex);
        self->units.emplace_back(bytes, bytes + length);
        self->endedBefore.push_back(static_cast<QcomOmxInterface*>(interface)->frameIsLast());
        return 0;
    }
    std::vector<Unit> seen() const {
        const std::lock_guard<std::mutex> lock(mutex);
        return units;
    }
    mutable std::mutex mutex;
    std::vector<Unit> units;
    std::vector<bool> endedBefore;  // whether the stream had ended when the unit came
};

/// Waits never run out: only a post ends them.
class EndlessClock final : public Clock {
  public:
    EndlessClock() { setClock(this); }
    ~EndlessClock() override { setClock(nullptr); }
    void sleepMicros(int64_t /*micros*/) override {}
    timespec deadlineAfterMicros(int64_t /*micros*/) override { return {INT32_MAX, 0}; }
};

/// Polls until `condition` holds; false when it does not within a time that only a hang exceeds.
inline bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + kSoon;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

class OmxTest : public testing::Test {
  protected:
    OmxTest() : mOmx(new FakeOmx({"OMX.other", kCodec})) { forgetLog(); }

    /// Connects and starts a component with both callbacks registered.
    void start(BareComponent& component) {
        connect(component);
        ASSERT_EQ(0, component.init());
    }
    void connect(BareComponent& component) {
        ASSERT_EQ(0, component.setupIOMXConnections());
        component.registerInputCallback(InputCalls::callback, &mInputCalls);
        component.registerOutputCallback(Outputs::callback, &mOutputs);
    }

    FakeClock mClock;
    android::sp<FakeOmx> mOmx;
    FakeMediaService mService{mOmx};
    InputCalls mInputCalls;
    Outputs mOutputs;
};

}  // namespace zem::test
