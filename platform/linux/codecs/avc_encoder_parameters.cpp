#include "platform/linux/codecs/avc_encoder_parameters.h"

#include <cstring>
#include <iterator>

#include "base/log.h"

namespace zem {
namespace {

using android::BAD_INDEX;
using android::BAD_VALUE;
using android::OK;
using android::status_t;

constexpr uint32_t kDefaultPFrames = 29;  // a key frame a second

// Slices below this would be nothing but headers.
constexpr OMX_U32 kMinNalSize = 256;

struct NamedProfile {
    H264Profile profile;
    OMX_VIDEO_AVCPROFILETYPE value;
};
constexpr NamedProfile kProfiles[] = {{H264Profile::Baseline, OMX_VIDEO_AVCProfileBaseline},
                                      {H264Profile::Main, OMX_VIDEO_AVCProfileMain},
                                      {H264Profile::High, OMX_VIDEO_AVCProfileHigh}};

const NamedProfile* profileOf(OMX_U32 value) {
    for (const NamedProfile& profile : kProfiles) {
        if (static_cast<OMX_U32>(profile.value) == value) {
            return &profile;
        }
    }
    return nullptr;
}

OMX_VIDEO_AVCPROFILETYPE valueOf(H264Profile wanted) {
    for (const NamedProfile& profile : kProfiles) {
        if (profile.profile == wanted) {
            return profile.value;
        }
    }
    return OMX_VIDEO_AVCProfileHigh;
}

bool rateControlOf(OMX_U32 value, H264RateControl* control) {
    switch (value) {
        case OMX_Video_ControlRateDisable:
            *control = H264RateControl::Quality;
            return true;
        case OMX_Video_ControlRateVariable:
        case OMX_Video_ControlRateVariableSkipFrames:
            *control = H264RateControl::Variable;
            return true;
        case OMX_Video_ControlRateConstant:
        case OMX_Video_ControlRateConstantSkipFrames:
            *control = H264RateControl::Constant;
            return true;
        default:
            return false;
    }
}

OMX_COLOR_FORMATTYPE colorFormatOf(EncoderInput input) {
    return input == EncoderInput::I420 ? OMX_COLOR_FormatYUV420Planar : OMX_COLOR_FormatYUV420SemiPlanar;
}

}  // namespace

AvcEncoderParameters::AvcEncoderParameters(EncoderInput input, bool vendorIndices)
    : mFormats(kOutputPort, colorFormatOf(input)), mVendorIndices(vendorIndices) {
    mSettings.input = input;
    mSettings.width = kDefaultWidth;
    mSettings.height = kDefaultHeight;
    mSettings.bitRate = usableBitRate(0, kDefaultWidth, kDefaultHeight, mSettings.frameRateQ16);
    mSettings.keyInterval = kDefaultPFrames + 1;
    mAvc.nPFrames = kDefaultPFrames;
    mAvc.nRefFrames = 1;
    mAvc.eProfile = valueOf(mSettings.profile);
    mAvc.eLevel = OMX_VIDEO_AVCLevel4;
    mAvc.nAllowedPictureTypes = OMX_VIDEO_PictureTypeI | OMX_VIDEO_PictureTypeP;
    mAvc.bFrameMBsOnly = OMX_TRUE;
    mAvc.bEntropyCodingCABAC = OMX_TRUE;
    mAvc.bDirect8x8Inference = OMX_TRUE;
    mAvc.eLoopFilterMode = OMX_VIDEO_AVCLoopFilterEnable;
}

void AvcEncoderParameters::describePort(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE* definition) const {
    const bool input = port == kInputPort;
    definition->eDomain = OMX_PortDomainVideo;
    definition->nBufferCountMin = kVideoBufferCountMin;
    definition->nBufferCountActual = kVideoBufferCount;
    definition->nBufferSize =
        input ? frameLayoutOf(mSettings.input, mSettings.width, mSettings.height).frameSize
              : largestUnitSize(mSettings.width, mSettings.height);
    OMX_VIDEO_PORTDEFINITIONTYPE& video = definition->format.video;
    video.nFrameWidth = mSettings.width;
    video.nFrameHeight = mSettings.height;
    video.nStride = input ? static_cast<OMX_S32>(mSettings.width) : 0;
    video.nSliceHeight = input ? mSettings.height : 0;
    video.nBitrate = input ? 0 : mSettings.bitRate;
    video.xFramerate = mSettings.frameRateQ16;
    video.eCompressionFormat = mFormats.coding(port);
    video.eColorFormat = mFormats.color(port);
}

// Size and frame rate are one for both ports: the encoder does not scale, and clients write them to both.
status_t AvcEncoderParameters::setPortFormat(OMX_U32 port, const OMX_PARAM_PORTDEFINITIONTYPE& wanted) {
    const OMX_VIDEO_PORTDEFINITIONTYPE& video = wanted.format.video;
    if (!frameSizeIsUsable(video.nFrameWidth, video.nFrameHeight)) {
        LOGE("AVC encoder: port %u: frames of %ux%u are refused (even sides from %u to %u)", port,
             video.nFrameWidth, video.nFrameHeight, kMinFrameSide, kMaxFrameSide);
        return BAD_VALUE;
    }
    const status_t status = mFormats.check(port, video);
    if (status != OK) {
        return status;
    }
    mSettings.width = video.nFrameWidth;
    mSettings.height = video.nFrameHeight;
    mSettings.frameRateQ16 = usableFrameRate(video.xFramerate);
    if (port == kOutputPort) {
        mSettings.bitRate = video.nBitrate;
    }
    return OK;
}

status_t AvcEncoderParameters::getParameter(OMX_INDEXTYPE index, void* params, size_t size) const {
    switch (wordOf(index)) {
        case OMX_IndexParamVideoPortFormat:
            return mFormats.get(params, size, mSettings.frameRateQ16);
        case OMX_IndexParamVideoBitrate:
            return getBitRate(params, size);
        case OMX_IndexParamVideoAvc:
            return getAvc(params, size);
        case OMX_IndexParamVideoProfileLevelQuerySupported:
        case OMX_IndexParamVideoProfileLevelCurrent:
            return getProfileLevel(index, params, size);
        case OMX_IndexConfigVideoNalSize:  // clients use the parameter calls for it, too
            return getNalSize(params, size);
        default:
            return BAD_VALUE;
    }
}

status_t AvcEncoderParameters::setParameter(OMX_INDEXTYPE index, const void* params, size_t size) {
    switch (wordOf(index)) {
        case OMX_IndexParamVideoPortFormat:
            return setPortFormatParameter(params, size);
        case OMX_IndexParamVideoBitrate:
            return setBitRate(params, size);
        case OMX_IndexParamVideoAvc:
            return setAvc(params, size);
        case OMX_IndexParamVideoProfileLevelCurrent:
            return setProfileLevel(params, size);
        case OMX_IndexConfigVideoNalSize:
            return setNalSize(params, size);
        default:
            return mVendorIndices ? setQcomParameter(index, size) : BAD_VALUE;
    }
}

status_t AvcEncoderParameters::getConfig(OMX_INDEXTYPE index, void* params, size_t size) const {
    if (index == OMX_IndexConfigVideoNalSize) {
        return getNalSize(params, size);
    }
    // No look at the port: clients ask for the bit rate with a header that they never filled.
    auto* fields = structOf<OMX_VIDEO_CONFIG_BITRATETYPE>(params, size);
    if (index != OMX_IndexConfigVideoBitrate || fields == nullptr) {
        return BAD_VALUE;
    }
    fillHeader(fields, kOutputPort);
    fields->nEncodeBitrate = mSettings.bitRate;
    return OK;
}

status_t AvcEncoderParameters::setConfig(OMX_INDEXTYPE index, const void* params, size_t size) {
    if (index == OMX_IndexConfigVideoNalSize) {
        return setNalSize(params, size);
    }
    if (index == OMX_IndexConfigVideoBitrate) {
        return setConfigBitRate(params, size);
    }
    const auto* fields = ofOutputPort<OMX_CONFIG_INTRAREFRESHVOPTYPE>(params, size);
    if (index != OMX_IndexConfigVideoIntraVOPRefresh || fields == nullptr) {
        return BAD_VALUE;
    }
    mKeyFrameWanted = mKeyFrameWanted || wordOf(fields->IntraRefreshVOP) != OMX_FALSE;
    return OK;
}

bool AvcEncoderParameters::takeKeyFrameRequest() {
    const bool wanted = mKeyFrameWanted;
    mKeyFrameWanted = false;
    return wanted;
}

status_t AvcEncoderParameters::setPortFormatParameter(const void* params, size_t size) {
    const auto* fields = ofAnyPort<OMX_VIDEO_PARAM_PORTFORMATTYPE>(params, size);
    const status_t status = fields != nullptr ? mFormats.check(fields->nPortIndex, *fields) : BAD_VALUE;
    if (status == OK && fields->xFramerate != 0) {
        mSettings.frameRateQ16 = usableFrameRate(fields->xFramerate);
    }
    return status;
}

status_t AvcEncoderParameters::getBitRate(void* params, size_t size) const {
    auto* fields = ofOutputPort<OMX_VIDEO_PARAM_BITRATETYPE>(params, size);
    if (fields == nullptr) {
        return BAD_VALUE;
    }
    fillHeader(fields, kOutputPort);
    fields->eControlRate = mControlRate;
    fields->nTargetBitrate = mSettings.bitRate;
    return OK;
}

status_t AvcEncoderParameters::setBitRate(const void* params, size_t size) {
    const auto* fields = ofOutputPort<OMX_VIDEO_PARAM_BITRATETYPE>(params, size);
    if (fields == nullptr || !rateControlOf(wordOf(fields->eControlRate), &mSettings.rateControl)) {
        return BAD_VALUE;
    }
    mControlRate = fields->eControlRate;
    mSettings.bitRate = fields->nTargetBitrate;
    return OK;
}

status_t AvcEncoderParameters::getAvc(void* params, size_t size) const {
    auto* fields = ofOutputPort<OMX_VIDEO_PARAM_AVCTYPE>(params, size);
    if (fields == nullptr) {
        return BAD_VALUE;
    }
    memcpy(fields, &mAvc, sizeof(mAvc));
    fillHeader(fields, kOutputPort);
    return OK;
}

// No B frames: they would hold pictures back. Hints on how to search and predict are kept, not followed.
status_t AvcEncoderParameters::setAvc(const void* params, size_t size) {
    const auto* fields = ofOutputPort<OMX_VIDEO_PARAM_AVCTYPE>(params, size);
    const NamedProfile* profile = fields != nullptr ? profileOf(wordOf(fields->eProfile)) : nullptr;
    if (profile == nullptr || fields->nBFrames != 0) {
        return BAD_VALUE;
    }
    memcpy(&mAvc, fields, sizeof(mAvc));
    mSettings.profile = profile->profile;
    mSettings.cabac = wordOf(fields->bEntropyCodingCABAC) != OMX_FALSE;
    // The P frames between two I frames and one of these; "as many as can be" must not wrap to 0.
    mSettings.keyInterval = fields->nPFrames == UINT32_MAX ? UINT32_MAX : fields->nPFrames + 1;
    return OK;
}

status_t AvcEncoderParameters::getProfileLevel(OMX_INDEXTYPE index, void* params, size_t size) const {
    auto* fields = ofOutputPort<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(params, size);
    if (fields == nullptr) {
        return BAD_VALUE;
    }
    OMX_VIDEO_AVCPROFILETYPE profile = valueOf(mSettings.profile);
    OMX_U32 level = wordOf(mAvc.eLevel);
    if (index == OMX_IndexParamVideoProfileLevelQuerySupported) {
        if (fields->nProfileIndex >= std::size(kProfiles)) {
            return BAD_INDEX;
        }
        profile = kProfiles[fields->nProfileIndex].value;
        level = OMX_VIDEO_AVCLevel51;
    }
    fillHeader(fields, kOutputPort);
    fields->eProfile = profile;
    fields->eLevel = level;
    return OK;
}

// The level is a wish: the stream carries the one that its size and rates need.
status_t AvcEncoderParameters::setProfileLevel(const void* params, size_t size) {
    const auto* fields = ofOutputPort<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(params, size);
    const NamedProfile* profile = fields != nullptr ? profileOf(fields->eProfile) : nullptr;
    if (profile == nullptr) {
        return BAD_VALUE;
    }
    mSettings.profile = profile->profile;
    mAvc.eProfile = profile->value;
    memcpy(&mAvc.eLevel, &fields->eLevel, sizeof(mAvc.eLevel));
    return OK;
}

status_t AvcEncoderParameters::getNalSize(void* params, size_t size) const {
    auto* fields = ofOutputPort<OMX_VIDEO_CONFIG_NALSIZE>(params, size);
    if (fields == nullptr) {
        return BAD_VALUE;
    }
    fillHeader(fields, kOutputPort);
    fields->nNaluBytes = mSettings.maxNalSize;
    return OK;
}

// Slices of at most this size, from the next start on; 0: one slice a picture.
status_t AvcEncoderParameters::setNalSize(const void* params, size_t size) {
    const auto* fields = ofOutputPort<OMX_VIDEO_CONFIG_NALSIZE>(params, size);
    if (fields == nullptr || (fields->nNaluBytes != 0 && fields->nNaluBytes < kMinNalSize)) {
        return BAD_VALUE;
    }
    mSettings.maxNalSize = fields->nNaluBytes;
    return OK;
}

status_t AvcEncoderParameters::setConfigBitRate(const void* params, size_t size) {
    const auto* fields = ofOutputPort<OMX_VIDEO_CONFIG_BITRATETYPE>(params, size);
    if (fields == nullptr) {
        return BAD_VALUE;
    }
    mSettings.bitRate = fields->nEncodeBitrate;
    return OK;
}

}  // namespace zem
