// The H.264 encoder component: raw frames in on port 0, access units out on port 1.
#pragma once

#include <memory>

#include "platform/linux/codecs/avc_encoder_parameters.h"
#include "platform/linux/codecs/codec_component.h"
#include "platform/linux/codecs/h264_encoder.h"

namespace zem {

/// The configuration is SPS and PPS, each later output a whole access unit with the timestamp of its frame. A
/// frame that is too short for the layout is dropped, and its buffer returned.
class AvcEncoderComponent final : public ConfiguredComponent<AvcEncoderParameters> {
  public:
    AvcEncoderComponent(EncoderInput input, bool vendorIndices) : ConfiguredComponent(input, vendorIndices) {}

    android::status_t getConfig(OMX_INDEXTYPE index, void* params, size_t size) override {
        return mParameters.getConfig(index, params, size);
    }
    android::status_t setConfig(OMX_INDEXTYPE index, const void* params, size_t size) override;

  private:
    bool open() override;
    void close() override;
    void forget() override { drop(mPicture.has_value()); }
    Bytes configuration() const override {
        return {mEncoder->configuration().data(), mEncoder->configuration().size()};
    }
    void take(BufferIo& io, const LentBuffer& input) override;
    std::optional<Block> next(BufferIo& io) override;
    void write(uint8_t* to) override { mPicture->unit.copyTo(to); }
    void drop(bool lost) override;

    std::unique_ptr<H264Encoder> mEncoder;   // while executing
    std::optional<EncodedPicture> mPicture;  // waits for an output buffer
    OMX_TICKS mTimestamp = 0;                // of mPicture
    bool mResynchronise = false;             // a unit was lost: the next one must not build on it
};

}  // namespace zem
