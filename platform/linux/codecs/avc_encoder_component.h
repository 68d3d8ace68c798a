// The H.264 encoder component: raw frames in on port 0, access units out on port 1.
#pragma once

#include <memory>

#include "platform/linux/codecs/avc_encoder_parameters.h"
#include "platform/linux/codecs/h264_encoder.h"
#include "platform/linux/omx_host/component.h"

namespace zem {

/// The first output of each start is the configuration (SPS and PPS), put out with the first input; every
/// later one is a whole access unit with the timestamp of its frame. A frame that is too short for the layout
/// is dropped, and its buffer returned. An end-of-stream input gives an end-of-stream output.
class AvcEncoderComponent final : public Component {
  public:
    AvcEncoderComponent(EncoderInput input, bool vendorIndices) : mParameters(input, vendorIndices) {}

    void describePort(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE* definition) const override {
        mParameters.describePort(port, definition);
    }
    android::status_t setPortFormat(OMX_U32 port, const OMX_PARAM_PORTDEFINITIONTYPE& wanted) override {
        return mParameters.setPortFormat(port, wanted);
    }
    android::status_t getParameter(OMX_INDEXTYPE index, void* params, size_t size) override {
        return mParameters.getParameter(index, params, size);
    }
    android::status_t setParameter(OMX_INDEXTYPE index, const void* params, size_t size) override {
        return mParameters.setParameter(index, params, size);
    }
    android::status_t getConfig(OMX_INDEXTYPE index, void* params, size_t size) override {
        return mParameters.getConfig(index, params, size);
    }
    android::status_t setConfig(OMX_INDEXTYPE index, const void* params, size_t size) override;

    android::status_t start() override;
    void stop() override;
    void flush(OMX_U32 port) override;
    void process(BufferIo& io) override;

  private:
    void putOutConfiguration(BufferIo& io);
    void putOutInput(BufferIo& io);
    size_t encode(const LentBuffer& input, OMX_U32* flags);
    void returnOutput(BufferIo& io, size_t length, OMX_U32 flags, OMX_TICKS timestamp);

    AvcEncoderParameters mParameters;
    std::unique_ptr<H264Encoder> mEncoder;  // while executing
    bool mConfigurationSent = false;
    // Lent by the host and still in use; forgotten on its demand.
    const LentBuffer* mInput = nullptr;
    const LentBuffer* mOutput = nullptr;
    // A unit was lost: the next one must not build on it.
    bool mResynchronise = false;
};

}  // namespace zem
