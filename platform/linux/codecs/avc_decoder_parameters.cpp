#include "platform/linux/codecs/avc_decoder_parameters.h"

#include <algorithm>

#include "base/log.h"
#include "platform/linux/codecs/h264_encoder.h"

namespace zem {
namespace {

using android::BAD_VALUE;
using android::OK;
using android::status_t;

// Clients guess the picture size: room for a good picture of HD size whatever they say.
constexpr OMX_U32 kLeastInputSize = 1U << 20;

// The vendor's number for its 64x32 tiles; the published list ends before such.
constexpr OMX_U32 kQcomTiles = 0x7FA30C03;

OMX_COLOR_FORMATTYPE colorFormatOf(DecoderOutput output) {
    switch (output) {
        case DecoderOutput::Nv12RowsOf64:
            return OMX_COLOR_FormatYUV420SemiPlanar;
        case DecoderOutput::Nv12Tiles:
            return static_cast<OMX_COLOR_FORMATTYPE>(kQcomTiles);
        case DecoderOutput::I420:
            break;
    }
    return OMX_COLOR_FormatYUV420Planar;
}

bool sideIsUsable(OMX_U32 side) {
    return side > 0 && side <= kMaxDecodedSide;
}

}  // namespace

AvcDecoderParameters::AvcDecoderParameters(DecoderOutput output, bool vendorIndices)
    : mOutput(output),
      mFormats(kInputPort, colorFormatOf(output)),
      mVendorIndices(vendorIndices),
      mInputSize{kDefaultWidth, kDefaultHeight},
      mOutputSize(mInputSize) {}

void AvcDecoderParameters::describePort(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE* definition) const {
    const bool input = port == kInputPort;
    const Size size = input ? mInputSize : mOutputSize;
    const DecodedLayout layout(mOutput, size.width, size.height);
    definition->eDomain = OMX_PortDomainVideo;
    definition->nBufferCountMin = kVideoBufferCountMin;
    definition->nBufferCountActual = kVideoBufferCount;
    definition->nBufferSize = input ? std::max(kLeastInputSize, largestUnitSize(size.width, size.height))
                                    : static_cast<OMX_U32>(layout.size());
    OMX_VIDEO_PORTDEFINITIONTYPE& video = definition->format.video;
    video.nFrameWidth = size.width;
    video.nFrameHeight = size.height;
    video.nStride = input ? 0 : static_cast<OMX_S32>(layout.stride());
    video.nSliceHeight = input ? 0 : layout.sliceHeight();
    video.xFramerate = mFrameRateQ16;
    video.eCompressionFormat = mFormats.coding(port);
    video.eColorFormat = mFormats.color(port);
}

status_t AvcDecoderParameters::setPortFormat(OMX_U32 port, const OMX_PARAM_PORTDEFINITIONTYPE& wanted) {
    const OMX_VIDEO_PORTDEFINITIONTYPE& video = wanted.format.video;
    const status_t status = mFormats.check(port, video);
    if (status != OK || port == kOutputPort) {
        return status;
    }
    if (!sideIsUsable(video.nFrameWidth) || !sideIsUsable(video.nFrameHeight)) {
        LOGE("AVC decoder: pictures of %ux%u are refused (sides from 1 to %u)", video.nFrameWidth,
             video.nFrameHeight, kMaxDecodedSide);
        return BAD_VALUE;
    }
    const bool another = video.nFrameWidth != mInputSize.width || video.nFrameHeight != mInputSize.height;
    mInputSize = {video.nFrameWidth, video.nFrameHeight};
    mOutputSize = another ? mInputSize : mOutputSize;
    mFrameRateQ16 = video.xFramerate;
    return OK;
}

status_t AvcDecoderParameters::getParameter(OMX_INDEXTYPE index, void* params, size_t size) const {
    return index == OMX_IndexParamVideoPortFormat ? mFormats.get(params, size, mFrameRateQ16) : BAD_VALUE;
}

status_t AvcDecoderParameters::setParameter(OMX_INDEXTYPE index, const void* params, size_t size) {
    if (index == OMX_IndexParamVideoPortFormat) {
        const auto* fields = ofAnyPort<OMX_VIDEO_PARAM_PORTFORMATTYPE>(params, size);
        return fields != nullptr ? mFormats.check(fields->nPortIndex, *fields) : BAD_VALUE;
    }
    return mVendorIndices ? setQcomParameter(index, size) : BAD_VALUE;
}

}  // namespace zem
