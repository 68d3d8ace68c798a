#include "omx/qcom_omx_interface_decoder.h"

#include <OMX_Component.h>

#include <cstring>
#include <new>

#include "base/log.h"
#include "omx/hardware_base.h"
#include "omx/omx_parameter.h"
#include "omx/result_codes.h"

using android::status_t;

namespace {

constexpr char kQualcommDecoder[] = "OMX.qcom.video.decoder.avc";
constexpr int kDecodingOrder = 1;
constexpr int kReturnLimitMillis = 3000;
// After a change of size components first give what they had under way, damaged or of the old picture.
constexpr int kSkippedRounds = 5;

}  // namespace

QcomOmxInterfaceDecoder::QcomOmxInterfaceDecoder(int hardwareBase) : mEventQueue(new SimpleQueue) {
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
    if (params->componentName != nullptr) {
        created->mComponentName = params->componentName;
    }
    const int connected = created->setupIOMXConnections();
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

void QcomOmxInterfaceDecoder::onEvent(OMX_EVENTTYPE event, unsigned long data1, unsigned long data2) {
    switch (static_cast<OMX_U32>(event)) {
        case OMX_EventError:
            setThreadError(OMX_RESULT_EVENT_ERROR);
            mFrameIsLast = true;
            mLastFrameSem.post();
            break;
        case OMX_EventCmdComplete: {
            const int result = onCommandComplete(static_cast<OMX_COMMANDTYPE>(data1), data2);
            if (result != OMX_RESULT_OK) {
                setThreadError(result);
            }
            break;
        }
        case OMX_EventPortSettingsChanged:
            if (mOmxState != OMX_StateExecuting) {
                break;
            }
            if (data1 != kOutputPort) {
                LOGE("ERROR: PORT SETTING CHANGED - being called on INPUT PORT \n");
                break;
            }
            disablePort();
            break;
        default:
            LOGE("Unknown Event (%d, %ld, %ld)", static_cast<int>(event), static_cast<long>(data1),
                 static_cast<long>(data2));
            break;
    }
}

/// First half of a change of the output port: takes back and frees the buffers of the old size. A
/// component that refuses the command keeps its buffers, and no picture comes any more.
void QcomOmxInterfaceDecoder::disablePort() {
    mPortReconfiguring = true;
    mOutputReturnedSem.drain();  // posts of an earlier change
    const status_t status = mOmx->sendCommand(mNode, OMX_CommandPortDisable, kOutputPort);
    if (status != android::OK) {
        LOGE("ERROR: PORT SETTING CHANGED - Unable to send command to disable port: error %d\n", status);
        return;
    }
    waitForOutputBuffers();
    if (mDeInitStarted) {
        return;  // the teardown frees them
    }
    adoptOutputSize();
    freeBuffersOnPort(kOutputPort);
}

/// Gives the component 3 s in all; what it keeps longer is taken from it.
void QcomOmxInterfaceDecoder::waitForOutputBuffers() {
    if (portBuffersHaveBeenReturned(kOutputPort)) {
        return;
    }
    const timespec deadline = zem::deadlineAfterMillis(kReturnLimitMillis);
    while (!mDeInitStarted && !portBuffersHaveBeenReturned(kOutputPort)) {
        if (!mOutputReturnedSem.waitUntil(deadline)) {
            LOGE("QcomOmxInterfaceDecoder::onEvent : the component keeps output buffers");
            return;
        }
    }
}

/// The size of the pictures to come, for the decode driver.
void QcomOmxInterfaceDecoder::adoptOutputSize() {
    auto definition = zem::preparedParameter<OMX_PARAM_PORTDEFINITIONTYPE>(kOutputPort);
    if (mOmx->getParameter(mNode, OMX_IndexParamPortDefinition, &definition, sizeof definition) ==
        android::OK) {
        mPortWidth[kOutputPort] = static_cast<int>(definition.format.video.nFrameWidth);
        mPortHeight[kOutputPort] = static_cast<int>(definition.format.video.nFrameHeight);
    }
}

int QcomOmxInterfaceDecoder::onCommandComplete(OMX_COMMANDTYPE command, unsigned long data) {
    const bool disabled = command == OMX_CommandPortDisable && mThreadError == OMX_RESULT_OK;
    if (!disabled && command != OMX_CommandPortEnable) {
        return OMX_RESULT_OK;
    }
    if (mOmxState != OMX_StateExecuting) {
        LOGE("Incorrect State Reached: %d\n", mOmxState.load());
        return OMX_RESULT_WRONG_STATE;
    }
    if (disabled) {
        return enablePort(data);
    }
    mPortReconfiguring = false;
    fillOutputBuffers();
    return OMX_RESULT_OK;
}

/// Second half of the change. The filled queue stays locked, so that the output thread neither sees a
/// half populated port nor delivers before it is told what to skip.
int QcomOmxInterfaceDecoder::enablePort(unsigned long port) {
    const status_t status = mOmx->sendCommand(mNode, OMX_CommandPortEnable, static_cast<OMX_S32>(port));
    if (status != android::OK) {
        LOGE("Unable to send command state enabling port: error %d\n", status);
        return OMX_RESULT_COMMAND;
    }
    const zem::QueueLock lock(*mFilledQueue);
    const int result = allocateBuffersOnPort(static_cast<int>(port));
    if (result != OMX_RESULT_OK) {
        mDeliveryStopped = true;
        return result;
    }
    mSkipOutputCount = kSkippedRounds * bufferCount(static_cast<int>(port));
    return OMX_RESULT_OK;
}
