// What AAC components are told before they start. All lines are errors by level, successes too: log
// readers in the field look for them there.
#include <OMX_Audio.h>
#include <OMX_Component.h>

#include "base/log.h"
#include "omx/omx_parameter.h"
#include "omx/qcom_omx_interface_audio_dec.h"
#include "omx/qcom_omx_interface_audio_enc.h"
#include "omx/result_codes.h"

using android::status_t;

namespace {

// The walk ends when the component refuses an index; one that never does is stopped here.
constexpr OMX_U32 kMostFormats = 256;
// More than components propose, so that neither side starves at 20 ms a unit; AAC of any rate fits the
// one, six units of stereo PCM the other.
constexpr OMX_U32 kDecoderBuffers = 8;
constexpr OMX_U32 kAacBufferBytes = 8192;
constexpr OMX_U32 kPcmBufferBytes = 24576;
// Components keep the addresses. OpenMAX asks for writable texts, and nobody writes to them.
constexpr char kAacType[] = "audio/aac";
constexpr char kPcmType[] = "audio/raw";

// What the components exchange with the media service byte for byte.
static_assert(sizeof(OMX_AUDIO_PARAM_PORTFORMATTYPE) == 20, "");
static_assert(sizeof(OMX_AUDIO_PARAM_PCMMODETYPE) == 104, "");
static_assert(sizeof(OMX_AUDIO_PARAM_AACPROFILETYPE) == 52, "");

template <typename Parameter>
Parameter parameterOf(int port) {
    return zem::preparedParameter<Parameter>(static_cast<OMX_U32>(port));
}

void fillDecoderPort(OMX_PARAM_PORTDEFINITIONTYPE& definition, OMX_DIRTYPE direction, OMX_U32 bufferSize,
                     OMX_U32 alignment, const char* type, OMX_AUDIO_CODINGTYPE coding) {
    definition.eDir = direction;
    definition.nBufferCountActual = kDecoderBuffers;
    definition.nBufferCountMin = kDecoderBuffers;
    definition.nBufferSize = bufferSize;
    definition.bEnabled = OMX_TRUE;
    definition.bPopulated = OMX_FALSE;
    definition.eDomain = OMX_PortDomainAudio;
    definition.format.audio.cMIMEType = const_cast<char*>(type);
    definition.format.audio.pNativeRender = nullptr;
    definition.format.audio.bFlagErrorConcealment = OMX_FALSE;
    definition.format.audio.eEncoding = coding;
    definition.bBuffersContiguous = OMX_FALSE;
    definition.nBufferAlignment = alignment;
}

}  // namespace

int QcomOmxInterface::setupPortParamsForAudio(int port, int audioFormat) {
    LOGE("setupPortParamsForAudio is called");
    auto definition = parameterOf<OMX_PARAM_PORTDEFINITIONTYPE>(port);
    status_t status = mOmx->getParameter(mNode, OMX_IndexParamPortDefinition, &definition, sizeof definition);
    if (status != android::OK) {
        LOGE("QCOMOMXINTERFACE - SETUP PORT DEFINITION PARAMETERS: Get Port Params Failed (audio): %d\n",
             status);
        return OMX_RESULT_GET_PORT;
    }
    definition.format.audio.eEncoding = static_cast<OMX_AUDIO_CODINGTYPE>(audioFormat);
    if (port == kOutputPort) {
        definition.format.audio.bFlagErrorConcealment = OMX_TRUE;
    }
    status = mOmx->setParameter(mNode, OMX_IndexParamPortDefinition, &definition, sizeof definition);
    if (status != android::OK) {
        LOGE("QCOMOMXINTERFACE - SETUP PORT DEFINITION PARAMETERS: Set Port Definition Failed (audio): %d\n",
             status);
        return OMX_RESULT_SET_PORT;
    }
    return OMX_RESULT_OK;
}

// A component that lists no AAC gets back what its last refusal left, and says itself whether that will do.
int QcomOmxInterfaceAudioEnc::setupPortEncodingType(int port, int /*audioFormat*/) {
    LOGE("setupPortEncodingType is called");
    OMX_AUDIO_PARAM_PORTFORMATTYPE format{};
    status_t status = android::OK;
    for (OMX_U32 index = 0; index < kMostFormats && status == android::OK; index++) {
        format = parameterOf<OMX_AUDIO_PARAM_PORTFORMATTYPE>(port);
        format.nIndex = index;
        status = mOmx->getParameter(mNode, OMX_IndexParamAudioPortFormat, &format, sizeof format);
        if (status != android::OK) {
            LOGE("QCOMOMXINTERFACE - BITRATE: ERROR getting port format: %d", status);
        } else if (format.eEncoding == OMX_AUDIO_CodingAAC) {
            break;
        }
    }
    status = mOmx->setParameter(mNode, OMX_IndexParamAudioPortFormat, &format, sizeof format);
    if (status != android::OK) {
        LOGE("QCOMOMXINTERFACE - BITRATE: ERROR setting port format: %d", status);
        return OMX_RESULT_SET_PORT;
    }
    return OMX_RESULT_OK;
}

