// A component for tests of everything above the component host: copies each input to an output, and
// misbehaves as its script says.
#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/omx_host/component.h"

namespace zem::test {

/// What all components of one script do and did. Set the knobs before or while they run, any thread.
class Script {
  public:
    // Port definitions at creation, by port.
    OMX_U32 width[kPortCount] = {64, 64};
    OMX_U32 height[kPortCount] = {48, 48};
    OMX_U32 bufferCount[kPortCount] = {3, 4};
    /// Least buffer size; 0 = what an NV12 picture of the port's size needs.
    OMX_U32 bufferSize[kPortCount] = {0, 0};

    std::atomic<bool> failCreate{false};
    std::atomic<bool> failStart{false};
    std::atomic<bool> keepInputs{false};      ///< takes inputs and never returns them
    std::atomic<bool> keepOutputs{false};     ///< returns inputs, but never fills an output
    std::atomic<bool> ignoreEos{false};       ///< swallows the end-of-stream mark
    std::atomic<bool> emitConfig{false};      ///< a 4-byte configuration output before the first copy
    std::atomic<int> errorAtInput{0};         ///< raises an error event with the n-th input (from 1)
    std::atomic<int> resizeAtInput{0};        ///< changes the output's size before copying the n-th input
    std::atomic<int> resizeAnnouncements{1};  ///< ... and says so this many times
    OMX_U32 newWidth = 128;                   ///< ... to this; set before resizeAtInput
    OMX_U32 newHeight = 96;

    std::atomic<int> created{0};
    std::atomic<int> destroyed{0};
    std::atomic<int> starts{0};
    std::atomic<int> stops{0};
    std::atomic<int> flushes[kPortCount] = {};
    std::atomic<int> inputs{0};
    std::atomic<int> outputs{0};

    /// While closed, process() blocks when it has taken an input: a slow codec.
    void closeGate() {
        std::lock_guard<std::mutex> lock(mMutex);
        mGateClosed = true;
    }
    void openGate() {
        std::lock_guard<std::mutex> lock(mMutex);
        mGateClosed = false;
        mGateOpened.notify_all();
    }
    void passGate() {
        std::unique_lock<std::mutex> lock(mMutex);
        mGateOpened.wait(lock, [this] { return !mGateClosed; });
    }

    /// Makes a parameter or config index known; its structure starts as these bytes.
    template <typename T>
    void know(OMX_INDEXTYPE index, const T& initial) {
        std::lock_guard<std::mutex> lock(mMutex);
        const auto* bytes = reinterpret_cast<const uint8_t*>(&initial);  // stored as the raw structure
        mValues[index].assign(bytes, bytes + sizeof initial);
    }
    /// Refuses every set (or, with `reads`, every get) of this index; the port definition included.
    void refuse(OMX_INDEXTYPE index, bool reads = false) {
        std::lock_guard<std::mutex> lock(mMutex);
        (reads ? mRefusedReads : mRefusedWrites).insert(index);
    }
    bool refuses(OMX_INDEXTYPE index, bool read) {
        std::lock_guard<std::mutex> lock(mMutex);
        return (read ? mRefusedReads : mRefusedWrites).count(index) != 0;
    }
    /// The structure last set, or the initial one. False for an unknown index or another size.
    template <typename T>
    bool value(OMX_INDEXTYPE index, T* out) {
        return read(index, out, sizeof *out) == android::OK;
    }
    int writesOf(OMX_INDEXTYPE index) {
        std::lock_guard<std::mutex> lock(mMutex);
        return mWrites[index];
    }

    android::status_t read(OMX_INDEXTYPE index, void* params, size_t size) {
        if (refuses(index, true)) {
            return android::BAD_VALUE;
        }
        std::lock_guard<std::mutex> lock(mMutex);
        const auto found = mValues.find(index);
        if (found == mValues.end() || found->second.size() != size) {
            return android::BAD_VALUE;
        }
        memcpy(params, found->second.data(), size);
        return android::OK;
    }
    android::status_t write(OMX_INDEXTYPE index, const void* params, size_t size) {
        if (refuses(index, false)) {
            return android::BAD_VALUE;
        }
        std::lock_guard<std::mutex> lock(mMutex);
        const auto found = mValues.find(index);
        if (found == mValues.end() || found->second.size() != size) {
            return android::BAD_VALUE;
        }
        memcpy(found->second.data(), params, size);
        ++mWrites[index];
        return android::OK;
    }

  private:
    std::mutex mMutex;
    std::condition_variable mGateOpened;
    bool mGateClosed = false;  // guarded by mMutex, as all below
    std::map<OMX_INDEXTYPE, std::vector<uint8_t>> mValues;
    std::map<OMX_INDEXTYPE, int> mWrites;
    std::set<OMX_INDEXTYPE> mRefusedReads;
    std::set<OMX_INDEXTYPE> mRefusedWrites;
};

class ScriptedComponent final : public Component {
  public:
    explicit ScriptedComponent(std::shared_ptr<Script> script) : mScript(std::move(script)) {
        for (OMX_U32 port = 0; port < kPortCount; ++port) {
            mFormat[port].nFrameWidth = mScript->width[port];
            mFormat[port].nFrameHeight = mScript->height[port];
            mFormat[port].eColorFormat = OMX_COLOR_FormatYUV420SemiPlanar;
        }
        ++mScript->created;
    }
    ~ScriptedComponent() override { ++mScript->destroyed; }

