#include "omx/qcom_omx_interface_encoder.h"

#include <OMX_Component.h>

#include <new>

#include "base/log.h"
#include "omx/hardware_base.h"
#include "omx/omx_parameter.h"
#include "omx/result_codes.h"

QcomOmxInterfaceEncoder::QcomOmxInterfaceEncoder(int hardwareBase) {
    mHardwareBase = hardwareBase;
    mHoldQueueWhileFilling = false;
    // Exynos and Tarn components reach pixels only in memory of their own making.
    const bool ownInput = hardwareBase == HW_BASE_EXYNOS || hardwareBase == HW_BASE_TARN;
    mPortBufferMode[kInputPort] = ownInput ? kComponentAllocates : kSharedMemory;
    mPortBufferMode[kOutputPort] = hardwareBase == HW_BASE_EXYNOS ? kComponentAllocates : kSharedMemory;
}

QcomOmxInterfaceEncoder::~QcomOmxInterfaceEncoder() {
    shutdown();
}

int QcomOmxInterfaceEncoder::Create(QcomOmxInterfaceEncoder** encoder, encoderParams* params) {
    *encoder = nullptr;
    std::unique_ptr<QcomOmxInterfaceEncoder> created(new (std::nothrow)
                                                         QcomOmxInterfaceEncoder(params->hardwareBase));
    if (created == nullptr) {
        return OMX_RESULT_NO_INTERFACE;
    }
    LOGI("video enc param [%d, %d, %d, %d, %d, %d]", params->width, params->height, params->frameRate,
         params->controlRate, params->bitRate, params->iFrameInterval);
    int result = created->connectTo(params->componentName);
    if (result != OMX_RESULT_OK) {
        return result;
    }
    result = created->configure(*params);
    if (result != OMX_RESULT_OK) {
        LOGE("QCOMOMXINTERFACE - [ENC] Init: failed to setup params!");
        return result;
    }
    *encoder = created.release();
    return OMX_RESULT_OK;
}

int QcomOmxInterfaceEncoder::configure(const encoderParams& params) {
    // Samsung components propose an input buffer that is too small for a frame of pixels.
    const int inputSize = (params.hardwareBase & HW_FAMILY_SAMSUNG) != 0 ? 1024000 : 0;
    int result = setupPortParameters(kInputPort, params.width, params.height, params.frameRate, inputSize);
    if (result == OMX_RESULT_OK) {
        result = setupPortParameters(kOutputPort, params.width, params.height, params.frameRate, 0);
    }
    if (result == OMX_RESULT_OK) {
        result =
            setupPortBitRate(kOutputPort, params.bitRate, params.width, params.height, params.hardwareBase);
    }
    if (result == OMX_RESULT_OK) {
        result = setupRateControl(params.controlRate, params.bitRate);
    }
    if (result == OMX_RESULT_OK && params.iFrameInterval != 0) {
        result = setupFrameControl(params.iFrameInterval, params.hardwareBase);
    }
    return result;
}

int QcomOmxInterfaceEncoder::setupPortBitRate(int port, int bitRate, int width, int height,
                                              int hardwareBase) {
    return zem::changeParameter<OMX_PARAM_PORTDEFINITIONTYPE>(
        *mOmx, mNode, OMX_IndexParamPortDefinition, port,
        {"QCOMOMXINTERFACE - BITRATE: ERROR getting port definition: ", OMX_RESULT_GET_PORT},
        {"QCOMOMXINTERFACE - BITRATE: ERROR setting port definition: ", OMX_RESULT_SET_PORT},
        [=](OMX_PARAM_PORTDEFINITIONTYPE& definition) {
            definition.format.video.nBitrate = static_cast<OMX_U32>(bitRate);
            if (hardwareBase == HW_BASE_EXYNOS) {
                // Half of an uncompressed 4:2:0 frame: no unit is larger.
                definition.nBufferSize = static_cast<OMX_U32>(int64_t{width} * height * 3 / 4);
            }
        });
}

