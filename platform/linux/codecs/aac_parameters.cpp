#include "platform/linux/codecs/aac_parameters.h"

#include "base/log.h"
#include "platform/linux/codecs/parameter_fields.h"

namespace zem {
namespace {

using android::BAD_VALUE;
using android::INVALID_OPERATION;
using android::OK;
using android::status_t;

constexpr OMX_U32 kBufferCountMin = 2;
constexpr OMX_U32 kBufferCount = 8;
// Of an encoder, four blocks as system audio comes in; of a decoder, more than any unit decodes to.
constexpr OMX_U32 kPcmBufferSize = 16384;
// Several units, which decoders take end to end; an encoder puts out one a buffer, the largest with ease.
constexpr OMX_U32 kAacBufferSize = 8192;
constexpr OMX_U32 kBitsPerSample = 16;

}  // namespace

void AacParameters::describePort(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE* definition) const {
    definition->eDomain = OMX_PortDomainAudio;
    definition->nBufferCountMin = kBufferCountMin;
    definition->nBufferCountActual = kBufferCount;
    definition->nBufferSize = port == mPcmPort ? kPcmBufferSize : kAacBufferSize;
    definition->format.audio.eEncoding = codingOf(port);
}

status_t AacParameters::setPortFormat(OMX_U32 port, const OMX_PARAM_PORTDEFINITIONTYPE& wanted) {
    return checkCoding(port, wanted.format.audio.eEncoding);
}

status_t AacParameters::getParameter(OMX_INDEXTYPE index, void* params, size_t size) const {
    switch (wordOf(index)) {
        case OMX_IndexParamAudioPortFormat:
            return getOnlyFormat<OMX_AUDIO_PARAM_PORTFORMATTYPE>(
                params, size, [this](auto* fields) { fields->eEncoding = codingOf(fields->nPortIndex); });
        case OMX_IndexParamAudioPcm:
            return getPcm(params, size);
        case OMX_IndexParamAudioAac:
            return getAac(params, size);
        default:
            return BAD_VALUE;
    }
}

status_t AacParameters::setParameter(OMX_INDEXTYPE index, const void* params, size_t size) {
    switch (wordOf(index)) {
        case OMX_IndexParamAudioPortFormat: {
            const auto* fields = ofAnyPort<OMX_AUDIO_PARAM_PORTFORMATTYPE>(params, size);
            return fields != nullptr ? checkCoding(fields->nPortIndex, fields->eEncoding) : BAD_VALUE;
        }
        case OMX_IndexParamAudioPcm:
            return setPcm(params, size);
        case OMX_IndexParamAudioAac:
            return setAac(params, size);
        default:
            return BAD_VALUE;
    }
}

status_t AacParameters::checkCoding(OMX_U32 port, const OMX_AUDIO_CODINGTYPE& coding) const {
    if (wordOf(coding) == wordOf(codingOf(port))) {
        return OK;
    }
    LOGE("AAC component: port %u: coding %u is refused, it has %u", port, wordOf(coding), codingOf(port));
    return INVALID_OPERATION;
}

status_t AacParameters::getPcm(void* params, size_t size) const {
    auto* fields = structOf<OMX_AUDIO_PARAM_PCMMODETYPE>(params, size);
    if (fields == nullptr || fields->nPortIndex != mPcmPort) {
        return BAD_VALUE;
    }
    *fields = {};
    fillHeader(fields, mPcmPort);
    fields->nChannels = mFormat.channels;
    fields->eNumData = OMX_NumericalDataSigned;
    fields->eEndian = OMX_EndianLittle;
    fields->bInterleaved = OMX_TRUE;
    fields->nBitPerSample = kBitsPerSample;
    fields->nSamplingRate = mFormat.rate;
    fields->ePCMMode = OMX_AUDIO_PCMModeLinear;
    const bool mono = mFormat.channels == 1;
    fields->eChannelMapping[0] = mono ? OMX_AUDIO_ChannelCF : OMX_AUDIO_ChannelLF;
    fields->eChannelMapping[1] = mono ? OMX_AUDIO_ChannelNone : OMX_AUDIO_ChannelRF;
    return OK;
}

status_t AacParameters::setPcm(const void* params, size_t size) {
    const auto* fields = structOf<OMX_AUDIO_PARAM_PCMMODETYPE>(params, size);
    if (fields == nullptr || fields->nPortIndex != mPcmPort) {
        return BAD_VALUE;
    }
    const AudioFormat format{fields->nSamplingRate, fields->nChannels};
    const bool interleaved = format.channels == 1 || wordOf(fields->bInterleaved) != OMX_FALSE;
    if (!aacHasFormat(format) || fields->nBitPerSample != kBitsPerSample || !interleaved ||
        wordOf(fields->eNumData) != OMX_NumericalDataSigned ||
        wordOf(fields->ePCMMode) != OMX_AUDIO_PCMModeLinear) {
        LOGE("AAC component: PCM of %u channels, %u Hz, %u bits is refused (mono or stereo, an AAC rate, 16)",
             format.channels, format.rate, fields->nBitPerSample);
        return BAD_VALUE;
    }
    mFormat = format;
    return OK;
}

status_t AacParameters::getAac(void* params, size_t size) const {
    auto* fields = structOf<OMX_AUDIO_PARAM_AACPROFILETYPE>(params, size);
    if (fields == nullptr || fields->nPortIndex == mPcmPort || fields->nPortIndex >= kPortCount) {
        return BAD_VALUE;
    }
    *fields = {};
    fillHeader(fields, 1 - mPcmPort);
    fields->nChannels = mFormat.channels;
    fields->nSampleRate = mFormat.rate;
    fields->nBitRate = mBitRate;
    fields->nFrameLength = kSamplesPerUnit;
    fields->eAACProfile = OMX_AUDIO_AACObjectLC;
    fields->eAACStreamFormat = OMX_AUDIO_AACStreamFormatMP4FF;
    fields->eChannelMode = mFormat.channels == 1 ? OMX_AUDIO_ChannelModeMono : OMX_AUDIO_ChannelModeStereo;
    return OK;
}

status_t AacParameters::setAac(const void* params, size_t size) {
    const auto* fields = structOf<OMX_AUDIO_PARAM_AACPROFILETYPE>(params, size);
    if (fields == nullptr || fields->nPortIndex == mPcmPort || fields->nPortIndex >= kPortCount) {
        return BAD_VALUE;
    }
    const OMX_U32 form = wordOf(fields->eAACStreamFormat);
    const bool raw = form == OMX_AUDIO_AACStreamFormatMP4FF || form == OMX_AUDIO_AACStreamFormatRAW;
    if (!raw || wordOf(fields->eAACProfile) != OMX_AUDIO_AACObjectLC) {
        LOGE("AAC component: profile %u in stream format %u is refused (low complexity, raw units)",
             wordOf(fields->eAACProfile), form);
        return BAD_VALUE;
    }
    mBitRate = fields->nBitRate;
    return OK;
}

}  // namespace zem
