#include "omx/qcom_omx_interface_audio_dec.h"

#include <memory>
#include <new>

#include "base/log.h"
#include "omx/result_codes.h"

QcomOmxInterfaceAudioDec::QcomOmxInterfaceAudioDec() {
    mHoldQueueWhileFilling = true;
    mPortBufferMode[kInputPort] = kSharedMemory;
    mPortBufferMode[kOutputPort] = kComponentAllocates;
}

QcomOmxInterfaceAudioDec::~QcomOmxInterfaceAudioDec() {
    shutdown();
}

int QcomOmxInterfaceAudioDec::Create(QcomOmxInterfaceAudioDec** decoder, audioEncParams* params) {
    *decoder = nullptr;
    std::unique_ptr<QcomOmxInterfaceAudioDec> created(new (std::nothrow) QcomOmxInterfaceAudioDec);
    if (created == nullptr) {
        return OMX_RESULT_NO_INTERFACE;
    }
    if (params == nullptr) {
        *decoder = created.release();
        return OMX_RESULT_BAD_PARAMETERS;
    }
    if (params->componentName != nullptr) {
        created->mComponentName = params->componentName;
    }
    const int connected = created->setupIOMXConnections();
    if (connected != OMX_RESULT_OK) {
        return connected;
    }
    if (created->setupPortParamsForAacDec() != OMX_RESULT_OK ||
        created->setupAudioProfile(params->channels, params->bitsPerSample, params->sampleRate) !=
            OMX_RESULT_OK) {
        LOGE("QCOMOMXINTERFACE - [AUD DEC] Init: failed to setup params! (audio)");
        return OMX_RESULT_OK;
    }
    *decoder = created.release();
    return OMX_RESULT_OK;
}
