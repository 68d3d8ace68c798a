// The H.264 decoder component: access units in on port 0, raw pictures out on port 1.
#pragma once

#include <memory>
#include <optional>

#include "platform/linux/codecs/avc_decoder_parameters.h"
#include "platform/linux/codecs/h264_decoder.h"
#include "platform/linux/omx_host/component.h"

namespace zem {

/// Each picture comes out of the unit that carries it, with its timestamp, whole or not at all. A damaged
/// unit gives a concealed picture or none; its buffer always comes back. An end-of-stream input gives an
/// empty end-of-stream output behind the last picture.
///
/// A sequence header or picture of another size than the output port's announces a change of the port
/// settings. The next picture waits for the buffers that the client then allocates; what comes behind it
/// stays with the host. Tiled and planar decoders announce the first size after each start whatever it is, as
/// those chips do: clients learn the stream's size from that alone.
class AvcDecoderComponent final : public Component {
  public:
    AvcDecoderComponent(DecoderOutput output, bool vendorIndices) : mParameters(output, vendorIndices) {}

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

    android::status_t start() override;
    void stop() override;
    void flush(OMX_U32 port) override;
    void process(BufferIo& io) override;

  private:
    bool takeUnit(BufferIo& io);
    bool haveOutput(BufferIo& io);
    void returnOutput(BufferIo& io, size_t length, OMX_U32 flags, OMX_TICKS timestamp);
    bool putOutPicture(BufferIo& io);
    bool putOutEnd(BufferIo& io);
    void learnSize(BufferIo& io, uint32_t width, uint32_t height);

    AvcDecoderParameters mParameters;
    std::unique_ptr<H264Decoder> mDecoder;   // while executing
    std::optional<DecodedPicture> mPicture;  // decoded, waits for an output buffer
    std::optional<OMX_TICKS> mEnd;           // an end of stream has come, of this timestamp
    const LentBuffer* mOutput = nullptr;     // lent by the host for the next picture; forgotten on its demand
    bool mSizeAnnounced = false;             // since the start
    bool mAwaitsBuffers = false;             // a change is announced, no buffer has come since
};

}  // namespace zem
