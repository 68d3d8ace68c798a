#include "omx/qcom_omx_interface_audio_enc.h"

#include <OMX_Audio.h>

#include <memory>
#include <new>

#include "base/log.h"
#include "omx/result_codes.h"

QcomOmxInterfaceAudioEnc::QcomOmxInterfaceAudioEnc() {
    mHoldQueueWhileFilling = false;
    mPortBufferMode[kInputPort] = kSharedMemory;
    mPortBufferMode[kOutputPort] = kSharedMemory;
}

QcomOmxInterfaceAudioEnc::~QcomOmxInterfaceAudioEnc() {
    shutdown();
}

int QcomOmxInterfaceAudioEnc::Create(QcomOmxInterfaceAudioEnc** encoder, audioEncParams* params) {
    *encoder = nullptr;
    std::unique_ptr<QcomOmxInterfaceAudioEnc> created(new (std::nothrow) QcomOmxInterfaceAudioEnc);
    if (created == nullptr) {
        return OMX_RESULT_NO_INTERFACE;
    }
    if (params == nullptr) {
        *encoder = created.release();
        return OMX_RESULT_BAD_PARAMETERS;
    }
    if (params->componentName != nullptr) {
        created->mComponentName = params->componentName;
    }
    const int connected = created->setupIOMXConnections();
    if (connected != OMX_RESULT_OK) {
        return connected;
    }
    if (!created->configure(*params)) {
        LOGE("QCOMOMXINTERFACE - [ENC] Init: failed to setup params! (audio)");
        return OMX_RESULT_OK;
    }
    *encoder = created.release();
    return OMX_RESULT_OK;
}

bool QcomOmxInterfaceAudioEnc::configure(const audioEncParams& params) {
    LOGE("QCOMOMXINTERFACE - ENCODER CREATE: SETUP INPUT PORT PARAMS (%d, %d, %d, %d)", params.channels,
         params.bitRate, params.sampleRate, params.bitsPerSample);
    if (setupPortParamsForAudio(kInputPort, OMX_AUDIO_CodingPCM) != OMX_RESULT_OK) {
        LOGE("QCOMOMXINTERFACE - setupPortParamsForAudio 0 failed");
        return false;
    }
    if (setupAudioPCMProfile(kInputPort, params.channels, params.bitsPerSample, params.sampleRate) !=
        OMX_RESULT_OK) {
        return false;
    }
    LOGE("QCOMOMXINTERFACE - setupPortParamsForAudio ok");
    if (setupPortEncodingType(kOutputPort, OMX_AUDIO_CodingAAC) != OMX_RESULT_OK) {
        LOGE("QCOMOMXINTERFACE - setupPortEncodingType 1 failed");
        return false;
    }
    if (setupPortParamsForAudio(kOutputPort, OMX_AUDIO_CodingAAC) != OMX_RESULT_OK) {
        LOGE("QCOMOMXINTERFACE - setupPortParamsForAudio 1 failed");
        return false;
    }
    if (setupAudioAACProfile(kOutputPort, params.channels, params.bitRate, params.sampleRate) !=
        OMX_RESULT_OK) {
        return false;
    }
    LOGE("QCOMOMXINTERFACE - setupAudioAACProfile ok");
    return true;
}
