// What the tests of the component driver share: a scripted host, a short clock, a bare component, and a
// decoder with its component's side of a change of the output port.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "omx/qcom_omx_interface_decoder.h"
#include "omx/qcom_omx_interface_encoder.h"
#include "tests/support/fake_clock.h"
#include "tests/support/log_capture.h"
#include "tests/support/omx_proxy.h"
#include "tests/support/waiting.h"

namespace zem::test {

constexpr const char* kCodec = "OMX.test.codec";
constexpr const char* kQcomDecoder = "OMX.qcom.video.decoder.avc";
constexpr const char* kSecDecoder = "OMX.SEC.avc.dec";

/// A component without a port set-up of its own.
class BareComponent : public QcomOmxInterface {
  public:
    explicit BareComponent(bool ownOutputs = false) {
        mComponentName = kCodec;
        mPortBufferMode[kInputPort] = kSharedMemory;
        mPortBufferMode[kOutputPort] = ownOutputs ? kComponentAllocates : kSharedMemory;
    }
    ~BareComponent() override { shutdown(); }

    using QcomOmxInterface::mComponentName;
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

class OmxTest : public testing::Test {
  protected:
    OmxTest() {
        serveOmx(mOmx);
        forgetLog();
    }

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
    OMX_PARAM_PORTDEFINITIONTYPE port(OMX_U32 index) const {
        return mOmx->parameter<OMX_PARAM_PORTDEFINITIONTYPE>(OMX_IndexParamPortDefinition, index);
    }

    FakeClock mClock;
    android::sp<FakeOmx> mOmx = new FakeOmx({"OMX.other", kCodec, kQcomDecoder, kSecDecoder});
    InputCalls mInputCalls;
    Outputs mOutputs;
};

class DecoderTest : public OmxTest {
  protected:
    ~DecoderTest() override {
        mDecoder.reset();
        EXPECT_EQ(0, mOmx->liveNodes() + mOmx->liveBuffers());
    }

    void create(const char* name, int hardwareBase) {
        decoderParams params{hardwareBase, name};
        QcomOmxInterfaceDecoder* decoder = nullptr;
        ASSERT_EQ(0, QcomOmxInterfaceDecoder::Create(&decoder, &params));
        mDecoder.reset(decoder);
    }
    void start(int hardwareBase = 0x2001) {
        create(kQcomDecoder, hardwareBase);
        mDecoder->registerInputCallback(InputCalls::callback, &mInputCalls);
        mDecoder->registerOutputCallback(Outputs::callback, &mOutputs);
        ASSERT_EQ(0, mDecoder->init());
    }

    /// The component finds another size in the stream and reports it. The decoder waits for its buffers
    /// until returnOutputs(), however slow the machine; an impatient one for its usual time.
    void reportSize(int width, int height, OMX_U32 buffers, bool patient = true) {
        if (patient) {
            mPatience = std::make_unique<LongWaits>(mClock);
        }
        mOmx->setBuffers(1, buffers, 4096);
        auto definition = port(1);
        definition.format.video.nFrameWidth = static_cast<OMX_U32>(width);
        definition.format.video.nFrameHeight = static_cast<OMX_U32>(height);
        mOmx->presetParameter(OMX_IndexParamPortDefinition, 1, definition);
        mDisables = mOmx->callCount("sendCommand 2 1");
        mEnables = mOmx->callCount("sendCommand 3 1");
        mOmx->sendEvent(OMX_EventPortSettingsChanged, 1, 0);
    }
    bool askedToDisable() {
        return eventually([this] { return mOmx->callCount("sendCommand 2 1") > mDisables; });
    }
    /// Until none is left: some may still be on their way to the component.
    bool returnOutputs() {
        const bool returned = eventually([this] {
            for (const auto id : mOmx->heldBuffers(1)) {
                mOmx->sendFilled(id, 0);
            }
            return mOmx->buffers(1).empty();
        });
        mPatience.reset();
        return returned;
    }
    bool completeDisable(OMX_U32 buffers) {
        mOmx->sendEvent(OMX_EventCmdComplete, OMX_CommandPortDisable, 1);
        return eventually([this, buffers] {
            return mOmx->callCount("sendCommand 3 1") > mEnables && mOmx->buffers(1).size() == buffers;
        });
    }
    void completeEnable() { mOmx->sendEvent(OMX_EventCmdComplete, OMX_CommandPortEnable, 1); }
    bool change(int width, int height, OMX_U32 buffers) {
        reportSize(width, height, buffers);
        const bool done = askedToDisable() && returnOutputs() && completeDisable(buffers);
        completeEnable();
        return done;
    }
    bool holdsOutputs(size_t count) {
        return eventually([&] { return mOmx->heldBuffers(1).size() == count; });
    }
    /// deInit, which must end.
    int boundedDeInit(bool bypass) {
        mPatience.reset();
        int result = 0;
        expectEnds([&] { result = mDecoder->deInit(bypass); });
        return result;
    }
    /// Waits for the `count`th picture with anything in it; what a change returns is empty.
    bool delivered(size_t count) {
        return eventually([&] {
            const auto seen = mOutputs.seen();
            return seen.size() - static_cast<size_t>(std::count(seen.begin(), seen.end(), Outputs::Unit{})) ==
                   count;
        });
    }

    std::unique_ptr<QcomOmxEventInterface> mDecoder;
    std::unique_ptr<LongWaits> mPatience;
    int mDisables = 0;
    int mEnables = 0;
};

}  // namespace zem::test
