// The AAC decoder component: raw units in on port 0, PCM out on port 1.
#pragma once

#include <memory>

#include "platform/linux/codecs/aac_decoder.h"
#include "platform/linux/codecs/aac_parameters.h"
#include "platform/linux/codecs/codec_component.h"

namespace zem {

/// An input holds any number of units end to end. The configuration may stand before the units of the first
/// input, or come in an input of its own that is flagged as such; without one the PCM parameters tell the
/// stream's rate and channels. Each output is the samples of one unit.
///
/// A stream of another rate or number of channels comes out as it is, behind a change of the port settings:
/// to convert it would hide from the client what it plays.
class AacDecoderComponent final : public ConfiguredComponent<AacParameters> {
  public:
    AacDecoderComponent() : ConfiguredComponent(kOutputPort) {}

  private:
    bool open() override;
    void close() override;
    void forget() override;
    void take(BufferIo& io, const LentBuffer& input) override;
    void drain() override { mDecoder->drain(); }
    std::optional<Block> next(BufferIo& io) override;
    void write(uint8_t* to) override;
    void drop(bool /*lost*/) override { mSamples.reset(); }

    std::unique_ptr<AacDecoder> mDecoder;  // while executing
    std::optional<AudioBlock> mSamples;    // decoded, wait for an output buffer
    AudioFormat mFormat{};                 // of mSamples
    bool mBegun = false;                   // bytes have come since the start or the last flush
};

}  // namespace zem
