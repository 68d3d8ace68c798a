#include "omx/qcom_omx_interface_audio_dec.h"

#include "base/log.h"
#include "omx/create_audio_component.h"
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
    return zem::createAudioComponent(decoder, params, &QcomOmxInterfaceAudioDec::configure);
}

bool QcomOmxInterfaceAudioDec::configure(const audioEncParams& params) {
    if (setupPortParamsForAacDec() != OMX_RESULT_OK ||
        setupAudioProfile(params.channels, params.bitsPerSample, params.sampleRate) != OMX_RESULT_OK) {
        LOGE("QCOMOMXINTERFACE - [AUD DEC] Init: failed to setup params! (audio)");
        return false;
    }
    return true;
}
