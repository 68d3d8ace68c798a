// What a decoder component is told before it starts.
#include <OMX_Component.h>

#include "base/log.h"
#include "omx/omx_parameter.h"
#include "omx/qcom_omx_interface_decoder.h"
#include "omx/qcom_vendor_parameters.h"
#include "omx/result_codes.h"

using android::status_t;

namespace {

// More than components propose: pictures may wait for Java while the decoder goes on.
constexpr OMX_U32 kOutputBuffers = 15;

template <typename Parameter>
status_t setVendorParameter(android::IOMX& omx, android::IOMX::node_id node, OMX_U32 index,
                            const Parameter& parameter) {
    return omx.setParameter(node, static_cast<OMX_INDEXTYPE>(index), &parameter, sizeof parameter);
}

}  // namespace

int QcomOmxInterfaceDecoder::setPictureOrder(int order) {
    zem::QcomPictureOrder parameter{};  // without a version: the components refuse none and ask for none
    parameter.nSize = sizeof parameter;
    parameter.nPortIndex = kInputPort;
    if (order == 0 || order == 1) {
        parameter.eOutputPictureOrder = order == 0 ? 1 : 2;
    }
    const status_t status = setVendorParameter(*mOmx, mNode, zem::kQcomIndexPictureOrder, parameter);
    if (status != android::OK) {
        LOGE("QCOMOMXINTERFACE: Set Decode Order Failed: %d", status);
        return OMX_RESULT_PICTURE_ORDER;
    }
    return OMX_RESULT_OK;
}

int QcomOmxInterfaceDecoder::setInputPackingFormat(int format) {
    auto parameter = zem::preparedParameter<zem::QcomFramePacking>(kInputPort);
    parameter.nVersion.s.nVersionMinor = 1;
    if (format == 1 || format == 2) {
        parameter.eFramePackingFormat = format == 1 ? 3 : 1;
    }
    const status_t status = setVendorParameter(*mOmx, mNode, zem::kQcomIndexFramePacking, parameter);
    if (status != android::OK) {
        LOGE("QCOMOMXINTERFACE - Could not set input frame packing format (%d)", status);
        return OMX_RESULT_FRAME_PACKING;
    }
    return OMX_RESULT_OK;
}

int QcomOmxInterfaceDecoder::setInputCompressionFormat(int format) {
    static constexpr OMX_VIDEO_CODINGTYPE kCodings[] = {OMX_VIDEO_CodingAVC, OMX_VIDEO_CodingMPEG4,
                                                        OMX_VIDEO_CodingH263, OMX_VIDEO_CodingWMV};
    constexpr int kCodingCount = sizeof kCodings / sizeof kCodings[0];
    OMX_PARAM_PORTDEFINITIONTYPE definition{};  // without a size: the components take it so
    definition.nVersion.s.nVersionMajor = 1;
    definition.nVersion.s.nVersionMinor = 1;
    definition.nPortIndex = kInputPort;
    status_t status = mOmx->getParameter(mNode, OMX_IndexParamPortDefinition, &definition, sizeof definition);
    if (status != android::OK) {
        LOGE("QCOMOMXINTERFACE - Could not get parameters for Video Compression Format (%d)", status);
        return -1;
    }
    if (format >= 0 && format < kCodingCount) {
        definition.format.video.eCompressionFormat = kCodings[format];
    }
    status = mOmx->setParameter(mNode, OMX_IndexParamPortDefinition, &definition, sizeof definition);
    if (status != android::OK) {
        LOGE("QCOMOMXINTERFACE - Could not set Video Compression Format");
        return -1;
    }
    return 0;
}

// The texts speak of a bit rate, which nothing here sets: log readers in the field know them so.
int QcomOmxInterfaceDecoder::setupPortDef(int port) {
    return zem::changeParameter<OMX_PARAM_PORTDEFINITIONTYPE>(
        *mOmx, mNode, OMX_IndexParamPortDefinition, port,
        {"QCOMOMXINTERFACE - BITRATE: ERROR getting port definition: ", OMX_RESULT_GET_PORT},
        {"QCOMOMXINTERFACE - BITRATE: ERROR setting port definition: ", OMX_RESULT_SET_PORT},
        [=](OMX_PARAM_PORTDEFINITIONTYPE& definition) {
            if (port == kOutputPort) {
                definition.nBufferCountActual = kOutputBuffers;
            }
        });
}
