// The two ways of input: into a reserved buffer, or by copy.
#include <cstring>

#include "base/log.h"
#include "omx/qcom_omx_interface.h"

using android::IOMX;
using android::sp;
using android::status_t;

namespace {

constexpr int kOk = 0;
constexpr int kNotNow = -1;  // no free buffer; on the zero-copy way a refusal too
constexpr int kNever = -2;   // waiting for a buffer would not help

// How long components that must be fed one buffer at a time get to give it back.
constexpr int kBufferAnswerMillis = 3000;
constexpr int kDataAnswerMillis = 100;

}  // namespace

/// The first free record, marked as taken; null when there is none.
sp<BufferInfo> QcomOmxInterface::takeFreeInput() {
    const std::lock_guard<std::mutex> lock(mBufferLock);
    for (const sp<BufferInfo>& record : mPortBuffers[kInputPort]) {
        if (!record->ownedByComponent.exchange(true)) {
            return record;
        }
    }
    return nullptr;
}

bool QcomOmxInterface::inputBufferIsFree() const {
    const std::lock_guard<std::mutex> lock(mBufferLock);
    for (const sp<BufferInfo>& record : mPortBuffers[kInputPort]) {
        if (!record->ownedByComponent) {
            return true;
        }
    }
    return false;
}

/// The record behind a producer's handle; null when it is not, or no longer, one of the port's.
sp<BufferInfo> QcomOmxInterface::findInput(const void* buffer) const {
    const std::lock_guard<std::mutex> lock(mBufferLock);
    for (const sp<BufferInfo>& record : mPortBuffers[kInputPort]) {
        if (record.get() == buffer) {
            return record;
        }
    }
    return nullptr;
}

unsigned int QcomOmxInterface::inputBufferCapacity(const void* buffer) const {
    const sp<BufferInfo> record = findInput(buffer);
    return record != nullptr ? record->capacity : 0;
}

IOMX::buffer_id QcomOmxInterface::inputBufferId(const void* buffer) const {
    const sp<BufferInfo> record = findInput(buffer);
    return record != nullptr ? record->id.load() : 0;
}

status_t QcomOmxInterface::submitInput(const BufferInfo& record, unsigned int length, OMX_U32 flags,
                                       int timestamp) {
    return mOmx->emptyBuffer(mNode, record.id, 0, length, flags, OMX_TICKS{timestamp});
}

/// The component did not take it: the buffer is the driver's again.
void QcomOmxInterface::refuseInput(BufferInfo& record) {
    mInputPending = false;
    record.ownedByComponent = false;
}

/// Submits a payload that lies in the record already; microseconds. Waits up to `answerMillis`, unless that
/// is 0, for a buffer to come back.
status_t QcomOmxInterface::submitPayload(BufferInfo& record, unsigned int length, int timestamp,
                                         int answerMillis) {
    mInputPending = true;
    if (answerMillis > 0) {
        mEmptyDoneSem.tryWait();
    }
    record.length = length;
    const status_t status = submitInput(record, length, 0, timestamp);
    if (status != android::OK) {
        refuseInput(record);
    } else if (answerMillis > 0) {
        mEmptyDoneSem.wait(answerMillis);
    }
    return status;
}

int QcomOmxInterface::reserveInputBuffer(void** buffer, void** data) {
    *buffer = nullptr;
    *data = nullptr;
    if (mInputEnded) {
        LOGE("QCOMOMXINTERFACE - Client Shutting Down: Input Data ignored");
        return kNever;
    }
    const sp<BufferInfo> record = takeFreeInput();
    if (record == nullptr) {
        return kNotNow;
    }
    *buffer = record.get();
    *data = record->data;
    g_finalEncoderBuffer.id = record->id.load();
    return kOk;
}

void QcomOmxInterface::releaseInputBuffer(void* buffer) {
    const sp<BufferInfo> record = findInput(buffer);
    if (record != nullptr) {
        record->ownedByComponent = false;
    }
}

