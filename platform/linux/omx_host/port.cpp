#include "platform/linux/omx_host/port.h"

#include <algorithm>

namespace zem {

namespace {

constexpr OMX_U32 kSizeGrain = 32;  // as MemoryDealer deals

OMX_U32 roundedUp(OMX_U32 size) {
    const OMX_U32 largest = UINT32_MAX / kSizeGrain * kSizeGrain;
    return size > largest ? largest : (size + kSizeGrain - 1) / kSizeGrain * kSizeGrain;
}

}  // namespace

void Port::describe(const OMX_PARAM_PORTDEFINITIONTYPE& described) {
    mRequestedCount = described.nBufferCountActual;
    redescribe(described);
}

void Port::redescribe(const OMX_PARAM_PORTDEFINITIONTYPE& described) {
    mDefinition = described;
    mDefinition.nPortIndex = mIndex;
    mDefinition.eDir = mIndex == kInputPort ? OMX_DirInput : OMX_DirOutput;
    mDefinition.nBufferCountActual = std::max(described.nBufferCountMin, mRequestedCount);
    mDefinition.nBufferSize = roundedUp(std::max({described.nBufferSize, mRequestedSize, kSizeGrain}));
    mDefinition.nBufferAlignment = kSizeGrain;
    mDefinition.bBuffersContiguous = OMX_FALSE;
}

void Port::request(OMX_U32 bufferSize, OMX_U32 bufferCount) {
    mRequestedSize = bufferSize;
    mRequestedCount = bufferCount;
}

void Port::fill(OMX_PARAM_PORTDEFINITIONTYPE* out) const {
    const OMX_U32 size = out->nSize;
    const OMX_VERSIONTYPE version = out->nVersion;
    *out = mDefinition;
    out->nSize = size;
    out->nVersion = version;
    out->bEnabled = enabled ? OMX_TRUE : OMX_FALSE;
    out->bPopulated = enabled && populated() ? OMX_TRUE : OMX_FALSE;
}

NodeBuffer* Port::find(android::IOMX::buffer_id id) const {
    for (const BufferRef& buffer : mBuffers) {
        if (buffer->id == id) {
            return buffer.get();
        }
    }
    return nullptr;
}

BufferRef Port::refOf(const NodeBuffer* buffer) const {
    const auto found = std::find_if(mBuffers.begin(), mBuffers.end(),
                                    [buffer](const BufferRef& ref) { return ref.get() == buffer; });
    return found != mBuffers.end() ? *found : nullptr;
}

bool Port::remove(android::IOMX::buffer_id id) {
    const BufferRef buffer = refOf(find(id));
    if (buffer == nullptr) {
        return false;
    }
    buffer->freed = true;
    mQueue.erase(std::remove(mQueue.begin(), mQueue.end(), buffer), mQueue.end());
    mBuffers.erase(std::remove(mBuffers.begin(), mBuffers.end(), buffer), mBuffers.end());
    return true;
}

void Port::removeAll() {
    mQueue.clear();
    mLent.clear();
    mBuffers.clear();
}

void Port::submit(NodeBuffer* buffer, size_t offset, size_t length, OMX_U32 flags, OMX_TICKS timestamp) {
    buffer->owner = NodeBuffer::Owner::Queued;
    buffer->lent = {buffer->data + offset, length, flags, timestamp};
    mQueue.push_back(refOf(buffer));
}

const LentBuffer* Port::lend() {
    if (mQueue.empty()) {
        return nullptr;
    }
    const BufferRef buffer = mQueue.front();
    mQueue.pop_front();
    buffer->owner = NodeBuffer::Owner::Component;
    mLent.push_back(buffer);
    return &buffer->lent;
}

BufferRef Port::takeBack(const LentBuffer* lent) {
    const auto found = std::find_if(mLent.begin(), mLent.end(),
                                    [lent](const BufferRef& buffer) { return &buffer->lent == lent; });
    if (found == mLent.end()) {
        return nullptr;
    }
    BufferRef buffer = *found;
    mLent.erase(found);
    buffer->owner = NodeBuffer::Owner::Client;
    return buffer;
}

std::vector<BufferRef> Port::takeAllBack() {
    std::vector<BufferRef> back;
    for (const BufferRef& buffer : mLent) {
        if (!buffer->freed) {
            back.push_back(buffer);
        }
    }
    back.insert(back.end(), mQueue.begin(), mQueue.end());
    mLent.clear();
    mQueue.clear();
    for (const BufferRef& buffer : back) {
        buffer->owner = NodeBuffer::Owner::Client;
    }
    return back;
}

}  // namespace zem
