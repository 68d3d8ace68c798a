// Port set-up that encoders, decoders and later components share.
#include <OMX_Component.h>

#include "base/log.h"
#include "omx/hardware_base.h"
#include "omx/omx_parameter.h"
#include "omx/qcom_omx_interface.h"
#include "omx/result_codes.h"

using android::status_t;

/// Fills in what a definition that was read says about pictures, and writes it back.
status_t QcomOmxInterface::writeVideoPort(OMX_PARAM_PORTDEFINITIONTYPE& definition, int width, int height,
                                          int frameRate, int bufferSize) {
    if (bufferSize > 0) {
        definition.nBufferSize = static_cast<OMX_U32>(bufferSize);
    }
    auto& video = definition.format.video;
    if (frameRate > 0) {
        video.xFramerate = static_cast<OMX_U32>(frameRate) << 16;  // Q16 fixed point
    }
    video.nFrameHeight = static_cast<OMX_U32>(height);
    video.nFrameWidth = static_cast<OMX_U32>(width);
    return mOmx->setParameter(mNode, OMX_IndexParamPortDefinition, &definition, sizeof definition);
}

int QcomOmxInterface::setupPortParameters(int port, int width, int height, int frameRate, int bufferSize) {
    mPortWidth[port] = width;
    mPortHeight[port] = height;
    auto definition = zem::preparedParameter<OMX_PARAM_PORTDEFINITIONTYPE>(static_cast<OMX_U32>(port));
    if (mOmx->getParameter(mNode, OMX_IndexParamPortDefinition, &definition, sizeof definition) !=
        android::OK) {
        return OMX_RESULT_GET_PORT;
    }
    // On the output port too: components that check it there exist, none that mind it.
    definition.format.video.eColorFormat =
        mHardwareBase == HW_BASE_TARN ? OMX_COLOR_FormatYUV420Planar : OMX_COLOR_FormatYUV420SemiPlanar;
    const status_t status = writeVideoPort(definition, width, height, frameRate, bufferSize);
    if (status != android::OK) {
        LOGE("QCOMOMXINTERFACE - SETUP PORT PARAMETERS: Set Port Definition Failed: %d\n", status);
        return OMX_RESULT_SET_PORT;
    }
    return OMX_RESULT_OK;
}

int QcomOmxInterface::setupPortParamsForDecoder(int port, int width, int height, int frameRate,
                                                int bufferSize) {
    mPortWidth[port] = width;
    mPortHeight[port] = height;
    auto definition = zem::preparedParameter<OMX_PARAM_PORTDEFINITIONTYPE>(static_cast<OMX_U32>(port));
    if (mOmx->getParameter(mNode, OMX_IndexParamPortDefinition, &definition, sizeof definition) !=
        android::OK) {
        return OMX_RESULT_GET_PORT;
    }
    const status_t status = writeVideoPort(definition, width, height, frameRate, bufferSize);
    if (status != android::OK) {
        LOGE("QCOMOMXINTERFACE - SETUP PORT PARAMETERS: Set Port Definition Failed (for decoder): %d\n",
             status);
        return OMX_RESULT_SET_PORT;
    }
    return OMX_RESULT_OK;
}
