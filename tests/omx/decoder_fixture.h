// A scripted decoder, and a component's side of a change of its output port.
#pragma once

#include <algorithm>
#include <memory>
#include <string>

#include "omx/qcom_omx_interface_decoder.h"
#include "tests/omx/long_waits.h"
#include "tests/omx/omx_fixture.h"

namespace zem::test {

constexpr const char* kQcomDecoder = "OMX.qcom.video.decoder.avc";
constexpr const char* kSecDecoder = "OMX.SEC.avc.dec";

class DecoderTest : public OmxTest {
  protected:
    DecoderTest() { mOmx = new FakeOmx({kQcomDecoder, kSecDecoder}); }
    ~DecoderTest() override {
        mDecoder.reset();
        EXPECT_EQ(0, mOmx->liveNodes());
        EXPECT_EQ(0, mOmx->liveBuffers());
    }

    int create(const char* name, int hardwareBase) {
        mService.reset();  // its end takes away whatever serves then
        mService = std::make_unique<FakeMediaService>(mOmx);
        decoderParams params{hardwareBase, name};
        QcomOmxInterfaceDecoder* decoder = nullptr;
        const int result = QcomOmxInterfaceDecoder::Create(&decoder, &params);
        mDecoder.reset(decoder);
        EXPECT_EQ(result == 0, decoder != nullptr);
        return result;
    }
    void start(int hardwareBase = 0x2001) {
        ASSERT_EQ(0, create(kQcomDecoder, hardwareBase));
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
        auto definition = mOmx->parameter<OMX_PARAM_PORTDEFINITIONTYPE>(OMX_IndexParamPortDefinition, 1);
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
    /// deInit on another thread: its result, or -1000 when it does not end.
    int boundedDeInit(bool bypass) {
        mPatience.reset();
        auto ended = std::async(std::launch::async, [this, bypass] { return mDecoder->deInit(bypass); });
        if (ended.wait_for(kSoon) != std::future_status::ready) {
            ADD_FAILURE() << "deInit hangs";
            abort();  // the thread cannot be joined
        }
        return ended.get();
    }

    /// Pictures with anything in them that were delivered; what a change returns is empty.
    size_t pictures() const {
        const auto seen = mOutputs.seen();
        return static_cast<size_t>(
            std::count_if(seen.begin(), seen.end(), [](const Outputs::Unit& unit) { return !unit.empty(); }));
    }

    std::unique_ptr<FakeMediaService> mService;
    std::unique_ptr<QcomOmxEventInterface> mDecoder;
    std::unique_ptr<LongWaits> mPatience;
    int mDisables = 0;
    int mEnables = 0;
};

}  // namespace zem::test
