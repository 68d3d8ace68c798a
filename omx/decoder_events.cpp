// How decoders answer events: errors, and the change of the output port.
#include <OMX_Component.h>

#include "base/log.h"
#include "omx/omx_parameter.h"
#include "omx/qcom_omx_event_interface.h"
#include "omx/result_codes.h"

using android::status_t;

namespace {

constexpr int kReturnLimitMillis = 3000;

}  // namespace

QcomOmxEventInterface::QcomOmxEventInterface() : mEventQueue(new SimpleQueue) {}

QcomOmxEventInterface::~QcomOmxEventInterface() {
    shutdown();
}

void QcomOmxEventInterface::onEvent(OMX_EVENTTYPE event, unsigned long data1, unsigned long data2) {
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
void QcomOmxEventInterface::disablePort() {
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
    readOutputDefinition();
    freeBuffersOnPort(kOutputPort);
}

/// Gives the component 3 s in all; what it keeps longer is taken from it.
void QcomOmxEventInterface::waitForOutputBuffers() {
    if (portBuffersHaveBeenReturned(kOutputPort)) {
        return;
    }
    const timespec deadline = zem::deadlineAfterMillis(kReturnLimitMillis);
    while (!mDeInitStarted && !portBuffersHaveBeenReturned(kOutputPort)) {
        if (!mOutputReturnedSem.waitUntil(deadline)) {
            LOGE("QcomOmxEventInterface::onEvent : the component keeps output buffers");
            return;
        }
    }
}

void QcomOmxEventInterface::readOutputDefinition() {
    auto definition = zem::preparedParameter<OMX_PARAM_PORTDEFINITIONTYPE>(kOutputPort);
    if (mOmx->getParameter(mNode, OMX_IndexParamPortDefinition, &definition, sizeof definition) ==
        android::OK) {
        adoptOutput(definition);
    }
}

int QcomOmxEventInterface::onCommandComplete(OMX_COMMANDTYPE command, unsigned long data) {
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

/// Second half of the change.
int QcomOmxEventInterface::enablePort(unsigned long port) {
    const status_t status = mOmx->sendCommand(mNode, OMX_CommandPortEnable, static_cast<OMX_S32>(port));
    if (status != android::OK) {
        LOGE("Unable to send command state enabling port: error %d\n", status);
        return OMX_RESULT_COMMAND;
    }
    return repopulatePort(static_cast<int>(port));
}

int QcomOmxEventInterface::repopulatePort(int port) {
    return allocateBuffersOnPort(port);
}
