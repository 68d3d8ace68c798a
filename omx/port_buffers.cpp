// Populating, submitting and freeing the buffers of a component's ports.
#include <OMX_Component.h>

#include <cstdint>

#include "base/log.h"
#include "omx/omx_parameter.h"
#include "omx/qcom_omx_interface.h"
#include "omx/result_codes.h"

using android::IOMX;
using android::MemoryDealer;
using android::sp;
using android::status_t;

BufferInfo& g_finalEncoderBuffer = *new BufferInfo;

namespace {

constexpr OMX_U32 kMostBuffers = 10000;  // a port with more is a component gone wrong

}  // namespace

int QcomOmxInterface::allocateBuffersOnPort(int port) {
    if (port < 0 || port >= kPortCount) {  // a component's event may name any port
        return OMX_RESULT_GET_PORT;
    }
    auto definition = zem::preparedParameter<OMX_PARAM_PORTDEFINITIONTYPE>(static_cast<OMX_U32>(port));
    const status_t status =
        mOmx->getParameter(mNode, OMX_IndexParamPortDefinition, &definition, sizeof definition);
    if (status != android::OK || definition.nBufferCountActual > kMostBuffers) {
        LOGE("QCOMOMXINTERFACE - ALLOCATE BUFFERS: Could not get port definition: %d", status);
        return OMX_RESULT_GET_PORT;
    }
    const uint64_t total = uint64_t{definition.nBufferCountActual} * definition.nBufferSize;
    // A sum that this process cannot address gets no dealer room, and fails at the first block.
    mDealer[port] = new MemoryDealer(total <= SIZE_MAX ? static_cast<size_t>(total) : 0, "QCOMXWrapper");
    for (OMX_U32 i = 0; i < definition.nBufferCountActual; i++) {
        const int result = obtainBuffer(port, static_cast<int>(i), definition.nBufferSize);
        if (result != OMX_RESULT_OK) {
            return result;
        }
    }
    return OMX_RESULT_OK;
}

int QcomOmxInterface::obtainBuffer(int port, int index, unsigned int size) {
    const sp<BufferInfo> record(new BufferInfo);
    record->memory = mDealer[port]->allocate(size);
    if (record->memory == nullptr || record->memory->pointer() == nullptr) {
        LOGE("QCOMOMXINTERFACE - Memory dealer allocation failed for port %d buffer %d\n", port, index);
        return OMX_RESULT_NO_MEMORY;
    }
    IOMX::buffer_id id = 0;
    const status_t status = registerBuffer(port, *record, size, &id);
    if (status != android::OK) {
        LOGE("QCOMOMXINTERFACE - Could not allocate memory: port %d buffer %d error %d\n", port, index,
             status);
        return OMX_RESULT_NO_MEMORY;
    }
    record->id = id;
    record->length = size;
    record->capacity = size;
    const std::lock_guard<std::mutex> lock(mBufferLock);
    mPortBuffers[port].push(record);
    return OMX_RESULT_OK;
}

/// Makes a record's memory known to the component, or takes the component's own instead.
status_t QcomOmxInterface::registerBuffer(int port, BufferInfo& record, unsigned int size,
                                          IOMX::buffer_id* id) {
    const OMX_U32 portIndex = static_cast<OMX_U32>(port);
    if (mPortBufferMode[port] == kSharedMemory) {
        record.data = record.memory->pointer();
        return mOmx->useBuffer(mNode, portIndex, record.memory, id);
    }
    if (hasOwnHeap()) {
        record.memory.clear();
        return mOmx->allocateBuffer(mNode, portIndex, size, id, &record.data);
    }
    record.data = record.memory->pointer();
    return mOmx->allocateBufferWithBackup(mNode, portIndex, record.memory, id);
}

bool QcomOmxInterface::hasOwnHeap() const {
    const std::lock_guard<std::mutex> lock(mBufferLock);
    return mBufferHeap != nullptr;
}

