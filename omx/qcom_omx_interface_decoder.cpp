#include "omx/qcom_omx_interface_decoder.h"

#include <OMX_Component.h>

#include <cstring>
#include <new>

#include "base/log.h"
#include "omx/hardware_base.h"
#include "omx/omx_parameter.h"
#include "omx/result_codes.h"

namespace {

constexpr char kQualcommDecoder[] = "OMX.qcom.video.decoder.avc";
constexpr int kDecodingOrder = 1;
// After a change of size components first give what they had under way, damaged or of the old picture.
constexpr int kSkippedRounds = 5;

}  // namespace

QcomOmxInterfaceDecoder::QcomOmxInterfaceDecoder(int hardwareBase) {
    mHardwareBase = hardwareBase;
    mPortBufferMode[kInputPort] = hardwareBase == HW_BASE_EXYNOS ? kComponentAllocates : kSharedMemory;
    mPortBufferMode[kOutputPort] = kComponentAllocates;
    mHoldQueueWhileFilling = true;
}

QcomOmxInterfaceDecoder::~QcomOmxInterfaceDecoder() {
    shutdown();
}

int QcomOmxInterfaceDecoder::Create(QcomOmxInterfaceDecoder** decoder, decoderParams* params) {
    *decoder = nullptr;
    std::unique_ptr<QcomOmxInterfaceDecoder> created(new (std::nothrow)
                                                         QcomOmxInterfaceDecoder(params->hardwareBase));
    if (created == nullptr) {
        return OMX_RESULT_NO_INTERFACE;
    }
    const int connected = created->connectTo(params->componentName);
    if (connected != OMX_RESULT_OK) {
        return connected;
    }
    if (strcmp(created->mComponentName, kQualcommDecoder) != 0) {
        // The others lose packets that come faster than they return their buffers.
        created->mWaitAfterSendData = true;
    } else if (created->setPictureOrder(kDecodingOrder) != OMX_RESULT_OK) {
        return OMX_RESULT_PICTURE_ORDER;
    }
    *decoder = created.release();
    return OMX_RESULT_OK;
}

void QcomOmxInterfaceDecoder::adoptOutput(const OMX_PARAM_PORTDEFINITIONTYPE& definition) {
    mPortWidth[kOutputPort] = static_cast<int>(definition.format.video.nFrameWidth);
    mPortHeight[kOutputPort] = static_cast<int>(definition.format.video.nFrameHeight);
}

/// The filled queue stays locked, so that the output thread neither sees a half populated port nor
/// delivers before it is told what to skip.
int QcomOmxInterfaceDecoder::repopulatePort(int port) {
    const zem::QueueLock lock(*mFilledQueue);
    const int result = allocateBuffersOnPort(port);
    if (result != OMX_RESULT_OK) {
        mDeliveryStopped = true;
        return result;
    }
    mSkipOutputCount = kSkippedRounds * bufferCount(port);
    return OMX_RESULT_OK;
}