int QcomOmxInterfaceEncoder::setupRateControl(int controlRate, int bitRate) {
    return zem::changeParameter<OMX_VIDEO_PARAM_BITRATETYPE>(
        *mOmx, mNode, OMX_IndexParamVideoBitrate, kOutputPort,
        {"QCOMOMXINTERFACE - RATE CONTROL: ERROR getting bitrate parameters: ", OMX_RESULT_GET_BITRATE},
        {"QCOMOMXINTERFACE - RATE CONTROL: ERROR setting bitrate parameters: ", OMX_RESULT_SET_BITRATE},
        [=](OMX_VIDEO_PARAM_BITRATETYPE& rate) {
            rate.eControlRate = static_cast<OMX_VIDEO_CONTROLRATETYPE>(controlRate);
            rate.nTargetBitrate = static_cast<OMX_U32>(bitRate);
        });
}

namespace {

/// Samsung components start with coding tools switched on that receivers in the field cannot decode.
void restrictCodingTools(OMX_VIDEO_PARAM_AVCTYPE& avc) {
    avc.nSliceHeaderSpacing = 0;
    avc.bUseHadamard = OMX_TRUE;
    avc.nRefFrames = 1;
    if (avc.nPFrames == 0) {
        avc.nAllowedPictureTypes = 1;
    }
    avc.nRefIdx10ActiveMinus1 = 0;
    avc.nRefIdx11ActiveMinus1 = 0;
    avc.bEntropyCodingCABAC = OMX_FALSE;
    avc.bWeightedPPrediction = OMX_FALSE;
    avc.bconstIpred = OMX_FALSE;
    avc.bDirect8x8Inference = OMX_FALSE;
    avc.bDirectSpatialTemporal = OMX_FALSE;
    avc.nCabacInitIdc = 0;
}

}  // namespace

int QcomOmxInterfaceEncoder::setupFrameControl(int iFrameInterval, int hardwareBase) {
    return zem::changeParameter<OMX_VIDEO_PARAM_AVCTYPE>(
        *mOmx, mNode, OMX_IndexParamVideoAvc, kOutputPort,
        {"QCOMOMXINTERFACE - RATE CONTROL: ERROR getting video avc parameters: ", OMX_RESULT_GET_BITRATE},
        {"QCOMOMXINTERFACE - setupFrameControl: ERROR : ", OMX_RESULT_APPLICATION},
        [=](OMX_VIDEO_PARAM_AVCTYPE& avc) {
            if ((hardwareBase & HW_FAMILY_SAMSUNG) != 0) {
                restrictCodingTools(avc);
            }
            avc.nPFrames = static_cast<OMX_U32>(iFrameInterval);
            avc.nBFrames = 0;
        });
}

int QcomOmxInterfaceEncoder::setupNalSize() {
    auto nal = zem::preparedParameter<OMX_VIDEO_CONFIG_NALSIZE>(kOutputPort);
    // By the parameter calls although it is a config index: that is where the components answer it.
    if (mOmx->getParameter(mNode, OMX_IndexConfigVideoNalSize, &nal, sizeof nal) != android::OK) {
        return OMX_RESULT_APPLICATION;
    }
    nal.nNaluBytes = 1500;
    if (mOmx->setParameter(mNode, OMX_IndexConfigVideoNalSize, &nal, sizeof nal) != android::OK) {
        return OMX_RESULT_APPLICATION;
    }
    return OMX_RESULT_OK;
}

// The two run-time requests leave size and version unfilled: the components accept them so, and some
// answer differently when they are filled.

int QcomOmxInterfaceEncoder::requestIFrame() {
    OMX_CONFIG_INTRAREFRESHVOPTYPE refresh{};
    refresh.nPortIndex = kOutputPort;
    refresh.IntraRefreshVOP = OMX_TRUE;
    if (mOmx->setConfig(mNode, OMX_IndexConfigVideoIntraVOPRefresh, &refresh, sizeof refresh) !=
        android::OK) {
        return OMX_RESULT_IFRAME;
    }
    return OMX_RESULT_OK;
}

int QcomOmxInterfaceEncoder::updateBitRate(int bitRate) {
    OMX_VIDEO_CONFIG_BITRATETYPE config{};
    if (mOmx->getConfig(mNode, OMX_IndexConfigVideoBitrate, &config, sizeof config) != android::OK) {
        return OMX_RESULT_GET_BITRATE;
    }
    config.nPortIndex = kOutputPort;
    config.nEncodeBitrate = static_cast<OMX_U32>(bitRate);
    if (mOmx->setConfig(mNode, OMX_IndexConfigVideoBitrate, &config, sizeof config) != android::OK) {
        return OMX_RESULT_SET_BITRATE;
    }
    return OMX_RESULT_OK;
}
