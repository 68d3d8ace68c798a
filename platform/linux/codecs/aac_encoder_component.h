// The AAC encoder component: PCM in on port 0, raw units out on port 1.
#pragma once

#include <memory>

#include "platform/linux/codecs/aac_encoder.h"
#include "platform/linux/codecs/aac_parameters.h"
#include "platform/linux/codecs/codec_component.h"

namespace zem {

/// The configuration is the AudioSpecificConfig, each later output a unit. Inputs may have any size, and part
/// samples.
class AacEncoderComponent final : public ConfiguredComponent<AacParameters> {
  public:
    AacEncoderComponent() : ConfiguredComponent(kInputPort) {}

  private:
    bool open() override;
    void close() override;
    Bytes configuration() const override {
        return {mEncoder->configuration().data(), mEncoder->configuration().size()};
    }
    void forget() override;
    void take(BufferIo& io, const LentBuffer& input) override;
    void drain() override { mEncoder->drain(); }
    std::optional<Block> next(BufferIo& io) override;
    void write(uint8_t* to) override;
    void drop(bool /*lost*/) override { mUnit.reset(); }

    std::unique_ptr<AacEncoder> mEncoder;  // while executing
    std::optional<AudioBlock> mUnit;       // encoded, waits for an output buffer
};

}  // namespace zem