int QcomOmxInterfaceAudioEnc::setupAudioPCMProfile(int port, int channels, int bitsPerSample,
                                                   int sampleRate) {
    LOGE("setupAudioPCMProfile is called");
    return zem::changeParameter<OMX_AUDIO_PARAM_PCMMODETYPE>(
        *mOmx, mNode, OMX_IndexParamAudioPcm, port,
        {"QCOMOMXINTERFACE - RATE CONTROL: ERROR get PCM Profile : ", OMX_RESULT_GET_BITRATE},
        {"QCOMOMXINTERFACE - RATE CONTROL: ERROR set PCM Profile : ", OMX_RESULT_SET_BITRATE},
        [=](OMX_AUDIO_PARAM_PCMMODETYPE& pcm) {
            pcm.nChannels = static_cast<OMX_U32>(channels);
            pcm.eNumData = OMX_NumericalDataSigned;
            pcm.bInterleaved = OMX_TRUE;
            pcm.nBitPerSample = static_cast<OMX_U32>(bitsPerSample);
            pcm.nSamplingRate = static_cast<OMX_U32>(sampleRate);
            pcm.ePCMMode = OMX_AUDIO_PCMModeLinear;
        });
}

int QcomOmxInterfaceAudioEnc::setupAudioAACProfile(int port, int channels, int bitRate, int sampleRate) {
    LOGE("setupAudioAACProfile is called");
    return zem::changeParameter<OMX_AUDIO_PARAM_AACPROFILETYPE>(
        *mOmx, mNode, OMX_IndexParamAudioAac, port,
        {"QCOMOMXINTERFACE - RATE CONTROL: ERROR get AAC Profile : ", OMX_RESULT_GET_BITRATE},
        {"QCOMOMXINTERFACE - RATE CONTROL: ERROR set AAC Profile : ", OMX_RESULT_SET_BITRATE},
        [=](OMX_AUDIO_PARAM_AACPROFILETYPE& aac) {
            aac.nChannels = static_cast<OMX_U32>(channels);
            aac.nSampleRate = static_cast<OMX_U32>(sampleRate);
            aac.nBitRate = static_cast<OMX_U32>(bitRate);
            aac.nAudioBandWidth = 0;
            aac.nFrameLength = 0;
            aac.nAACtools = 0;
            aac.nAACERtools = 0;
            aac.eAACProfile = OMX_AUDIO_AACObjectLC;
            aac.eAACStreamFormat = OMX_AUDIO_AACStreamFormatMP4FF;
            aac.eChannelMode = channels == 1 ? OMX_AUDIO_ChannelModeMono : OMX_AUDIO_ChannelModeStereo;
        });
}

int QcomOmxInterfaceAudioDec::setupPortParamsForAacDec() {
    LOGE("setupPortParamsForAudio is called");
    for (const int port : {kInputPort, kOutputPort}) {
        auto definition = parameterOf<OMX_PARAM_PORTDEFINITIONTYPE>(port);
        status_t status =
            mOmx->getParameter(mNode, OMX_IndexParamPortDefinition, &definition, sizeof definition);
        if (status != android::OK) {
            LOGE(
                "QCOMOMXINTERFACE - SETUP PORT DEFINITION PARAMETERS: Get Port Params Failed (audio port "
                "%d): %d\n",
                port, status);
            return OMX_RESULT_GET_PORT;
        }
        if (port == kInputPort) {
            fillDecoderPort(definition, OMX_DirInput, kAacBufferBytes, 1, kAacType, OMX_AUDIO_CodingAAC);
        } else {
            fillDecoderPort(definition, OMX_DirOutput, kPcmBufferBytes, 2, kPcmType, OMX_AUDIO_CodingPCM);
        }
        status = mOmx->setParameter(mNode, OMX_IndexParamPortDefinition, &definition, sizeof definition);
        if (status != android::OK) {
            LOGE(
                "QCOMOMXINTERFACE - SETUP PORT DEFINITION PARAMETERS: Set Port Definition Failed (audio "
                "port %d): %d\n",
                port, status);
            return OMX_RESULT_SET_PORT;
        }
    }
    return OMX_RESULT_OK;
}

int QcomOmxInterfaceAudioDec::setupAudioProfile(int channels, int bitsPerSample, int sampleRate) {
    return zem::changeParameter<OMX_AUDIO_PARAM_PCMMODETYPE>(
        *mOmx, mNode, OMX_IndexParamAudioPcm, kOutputPort,
        {"QCOMOMXINTERFACE - RATE CONTROL: ERROR getting bitrate parameters: ", OMX_RESULT_GET_BITRATE},
        {"QCOMOMXINTERFACE - RATE CONTROL: ERROR setting bitrate parameters: ", OMX_RESULT_SET_BITRATE},
        [=](OMX_AUDIO_PARAM_PCMMODETYPE& pcm) {
            pcm.nChannels = static_cast<OMX_U32>(channels);
            pcm.nBitPerSample = static_cast<OMX_U32>(bitsPerSample);
            pcm.nSamplingRate = static_cast<OMX_U32>(sampleRate);
        });
}

int QcomOmxInterfaceAudioDec::setupPortEncodingType(int port, int audioFormat) {
    return zem::changeParameter<OMX_AUDIO_PARAM_PORTFORMATTYPE>(
        *mOmx, mNode, OMX_IndexParamAudioPortFormat, port,
        {"QCOMOMXINTERFACE - BITRATE: ERROR getting port definition: ", OMX_RESULT_GET_PORT},
        {"QCOMOMXINTERFACE - BITRATE: ERROR setting port definition: ", OMX_RESULT_SET_PORT},
        [=](OMX_AUDIO_PARAM_PORTFORMATTYPE& format) {
            format.eEncoding = static_cast<OMX_AUDIO_CODINGTYPE>(audioFormat);
        });
}
