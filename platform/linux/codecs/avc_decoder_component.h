// The H.264 decoder component: access units in on port 0, raw pictures out on port 1.
#pragma once

#include <memory>

#include "platform/linux/codecs/avc_decoder_parameters.h"
#include "platform/linux/codecs/codec_component.h"
#include "platform/linux/codecs/h264_decoder.h"

namespace zem {

/// Each picture comes out of the unit that carries it, with its timestamp, whole or not at all. A damaged
/// unit gives a concealed picture or none.
///
/// A sequence header or picture of another size than the output port's announces a change of the port
/// settings. Tiled and planar decoders announce the first size after each start whatever it is, as those
/// chips do: clients learn the stream's size from that alone.
class AvcDecoderComponent final : public ConfiguredComponent<AvcDecoderParameters> {
  public:
    AvcDecoderComponent(DecoderOutput output, bool vendorIndices)
        : ConfiguredComponent(output, vendorIndices) {}

  private:
    bool open() override;
    void close() override;
    void forget() override;
    void take(BufferIo& io, const LentBuffer& input) override;
    void drain() override { mDecoder->drain(); }
    std::optional<Block> next(BufferIo& io) override;
    void write(uint8_t* to) override;
    void drop(bool /*lost*/) override { mPicture.reset(); }

    DecodedLayout layout() const;
    void learnSize(BufferIo& io, uint32_t width, uint32_t height);

    std::unique_ptr<H264Decoder> mDecoder;   // while executing
    std::optional<DecodedPicture> mPicture;  // decoded, waits for an output buffer
    bool mSizeAnnounced = false;             // since the start
};

}  // namespace zem
