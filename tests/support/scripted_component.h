// A component for tests of the component host: copies each input to an output, and misbehaves as its script
// says.
#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>

#include "platform/linux/omx_host/component.h"

namespace zem::test {

constexpr OMX_U32 kScriptedBuffers[kPortCount] = {3, 4};

/// What all components of one script do and did. Any thread.
class Script {
  public:
    std::atomic<bool> failCreate{false};
    std::atomic<bool> failStart{false};
    std::atomic<bool> keepOutputs{false};  ///< returns inputs, but never fills an output

    std::atomic<int> created{0};
    std::atomic<int> destroyed{0};
    std::atomic<int> starts{0};
    std::atomic<int> stops{0};
    std::atomic<int> inputs{0};

    /// While closed, process() blocks when it has taken an input: a slow codec.
    void closeGate() { setGate(true); }
    void openGate() { setGate(false); }
    void passGate() {
        std::unique_lock<std::mutex> lock(mMutex);
        mGateOpened.wait(lock, [this] { return !mGateClosed; });
    }

  private:
    void setGate(bool closed) {
        std::lock_guard<std::mutex> lock(mMutex);
        mGateClosed = closed;
        mGateOpened.notify_all();
    }

    std::mutex mMutex;
    std::condition_variable mGateOpened;
    bool mGateClosed = false;  // guarded by mMutex
};

class ScriptedComponent final : public Component {
  public:
    explicit ScriptedComponent(std::shared_ptr<Script> script) : mScript(std::move(script)) {
        for (OMX_VIDEO_PORTDEFINITIONTYPE& format : mFormat) {
            format.nFrameWidth = 64;
            format.nFrameHeight = 48;
        }
        ++mScript->created;
    }
    ~ScriptedComponent() override { ++mScript->destroyed; }

    void describePort(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE* definition) const override {
        definition->eDomain = OMX_PortDomainVideo;
        definition->format.video = mFormat[port];
        definition->nBufferCountMin = 1;
        definition->nBufferCountActual = kScriptedBuffers[port];
        definition->nBufferSize = mFormat[port].nFrameWidth * mFormat[port].nFrameHeight * 3 / 2;
    }
    android::status_t setPortFormat(OMX_U32 port, const OMX_PARAM_PORTDEFINITIONTYPE& wanted) override {
        mFormat[port] = wanted.format.video;
        return android::OK;
    }
    android::status_t start() override {
        ++mScript->starts;
        return mScript->failStart ? android::NO_INIT : android::OK;
    }
    void stop() override {
        ++mScript->stops;
        mHeld = nullptr;
    }
    void flush(OMX_U32 port) override { mHeld = port == kInputPort ? nullptr : mHeld; }
    void process(BufferIo& io) override {
        while (nextInput(io) && (mScript->keepOutputs || copyToOutput(io))) {
            io.returnInput(mHeld);
            mHeld = nullptr;
        }
    }

  private:
    bool nextInput(BufferIo& io) {
        if (mHeld == nullptr) {
            mHeld = io.takeInput();
            if (mHeld != nullptr) {
                ++mScript->inputs;
                mScript->passGate();
            }
        }
        return mHeld != nullptr;
    }
    bool copyToOutput(BufferIo& io) {
        const LentBuffer* out = io.takeOutput();
        if (out == nullptr) {
            return false;
        }
        const size_t length = std::min(out->size, mHeld->size);
        memcpy(out->data, mHeld->data, length);
        io.returnOutput(out, length, mHeld->flags, mHeld->timestamp);
        return true;
    }

    const std::shared_ptr<Script> mScript;
    OMX_VIDEO_PORTDEFINITIONTYPE mFormat[kPortCount] = {};
    const LentBuffer* mHeld = nullptr;  // the input that still waits for an output
};

/// A registry entry for components of `script`.
inline ComponentFactory scripted(const std::string& name, const std::shared_ptr<Script>& script) {
    return {name, {}, [script]() -> std::unique_ptr<Component> {
                return script->failCreate ? nullptr : std::make_unique<ScriptedComponent>(script);
            }};
}

}  // namespace zem::test
