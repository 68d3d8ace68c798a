#include "omx/qcom_omx_interface_audio_enc.h"

#include <OMX_Audio.h>

#include "base/log.h"
#include "omx/create_audio_component.h"
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
    return zem::createAudioComponent(encoder, params, &QcomOmxInterfaceAudioEnc::configure);
}

bool QcomOmxInterfaceAudioEnc::configure(const audioEncParams& params) {
    const bool done = configurePorts(params);
    if (!done) {
        LOGE("QCOMOMXINTERFACE - [ENC] Init: failed to setup params! (audio)");
    }
    return done;
}

bool QcomOmxInterfaceAudioEnc::configurePorts(const audioEncParams& params) {
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