int QcomOmxInterface::sendInputBuffer(void* buffer, int length, int timestamp) {
    const sp<BufferInfo> record = findInput(buffer);
    if (record == nullptr || length < 0 || static_cast<unsigned int>(length) > record->capacity) {
        LOGE("QcomOmxInterface::sendInputBuffer : %d bytes do not fit the buffer %p", length, buffer);
        releaseInputBuffer(buffer);
        return kNotNow;
    }
    const status_t status = submitPayload(*record, static_cast<unsigned int>(length), timestamp,
                                          mWaitAfterSendBuffer ? kBufferAnswerMillis : 0);
    if (status != android::OK) {
        LOGE("QCOMOMXINTERFACE - SEND INPUT BUFFER::emptyBuffer failed w/ error 0x%08x \n",
             static_cast<unsigned int>(status));
        return kNotNow;
    }
    return kOk;
}

/// Neither marks the record as taken nor ends the input: the encode driver closes right after it, and
/// until then its producers count on reservations being answered as before.
int QcomOmxInterface::sendFinalBuffer(void* buffer, int timestamp) {
    sp<BufferInfo> own;
    BufferInfo* record = &g_finalEncoderBuffer;
    if (buffer != record) {
        own = findInput(buffer);
        record = own.get();
    }
    if (record == nullptr || mOmx == nullptr) {
        LOGE("QcomOmxInterface::sendFinalBuffer : unknown buffer %p", buffer);
        return kNotNow;
    }
    record->length = 0;
    const status_t status = submitInput(*record, 0, OMX_BUFFERFLAG_EOS, timestamp);
    if (status != android::OK) {
        LOGE("QCOMOMXINTERFACE - ETB::emptyBuffer failed w/ error 0x%08x \n",
             static_cast<unsigned int>(status));
        return kNotNow;
    }
    return kOk;
}

/// Whether no buffer of the port could ever hold a payload; all buffers of a port are of one size.
bool QcomOmxInterface::tooLargeForInput(const void* data, unsigned int length) const {
    const std::lock_guard<std::mutex> lock(mBufferLock);
    if (mPortBuffers[kInputPort].isEmpty()) {
        return false;
    }
    return length > mPortBuffers[kInputPort].itemAt(0)->capacity || (data == nullptr && length > 0);
}

int QcomOmxInterface::sendInputData(void* data, unsigned int length, int timestamp) {
    if (mInputEnded) {
        return kOk;
    }
    if (tooLargeForInput(data, length)) {
        LOGE("QcomOmxInterface::sendInputData : %u bytes at %p do not fit an input buffer", length, data);
        return kNever;
    }
    const sp<BufferInfo> record = takeFreeInput();
    if (record == nullptr) {
        return kNotNow;
    }
    if (length > 0) {
        memcpy(record->data, data, length);
    }
    const status_t status =
        submitPayload(*record, length, timestamp, mWaitAfterSendData ? kDataAnswerMillis : 0);
    if (status != android::OK) {
        LOGE("QCOMOMXINTERFACE - ETB::emptyBuffer failed w/ error 0x%08x \n",
             static_cast<unsigned int>(status));
        return kNever;
    }
    return kOk;
}

int QcomOmxInterface::sendEndOfInputFlag(int timestamp) {
    const sp<BufferInfo> record = takeFreeInput();
    if (record == nullptr) {
        return kNotNow;
    }
    record->length = 0;
    const status_t status = submitInput(*record, 0, OMX_BUFFERFLAG_EOS, timestamp);
    if (status != android::OK) {
        LOGE("QCOMOMXINTERFACE - ETB::emptyBuffer failed w/ error 0x%08x \n",
             static_cast<unsigned int>(status));
        record->ownedByComponent = false;
        return kNever;
    }
    mInputEnded = true;
    return kOk;
}
