// The data-output thread: hands filled buffers to the output callback and resubmits them.
#include <pthread.h>

#include "base/log.h"
#include "omx/hardware_base.h"
#include "omx/qcom_omx_interface.h"
#include "omx/result_codes.h"

using android::sp;

namespace {

thread_local const QcomOmxInterface* tServed = nullptr;  // whose output thread this is

}  // namespace

int QcomOmxInterface::startOutputThread() {
    if (mOutputThreadJoinable) {
        LOGE("QcomOmxInterface::init : the output thread runs already");
        return OMX_RESULT_OUTPUT_THREAD;
    }
    int serial = 0;
    mDataOuputThrId = g_OutputThreadArray.add(&serial);
    mOutputThreadSerial = serial;
    mExitOutputThread = false;  // before the thread exists: a request made right after must not be lost
    if (pthread_create(&mDataOutputThread, nullptr, DataOutputThread, this) != 0) {
        return OMX_RESULT_OUTPUT_THREAD;
    }
    mOutputThreadJoinable = true;
    LOGI("QcomOmxInterface::init : mDataOuputThrId (%d, %d)", mDataOuputThrId.load(),
         g_OutputThreadArray.getCount(mDataOuputThrId));
    return OMX_RESULT_OK;
}

void QcomOmxInterface::ExitDataOutputThread() {
    mExitOutputThread = true;
    if (tServed == this) {
        LOGE("QcomOmxInterface::ExitDataOutputThread : called on the output thread itself");
        return;
    }
    if (mOutputThreadJoinable.exchange(false)) {
        pthread_join(mDataOutputThread, nullptr);
    }
    unregisterOutputThread();
}

void* QcomOmxInterface::DataOutputThread(void* interface) {
    pthread_setname_np(pthread_self(), "omx-output");
    static_cast<QcomOmxInterface*>(interface)->runOutputThread();
    return nullptr;
}

void QcomOmxInterface::runOutputThread() {
    tServed = this;
    const int slot = mDataOuputThrId;
    LOGI("QcomOmxInterface::DataOutputThread + (%d,%d)", slot, g_OutputThreadArray.getCount(slot));
    while (outputThreadMayRun(slot) && handleFilledBuffers(slot)) {
        mOutputSem.wait(3000);
    }
    LOGI("QcomOmxInterface::DataOutputThread - (%d,%d)", slot, g_OutputThreadArray.getCount(slot));
}

bool QcomOmxInterface::outputThreadMayRun(int slot) const {
    return g_OutputThreadArray.isAlive(slot) && !mExitOutputThread;
}

/// One pass: delivers what is queued, then resubmits it. Records that cannot be resubmitted now are
/// dropped from the pass. False when the thread is to leave.
bool QcomOmxInterface::handleFilledBuffers(int slot) {
    zem::RecordQueue handled;
    zem::QueueLock lock(*mFilledQueue);
    deliverFilledBuffers(slot, handled);
    // 8974 decoders must not see a buffer return while others of the batch are still being submitted.
    const bool holdLock = mHoldQueueWhileFilling && mHardwareBase == HW_BASE_QCOM_8974;
    if (!holdLock) {
        lock.unlock();
    }
    if (!outputThreadMayRun(slot)) {
        return false;
    }
    if (mOmxState == OMX_StateExecuting && !mFrameIsLast) {
        for (sp<BufferInfo> record = handled.pop(); record != nullptr; record = handled.pop()) {
            fillOutputBuffer(record.get());
        }
    }
    lock.unlock();
    return !mFrameIsLast && mThreadError == OMX_RESULT_OK && outputThreadMayRun(slot);
}

/// Runs with the filled queue locked.
void QcomOmxInterface::deliverFilledBuffers(int slot, zem::RecordQueue& handled) {
    for (sp<BufferInfo> record = mFilledQueue->pop(); record != nullptr; record = mFilledQueue->pop()) {
        if (!record->retired && !deliver(slot, record, handled)) {
            return;
        }
    }
}

/// False when the thread is to leave. An end-of-stream buffer reaches the callback before the stream
/// counts as ended.
bool QcomOmxInterface::deliver(int slot, const sp<BufferInfo>& record, zem::RecordQueue& handled) {
    if (!outputThreadMayRun(slot)) {
        return false;
    }
    const FilledData filled = filledData(*record);
    if (mDeliveryStopped) {
        // Only passed on, so that the end of the stream is still seen.
    } else if (mSkipOutputCount < 1) {
        callOutputCallbackFunction(filled.data, filled.length);
    } else {
        mSkipOutputCount--;
    }
    handled.push(record);
    if (!outputThreadMayRun(slot)) {
        return false;
    }
    if (filled.endOfStream) {
        LOGI("QcomOmxInterface::DataOutputThread : mFrameIsLast (%d,%d)", slot,
             g_OutputThreadArray.getCount(slot));
        mFrameIsLast = true;
        mLastFrameSem.post();
    }
    return true;
}

QcomOmxInterface::FilledData QcomOmxInterface::filledData(const BufferInfo& record) const {
    const std::lock_guard<std::mutex> lock(mBufferLock);
    return {record.outputData, record.filledLength, record.endOfStream, record.outputHeap};
}

int QcomOmxInterface::callOutputCallbackFunction(void* data, unsigned int length) {
    OmxOutputCallback callback = nullptr;
    void* user = nullptr;
    {
        const std::lock_guard<std::mutex> lock(mBufferLock);
        callback = mOutputCallback;
        user = mOutputUserData;
    }
    return callback != nullptr ? callback(this, data, length, user) : 0;
}
