// Buffers of a node: who may have them when, and the messages that bring them back.
#include <new>

#include "base/log.h"
#include "platform/linux/omx_host/ids.h"
#include "platform/linux/omx_host/node.h"

namespace zem {

using android::BAD_VALUE;
using android::INVALID_OPERATION;
using android::NO_MEMORY;
using android::OK;
using android::status_t;

namespace {

/// The block's bytes; null when they do not lie in a mapped heap.
uint8_t* bytesOf(const android::sp<android::IMemory>& memory, size_t* size) {
    ssize_t offset = 0;
    const android::sp<android::IMemoryHeap> heap = memory->getMemory(&offset, size);
    if (heap == nullptr || memory->pointer() == nullptr || offset < 0) {
        return nullptr;
    }
    const size_t start = static_cast<size_t>(offset);
    const size_t end = heap->getSize();
    const bool inside = start <= end && *size <= end - start;
    return inside ? static_cast<uint8_t*>(memory->pointer()) : nullptr;
}

}  // namespace

bool Node::mayAllocate(OMX_U32 index, size_t size) const {
    const Port& port = mPorts[index];
    const bool wanted = port.enabling || (mTarget == OMX_StateIdle && !running());
    return port.enabled && wanted && !port.populated() && size >= port.definition().nBufferSize;
}

status_t Node::adopt(OMX_U32 index, const BufferRef& buffer, buffer_id* id) {
    buffer->id = nextBufferId();
    if (buffer->id == 0) {
        return NO_MEMORY;
    }
    *id = buffer->id;
    mPorts[index].add(buffer);
    settle();
    return OK;
}

status_t Node::useBuffer(OMX_U32 port, const android::sp<android::IMemory>& memory, buffer_id* id) {
    if (port >= kPortCount || memory == nullptr || id == nullptr) {
        return BAD_VALUE;
    }
    auto buffer = std::make_shared<NodeBuffer>();
    buffer->memory = memory;
    buffer->data = bytesOf(memory, &buffer->capacity);
    if (buffer->data == nullptr) {
        return BAD_VALUE;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    return mayAllocate(port, buffer->capacity) ? adopt(port, buffer, id) : INVALID_OPERATION;
}

status_t Node::allocateBuffer(OMX_U32 port, size_t size, buffer_id* id, void** data) {
    if (port >= kPortCount || id == nullptr || data == nullptr) {
        return BAD_VALUE;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mayAllocate(port, size)) {
        return INVALID_OPERATION;
    }
    auto buffer = std::make_shared<NodeBuffer>();
    buffer->own.reset(new (std::nothrow) uint8_t[size]());
    if (buffer->own == nullptr) {
        return NO_MEMORY;
    }
    buffer->data = buffer->own.get();
    buffer->capacity = size;
    *data = buffer->data;
    return adopt(port, buffer, id);
}

status_t Node::freeBuffer(OMX_U32 port, buffer_id id) {
    if (port >= kPortCount) {
        return BAD_VALUE;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mPorts[port].remove(id)) {
        return BAD_VALUE;
    }
    settle();
    return OK;
}

bool Node::accepts(const Port& port) const {
    return running() && !mTarget.has_value() && port.enabled && !port.enabling;
}

status_t Node::emptyBuffer(buffer_id id, OMX_U32 offset, OMX_U32 length, OMX_U32 flags, OMX_TICKS timestamp) {
    std::lock_guard<std::mutex> lock(mMutex);
    Port& port = mPorts[kInputPort];
    NodeBuffer* const buffer = port.find(id);
    if (buffer == nullptr || offset > buffer->capacity || length > buffer->capacity - offset) {
        return BAD_VALUE;
    }
    if (!accepts(port) || buffer->owner != NodeBuffer::Owner::Client) {
        return INVALID_OPERATION;
    }
    port.submit(buffer, offset, length, flags, timestamp);
    mWork = true;
    mWake.notify_one();
    return OK;
}

status_t Node::fillBuffer(buffer_id id) {
    std::lock_guard<std::mutex> lock(mMutex);
    Port& port = mPorts[kOutputPort];
    NodeBuffer* const buffer = port.find(id);
    if (buffer == nullptr) {
        return BAD_VALUE;
    }
    if (!accepts(port) || buffer->owner != NodeBuffer::Owner::Client) {
        return INVALID_OPERATION;
    }
    port.submit(buffer, 0, buffer->capacity, 0, 0);
    mWork = true;
    mWake.notify_one();
    return OK;
}

// ---- BufferIo, on the worker thread, inside process()

const LentBuffer* Node::takeInput() {
    std::lock_guard<std::mutex> lock(mMutex);
    return coding() ? mPorts[kInputPort].lend() : nullptr;
}

const LentBuffer* Node::takeOutput() {
    std::lock_guard<std::mutex> lock(mMutex);
    Port& port = mPorts[kOutputPort];
    return coding() && !port.settingsChanged ? port.lend() : nullptr;
}

void Node::returnInput(const LentBuffer* lent) {
    std::lock_guard<std::mutex> lock(mMutex);
    const BufferRef buffer = mPorts[kInputPort].takeBack(lent);
    if (buffer == nullptr) {
        LOGE("component %s returned an input that it does not have", mName.c_str());
    } else if (!buffer->freed) {
        postEmptied(*buffer);
    }
}

void Node::returnOutput(const LentBuffer* lent, size_t length, OMX_U32 flags, OMX_TICKS timestamp) {
    std::lock_guard<std::mutex> lock(mMutex);
    const BufferRef buffer = mPorts[kOutputPort].takeBack(lent);
    if (buffer == nullptr) {
        LOGE("component %s returned an output that it does not have", mName.c_str());
        return;
    }
    if (length > buffer->capacity) {
        LOGE("component %s claims %zu bytes in an output of %zu", mName.c_str(), length, buffer->capacity);
        length = buffer->capacity;
    }
    if (!buffer->freed) {
        postFilled(*buffer, length, flags, timestamp);
    }
}

void Node::portSettingsChanged() {
    refreshDefinitions();  // before the event: its handler reads the new size
    std::lock_guard<std::mutex> lock(mMutex);
    Port& port = mPorts[kOutputPort];
    if (!port.settingsChanged && port.enabled) {
        port.settingsChanged = true;
        postEvent(OMX_EventPortSettingsChanged, kOutputPort, 0);
    }
}

void Node::raiseError(OMX_ERRORTYPE error) {
    std::lock_guard<std::mutex> lock(mMutex);
    postError(error);
}

// ---- messages: posted with mMutex held, so that they leave in the order in which things happened

void Node::postEvent(OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2) {
    android::omx_message message{};
    message.type = android::omx_message::EVENT;
    message.node = mId;
    message.u.event_data = {event, data1, data2};
    mDelivery->post(message);
}

void Node::postEmptied(const NodeBuffer& buffer) {
    android::omx_message message{};
    message.type = android::omx_message::EMPTY_BUFFER_DONE;
    message.node = mId;
    message.u.buffer_data.buffer = buffer.id;
    mDelivery->post(message);
}

void Node::postFilled(const NodeBuffer& buffer, size_t length, OMX_U32 flags, OMX_TICKS timestamp) {
    android::omx_message message{};
    message.type = android::omx_message::FILL_BUFFER_DONE;
    message.node = mId;
    message.u.extended_buffer_data = {buffer.id, 0, static_cast<OMX_U32>(length), flags, timestamp};
    mDelivery->post(message);
}

}  // namespace zem