    void describePort(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE* definition) const override {
        definition->eDomain = OMX_PortDomainVideo;
        definition->format.video = mFormat[port];
        definition->nBufferCountMin = 1;
        definition->nBufferCountActual = mScript->bufferCount[port];
        const OMX_U32 picture = mFormat[port].nFrameWidth * mFormat[port].nFrameHeight * 3 / 2;
        definition->nBufferSize = mScript->bufferSize[port] != 0 ? mScript->bufferSize[port] : picture;
    }
    android::status_t setPortFormat(OMX_U32 port, const OMX_PARAM_PORTDEFINITIONTYPE& wanted) override {
        if (mScript->refuses(OMX_IndexParamPortDefinition, false)) {
            return android::BAD_VALUE;
        }
        mFormat[port] = wanted.format.video;
        return android::OK;
    }
    android::status_t getParameter(OMX_INDEXTYPE index, void* params, size_t size) override {
        return mScript->read(index, params, size);
    }
    android::status_t setParameter(OMX_INDEXTYPE index, const void* params, size_t size) override {
        return mScript->write(index, params, size);
    }
    android::status_t getConfig(OMX_INDEXTYPE index, void* params, size_t size) override {
        return mScript->read(index, params, size);
    }
    android::status_t setConfig(OMX_INDEXTYPE index, const void* params, size_t size) override {
        return mScript->write(index, params, size);
    }
    android::status_t start() override {
        ++mScript->starts;
        mConfigDue = mScript->emitConfig;
        return mScript->failStart ? android::NO_INIT : android::OK;
    }
    void stop() override {
        ++mScript->stops;
        mHeld = nullptr;
    }
    void flush(OMX_U32 port) override {
        ++mScript->flushes[port];
        if (port == kInputPort) {
            mHeld = nullptr;
        }
    }
    void process(BufferIo& io) override {
        while (nextInput(io)) {
            if (mScript->keepInputs) {
                mHeld = nullptr;
                continue;
            }
            if (!mScript->keepOutputs && !(emitConfigIfDue(io) && copyToOutput(io))) {
                return;
            }
            io.returnInput(mHeld);
            mHeld = nullptr;
        }
    }

  private:
    bool nextInput(BufferIo& io) {
        if (mHeld != nullptr) {
            return true;
        }
        mHeld = io.takeInput();
        if (mHeld == nullptr) {
            return false;
        }
        const int number = ++mScript->inputs;
        mScript->passGate();
        if (number == mScript->errorAtInput) {
            io.raiseError(OMX_ErrorHardware);
        }
        if (number == mScript->resizeAtInput) {
            mFormat[kOutputPort].nFrameWidth = mScript->newWidth;
            mFormat[kOutputPort].nFrameHeight = mScript->newHeight;
            for (int left = mScript->resizeAnnouncements; left > 0; --left) {
                io.portSettingsChanged();
            }
        }
        return true;
    }
    bool emitConfigIfDue(BufferIo& io) {
        if (!mConfigDue) {
            return true;
        }
        const LentBuffer* out = io.takeOutput();
        if (out == nullptr) {
            return false;
        }
        const size_t length = std::min<size_t>(out->size, 4);
        memcpy(out->data, "conf", length);
        io.returnOutput(out, length, OMX_BUFFERFLAG_CODECCONFIG, mHeld->timestamp);
        mConfigDue = false;
        return true;
    }
    bool copyToOutput(BufferIo& io) {
        const LentBuffer* out = io.takeOutput();
        if (out == nullptr) {
            return false;
        }
        const size_t length = std::min(out->size, mHeld->size);
        if (length > 0) {
            memcpy(out->data, mHeld->data, length);
        }
        const OMX_U32 mask = mScript->ignoreEos ? ~static_cast<OMX_U32>(OMX_BUFFERFLAG_EOS) : ~0U;
        ++mScript->outputs;
        io.returnOutput(out, length, mHeld->flags & mask, mHeld->timestamp);
        return true;
    }

    const std::shared_ptr<Script> mScript;
    OMX_VIDEO_PORTDEFINITIONTYPE mFormat[kPortCount] = {};
    const LentBuffer* mHeld = nullptr;  // the input that still waits for an output
    bool mConfigDue = false;
};

/// A registry entry for components of `script`.
inline ComponentFactory scripted(const std::string& name, const std::shared_ptr<Script>& script,
                                 std::vector<std::string> roles = {"video_encoder.avc"}) {
    return {name, std::move(roles), [script]() -> std::unique_ptr<Component> {
                if (script->failCreate) {
                    return nullptr;
                }
                return std::make_unique<ScriptedComponent>(script);
            }};
}

}  // namespace zem::test
