// The settings of an H.264 decoder component, as OpenMAX IL clients read and write them.
#pragma once

#include "platform/linux/codecs/avc_port_formats.h"
#include "platform/linux/codecs/decoded_layout.h"

namespace zem {

/// Ports and parameters of one component. What is read or written with a wrong byte count or port, an unknown
/// index or a value that the decoder has no means for gives an error status and changes nothing.
///
/// The picture size that a client writes to the input port is what it expects of the stream; the output port
/// shows it until the stream says otherwise. Sizes written to the output port are ignored.
class AvcDecoderParameters {
  public:
    AvcDecoderParameters(DecoderOutput output, bool vendorIndices);

    void describePort(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE* definition) const;
    android::status_t setPortFormat(OMX_U32 port, const OMX_PARAM_PORTDEFINITIONTYPE& wanted);
    android::status_t getParameter(OMX_INDEXTYPE index, void* params, size_t size) const;
    android::status_t setParameter(OMX_INDEXTYPE index, const void* params, size_t size);

    DecoderOutput output() const { return mOutput; }
    bool outputHasSize(uint32_t width, uint32_t height) const {
        return width == mOutputSize.width && height == mOutputSize.height;
    }
    /// What the stream's pictures have.
    void setOutputSize(uint32_t width, uint32_t height) { mOutputSize = {width, height}; }

  private:
    struct Size {
        uint32_t width;
        uint32_t height;
    };

    const DecoderOutput mOutput;
    const AvcPortFormats mFormats;
    const bool mVendorIndices;
    Size mInputSize;
    Size mOutputSize;
    OMX_U32 mFrameRateQ16 = 0;  // as last written, for whoever reads it back
};

}  // namespace zem
