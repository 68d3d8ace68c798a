#include "platform/linux/codecs/avc_decoder_parameters.h"

#include <algorithm>

#include "base/log.h"
#include "platform/linux/codecs/h264_encoder.h"
#include "platform/linux/codecs/parameter_fields.h"

namespace zem {
namespace {

using android::BAD_INDEX;
using android::BAD_VALUE;
using android::INVALID_OPERATION;
using android::OK;
using android::status_t;

// Before a client says anything: the smallest common picture.
constexpr uint32_t kDefaultWidth = 176;
constexpr uint32_t kDefaultHeight = 144;

constexpr OMX_U32 kBufferCountMin = 2;
constexpr OMX_U32 kInputCount = 4;
// Clients drop five times that many pictures after each change of size: few.
constexpr OMX_U32 kOutputCount = 4;

// Clients guess the picture size: room for a good picture of HD size whatever they say.
constexpr OMX_U32 kLeastInputSize = 1U << 20;

// The vendor's number for its 64x32 tiles; the published list ends before such.
constexpr OMX_U32 kQcomTiles = 0x7FA30C03;

bool sideIsUsable(OMX_U32 side) {
    return side > 0 && side <= kMaxDecodedSide;
}

}  // namespace

AvcDecoderParameters::AvcDecoderParameters(DecoderOutput output, bool vendorIndices)
    : mOutput(output),
      mVendorIndices(vendorIndices),
      mInputSize{kDefaultWidth, kDefaultHeight},
      mOutputSize(mInputSize) {}

OMX_COLOR_FORMATTYPE AvcDecoderParameters::colorFormat() const {
    switch (mOutput) {
        case DecoderOutput::Nv12RowsOf64:
            return OMX_COLOR_FormatYUV420SemiPlanar;
        case DecoderOutput::Nv12Tiles:
            return static_cast<OMX_COLOR_FORMATTYPE>(kQcomTiles);
        case DecoderOutput::I420:
            break;
    }
    return OMX_COLOR_FormatYUV420Planar;
}

void AvcDecoderParameters::describePort(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE* definition) const {
    const bool input = port == kInputPort;
    const Size size = input ? mInputSize : mOutputSize;
    const DecodedLayout layout(mOutput, size.width, size.height);
    definition->eDomain = OMX_PortDomainVideo;
    definition->nBufferCountMin = kBufferCountMin;
    definition->nBufferCountActual = input ? kInputCount : kOutputCount;
    definition->nBufferSize = input ? std::max(kLeastInputSize, largestUnitSize(size.width, size.height))
                                    : static_cast<OMX_U32>(layout.size());
    OMX_VIDEO_PORTDEFINITIONTYPE& video = definition->format.video;
    video.nFrameWidth = size.width;
    video.nFrameHeight = size.height;
    video.nStride = input ? 0 : static_cast<OMX_S32>(layout.stride());
    video.nSliceHeight = input ? 0 : layout.sliceHeight();
    video.xFramerate = mFrameRateQ16;
    video.eCompressionFormat = input ? OMX_VIDEO_CodingAVC : OMX_VIDEO_CodingUnused;
    video.eColorFormat = input ? OMX_COLOR_FormatUnused : colorFormat();
}

status_t AvcDecoderParameters::setPortFormat(OMX_U32 port, const OMX_PARAM_PORTDEFINITIONTYPE& wanted) {
    const OMX_VIDEO_PORTDEFINITIONTYPE& video = wanted.format.video;
    if (port == kOutputPort) {
        if (wordOf(video.eColorFormat) != wordOf(colorFormat())) {
            LOGE("AVC decoder: colour format %u is refused, this one gives %u", wordOf(video.eColorFormat),
                 wordOf(colorFormat()));
            return INVALID_OPERATION;
        }
        return OK;
    }
    if (wordOf(video.eCompressionFormat) != OMX_VIDEO_CodingAVC) {
        LOGE("AVC decoder: coding %u is refused, this one takes AVC", wordOf(video.eCompressionFormat));
        return INVALID_OPERATION;
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
    return index == OMX_IndexParamVideoPortFormat ? getPortFormat(params, size) : BAD_VALUE;
}

status_t AvcDecoderParameters::setParameter(OMX_INDEXTYPE index, const void* params, size_t size) {
    switch (wordOf(index)) {
        case OMX_IndexParamVideoPortFormat:
            return setPortFormatParameter(params, size);
        case kQcomPictureOrder:
            return setVendorParameter(size, kQcomPictureOrderSize);
        case kQcomFramePacking:
            return setVendorParameter(size, kQcomFramePackingSize);
        default:
            return BAD_VALUE;
    }
}

// Each port has one format: index 0 of its list.
status_t AvcDecoderParameters::getPortFormat(void* params, size_t size) const {
    auto* fields = structOf<OMX_VIDEO_PARAM_PORTFORMATTYPE>(params, size);
    if (fields == nullptr || fields->nPortIndex >= kPortCount) {
        return BAD_VALUE;
    }
    if (fields->nIndex > 0) {
        return BAD_INDEX;
    }
    const bool input = fields->nPortIndex == kInputPort;
    fillHeader(fields, fields->nPortIndex);
    fields->eCompressionFormat = input ? OMX_VIDEO_CodingAVC : OMX_VIDEO_CodingUnused;
    fields->eColorFormat = input ? OMX_COLOR_FormatUnused : colorFormat();
    fields->xFramerate = mFrameRateQ16;
    return OK;
}

status_t AvcDecoderParameters::setPortFormatParameter(const void* params, size_t size) {
    const auto* fields = structOf<OMX_VIDEO_PARAM_PORTFORMATTYPE>(params, size);
    if (fields == nullptr || fields->nPortIndex >= kPortCount) {
        return BAD_VALUE;
    }
    const bool known = fields->nPortIndex == kInputPort
                           ? wordOf(fields->eCompressionFormat) == OMX_VIDEO_CodingAVC
                           : wordOf(fields->eColorFormat) == wordOf(colorFormat());
    return known ? OK : INVALID_OPERATION;
}

// Pictures come out in the order in which they came, and in one packing: there is nothing to choose.
status_t AvcDecoderParameters::setVendorParameter(size_t size, size_t expected) const {
    return mVendorIndices && size == expected ? OK : BAD_VALUE;
}

}  // namespace zem
