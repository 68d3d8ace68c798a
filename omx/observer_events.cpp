// What the component reports: events, emptied and filled buffers. Runs on the message thread.
#include <sys/mman.h>

#include <cstdint>

#include "base/log.h"
#include "omx/omx_compat.h"
#include "omx/qcom_omx_interface.h"
#include "omx/result_codes.h"

using android::IMemoryHeap;
using android::omx_message;
using android::sp;

void QcomOmxInterface::setObserver(const sp<QcOmxCodecObserver>& observer) {
    mObserver = observer;
}

void QcomOmxInterface::onRegisterBuffers(const sp<IMemoryHeap>& heap) {
    const std::lock_guard<std::mutex> lock(mBufferLock);
    mBufferHeap = heap;
}

void QcomOmxInterface::onEvent(OMX_EVENTTYPE /*event*/, unsigned long /*data1*/, unsigned long /*data2*/) {}

void QcomOmxInterface::onOmxObserverEvent(const omx_message& msg) {
    const auto& event = msg.u.event_data;
    if (event.event == OMX_EventCmdComplete && event.data1 == OMX_CommandStateSet) {
        mOmxState = static_cast<int>(event.data2);
        mStateSem.post();
    } else if (event.event == OMX_EventError) {
        // Only told: encoders in the field report errors and go on encoding.
        LOGE("QCOMOMXINTERFACE - Event error = %d, data2 %d \n", static_cast<int>(event.data1),
             static_cast<int>(event.data2));
    }
}

void QcomOmxInterface::onOmxObserverEmptyBufferDone(const omx_message& msg) {
    const auto& returned = msg.u.extended_buffer_data;
    const sp<BufferInfo> record = findBuffer(kInputPort, returned.buffer);
    if (record == nullptr) {
        reportUnknownBuffer();
        return;
    }
    if (!record->ownedByComponent) {
        LOGW("QCOMOMXINTERFACE - We already own input buffer %p, yet received an EMPTY_BUFFER_DONE.",
             reinterpret_cast<void*>(static_cast<uintptr_t>(returned.buffer)));
    }
    mInputPending = false;
    record->ownedByComponent = false;
    if (mWaitAfterSendBuffer || mWaitAfterSendData) {
        mEmptyDoneSem.post();
    }
    callInputCallback();
    postWhenAllReturned(kInputPort, mInputReturnedSem);
}

void QcomOmxInterface::onOmxObserverFillBufferDone(const omx_message& msg) {
    const sp<BufferInfo> record = findBuffer(kOutputPort, msg.u.extended_buffer_data.buffer);
    if (record == nullptr) {
        reportUnknownBuffer();
        return;
    }
    recordFill(*record, msg);
    record->ownedByComponent = false;
    mFilledQueue->lock();
    mFilledQueue->push(record);  // one that is queued already is delivered once, with its last fill
    mFilledQueue->unlock();
    mOutputSem.post();
    postWhenAllReturned(kOutputPort, mOutputReturnedSem);
}

void QcomOmxInterface::recordFill(BufferInfo& record, const omx_message& msg) {
    const auto& fill = msg.u.extended_buffer_data;
    const std::lock_guard<std::mutex> lock(mBufferLock);
    uint64_t room = record.capacity;
    record.outputData = record.data;
    record.outputHeap = mBufferHeap;
    if (mBufferHeap != nullptr) {
        const uint64_t offset = zem::compat::platformPrivate(fill, 0);
        const uint64_t size = mBufferHeap->getBase() != MAP_FAILED ? mBufferHeap->getSize() : 0;
        room = offset < size ? size - offset : 0;
        record.outputData = room > 0 ? static_cast<uint8_t*>(mBufferHeap->getBase()) + offset : nullptr;
    }
    record.filledLength = fill.range_length;
    record.endOfStream = (fill.flags & OMX_BUFFERFLAG_EOS) != 0;
    if (fill.range_length > room) {
        LOGE("QcomOmxInterface::onOmxObserverFillBufferDone : %u bytes in a buffer of %u",
             static_cast<unsigned int>(fill.range_length), static_cast<unsigned int>(room));
        record.filledLength = 0;
    }
}

/// While a port is changed or the stream ends, somebody may wait for the last buffer to come back.
void QcomOmxInterface::postWhenAllReturned(int port, zem::Semaphore& semaphore) {
    if ((mPortReconfiguring || mFrameIsLast) && portBuffersHaveBeenReturned(port)) {
        semaphore.post();
    }
}

void QcomOmxInterface::reportUnknownBuffer() {
    LOGE("QCOMOMXINTERFACE - Buffer not found in buffer vector.\n");
    setThreadError(OMX_RESULT_UNKNOWN_BUFFER);
}