int QcomOmxInterface::freeBuffersOnPort(unsigned long port) {
    if (port >= kPortCount) {
        return OMX_RESULT_OK;
    }
    status_t result = android::OK;
    for (sp<BufferInfo> record = popBuffer(port); record != nullptr; record = popBuffer(port)) {
        const status_t status = mOmx->freeBuffer(mNode, static_cast<OMX_U32>(port), record->id);
        if (status != android::OK) {
            result = status;
        }
        if (mPortBufferMode[port] == kSharedMemory && mDealer[port] != nullptr && record->memory != nullptr) {
            // The last reference frees the block once more; the dealer refuses the second time.
            mDealer[port]->deallocate(static_cast<size_t>(record->memory->offset()));
        }
    }
    bool empty = true;
    {
        const std::lock_guard<std::mutex> lock(mBufferLock);
        empty = mPortBuffers[port].isEmpty();
    }
    if (!empty) {
        LOGE("Buffer not empty after deallocated.\n");
        setThreadError(OMX_RESULT_BUFFERS_LEFT);
    }
    return result;
}

/// Takes a port's last record out of the list; null when there is none.
sp<BufferInfo> QcomOmxInterface::popBuffer(unsigned long port) {
    const std::lock_guard<std::mutex> lock(mBufferLock);
    if (mPortBuffers[port].isEmpty()) {
        return nullptr;
    }
    const size_t last = mPortBuffers[port].size() - 1;
    const sp<BufferInfo> record = mPortBuffers[port].itemAt(last);
    mPortBuffers[port].removeAt(static_cast<ssize_t>(last));
    record->retired = true;
    if (port == kInputPort) {
        mRetiredInput.push(record);  // a producer may still write to a buffer that it reserved
    }
    return record;
}

sp<BufferInfo> QcomOmxInterface::findBuffer(int port, IOMX::buffer_id id) const {
    const std::lock_guard<std::mutex> lock(mBufferLock);
    for (const sp<BufferInfo>& record : mPortBuffers[port]) {
        if (record->id == id) {
            return record;
        }
    }
    return nullptr;
}

int QcomOmxInterface::bufferCount(int port) const {
    const std::lock_guard<std::mutex> lock(mBufferLock);
    return static_cast<int>(mPortBuffers[port].size());
}

bool QcomOmxInterface::portBuffersHaveBeenReturned(int port) const {
    const std::lock_guard<std::mutex> lock(mBufferLock);
    for (const sp<BufferInfo>& record : mPortBuffers[port]) {
        if (record->ownedByComponent) {
            return false;
        }
    }
    return true;
}

int QcomOmxInterface::fillOutputBuffer(BufferInfo* record) {
    // Owned before the call: the filled message may overtake its return.
    if (mPortReconfiguring || record->retired || record->ownedByComponent.exchange(true)) {
        return OMX_RESULT_OK;
    }
    // Looked at again, now that a change of the port that begins counts this buffer as out: without it
    // the change could free the buffer between the look above and the call below.
    if (mPortReconfiguring || record->retired) {
        record->ownedByComponent = false;
        postWhenAllReturned(kOutputPort, mOutputReturnedSem);
        return OMX_RESULT_OK;
    }
    {
        const std::lock_guard<std::mutex> lock(mBufferLock);
        record->filledLength = 0;
        record->outputData = nullptr;
        record->endOfStream = false;
        record->outputHeap.clear();
    }
    const status_t status = mOmx->fillBuffer(mNode, record->id);
    if (status != android::OK) {
        LOGE("QCOMOMXINTERFACE - fillBuffer failed w/ error 0x%08x", static_cast<unsigned int>(status));
        record->ownedByComponent = false;
        postWhenAllReturned(kOutputPort, mOutputReturnedSem);
        return OMX_RESULT_FILL_FAILED;
    }
    return OMX_RESULT_OK;
}

int QcomOmxInterface::fillOutputBuffers() {
    android::Vector<sp<BufferInfo>> records;
    {
        const std::lock_guard<std::mutex> lock(mBufferLock);
        records = mPortBuffers[kOutputPort];
    }
    for (const sp<BufferInfo>& record : records) {
        const int result = fillOutputBuffer(record.get());
        if (result != OMX_RESULT_OK) {
            return result;
        }
    }
    return OMX_RESULT_OK;
}
