#include "tests/support/omx_proxy.h"

#include <binder/MemoryDealer.h>
#include <pthread.h>

#include <algorithm>

using android::omx_message;
using android::status_t;

namespace zem::test {

FakeOmx::FakeOmx(std::vector<std::string> components)
    : mComponents(std::move(components)), mMessageThread([this] { deliverMessages(); }) {
    pthread_setname_np(mMessageThread.native_handle(), "fake-omx");
    setBuffers(0, 2, 4096);
    setBuffers(1, 2, 4096);
}

FakeOmx::~FakeOmx() {
    {
        const Guard lock(mMutex);
        mQuit = true;
    }
    mChanged.notify_all();
    mMessageThread.join();
}

void FakeOmx::setBuffers(OMX_U32 port, OMX_U32 count, OMX_U32 size) {
    auto definition = parameter<OMX_PARAM_PORTDEFINITIONTYPE>(OMX_IndexParamPortDefinition, port);
    definition.nPortIndex = port;
    definition.nBufferCountActual = count;
    definition.nBufferSize = size;
    presetParameter(OMX_IndexParamPortDefinition, port, definition);
}

// --- Messages.

void FakeOmx::send(omx_message message, node_id node) {
    const Guard lock(mMutex);
    message.node = node != 0 ? node : mLastNode;
    if (message.type != omx_message::EVENT) {
        auto& held = mNodes[message.node].held;
        held.erase(std::remove(held.begin(), held.end(), message.u.buffer_data.buffer), held.end());
    }
    mMessages.push_back(message);
    mChanged.notify_all();
}

void FakeOmx::sendEvent(OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2, node_id node) {
    omx_message message{};
    message.u.event_data = {event, data1, data2};
    send(message, node);
}

void FakeOmx::sendEmptied(buffer_id buffer, node_id node) {
    omx_message message{};
    message.type = omx_message::EMPTY_BUFFER_DONE;
    message.u.buffer_data = {buffer};
    send(message, node);
}

void FakeOmx::sendFilled(buffer_id buffer, OMX_U32 length, OMX_U32 flags, node_id node) {
    omx_message message{};
    message.type = omx_message::FILL_BUFFER_DONE;
    message.u.extended_buffer_data = {buffer, 0, length, flags, 0};
    send(message, node);
}

void FakeOmx::queueOutput(std::vector<uint8_t> bytes, OMX_U32 flags) {
    const Guard lock(mMutex);
    mNodes[mLastNode].outputs.push_back({std::move(bytes), flags});
    pumpOutputs(mLastNode);
}

/// Pairs waiting outputs with held output buffers, both oldest first.
void FakeOmx::pumpOutputs(node_id id) {
    Node& node = mNodes[id];
    for (const buffer_id buffer : std::vector<buffer_id>(node.held)) {
        const auto entry = node.buffers.find(buffer);
        if (node.outputs.empty() || entry == node.buffers.end() || entry->second.port != 1) {
            continue;
        }
        const Output output = std::move(node.outputs.front());
        node.outputs.pop_front();
        const android::IMemory& memory = *entry->second.memory;
        std::copy_n(output.bytes.begin(), std::min(memory.size(), output.bytes.size()),
                    static_cast<uint8_t*>(memory.pointer()));
        sendFilled(buffer, static_cast<OMX_U32>(output.bytes.size()), output.flags, id);
    }
}

void FakeOmx::waitDelivered() {
    std::unique_lock<std::recursive_mutex> lock(mMutex);
    mChanged.wait(lock, [this] { return mMessages.empty() && !mDelivering; });
}

/// Ends a call that may have caused messages, as the script wants them answered.
void FakeOmx::settle(Answer answer) {
    if (answer == Answer::kBeforeReturn && std::this_thread::get_id() != mMessageThread.get_id()) {
        waitDelivered();
    }
}

void FakeOmx::deliverMessages() {
    std::unique_lock<std::recursive_mutex> lock(mMutex);
    for (;;) {
        mChanged.wait(lock, [this] { return mQuit || !mMessages.empty(); });
        if (mQuit) {
            return;
        }
        const omx_message message = mMessages.front();
        mMessages.pop_front();
        const sp<android::IOMXObserver> observer = mNodes[message.node].observer;
        mDelivering = true;
        lock.unlock();
        if (observer != nullptr) {
            observer->onMessage(message);
        }
        lock.lock();
        mDelivering = false;
        mChanged.notify_all();
    }
}

// --- What was seen.

int FakeOmx::callCount(const std::string& prefix) const {
    const std::vector<std::string> list = calls();
    return static_cast<int>(std::count_if(
        list.begin(), list.end(), [&](const std::string& call) { return call.rfind(prefix, 0) == 0; }));
}

std::vector<android::IOMX::buffer_id> FakeOmx::idsOf(OMX_U32 port, bool heldOnly) const {
    const Guard lock(mMutex);
    const Node& node = mNodes.at(mLastNode);
    std::vector<buffer_id> ids = node.held;
    if (!heldOnly) {
        ids.clear();
        for (const auto& entry : node.buffers) {
            ids.push_back(entry.first);
        }
    }
    const auto ofOther = [&](buffer_id id) { return node.buffers.at(id).port != port; };
    ids.erase(std::remove_if(ids.begin(), ids.end(), ofOther), ids.end());
    return ids;
}

int FakeOmx::liveNodes() const {
    const Guard lock(mMutex);
    return static_cast<int>(
        std::count_if(mNodes.begin(), mNodes.end(), [](const auto& entry) { return entry.second.live; }));
}

int FakeOmx::liveBuffers() const {
    const Guard lock(mMutex);
    size_t count = 0;
    for (const auto& entry : mNodes) {
        count += entry.second.buffers.size();
    }
    return static_cast<int>(count);
}

// --- The calls of IOMX, as the scripted components answer them.

bool FakeOmx::refusedCall(const std::string& name, const std::string& line) {
    mCalls.push_back(line);
    bool refuse = false;
    for (auto& refusal : mRefusals) {
        const bool meant = refusal.first.empty() || refusal.first == name;
        refuse |= meant && refusal.second > 0 && --refusal.second == 0;
    }
    return refuse;
}

FakeOmx::Node* FakeOmx::liveNode(node_id id) {
    const auto entry = mNodes.find(id);
    return entry != mNodes.end() && entry->second.live ? &entry->second : nullptr;
}

status_t FakeOmx::listNodes(android::List<ComponentInfo>* list) {
    const Guard lock(mMutex);
    if (refused("listNodes")) {
        return android::UNKNOWN_ERROR;
    }
    for (const std::string& name : mComponents) {
        list->push_back({android::String8(name.c_str()), {}});
    }
    return android::OK;
}

status_t FakeOmx::allocateNode(const char* name, const sp<android::IOMXObserver>& observer, node_id* id) {
    const Guard lock(mMutex);
    if (refused("allocateNode", name)) {
        return android::UNKNOWN_ERROR;
    }
    *id = ++mLastNode;
    mNodes[mLastNode].observer = observer;
    return android::OK;
}

status_t FakeOmx::freeNode(node_id id) {
    const Guard lock(mMutex);
    const bool refuse = refused("freeNode", id);
    Node* node = liveNode(id);
    if (node == nullptr) {
        return android::BAD_VALUE;
    }
    *node = Node{node->observer, false};
    return refuse ? android::UNKNOWN_ERROR : android::OK;
}

status_t FakeOmx::sendCommand(node_id id, OMX_COMMANDTYPE command, OMX_S32 param) {
    std::unique_lock<std::recursive_mutex> lock(mMutex);
    Node* node = liveNode(id);
    if (refused("sendCommand", static_cast<int>(command), param) || node == nullptr) {
        return android::UNKNOWN_ERROR;
    }
    if (command == OMX_CommandStateSet) {
        node->wanted = param;
        progress(id, *node);
    }
    lock.unlock();
    settle(mStateAnswer);
    return android::OK;
}

bool FakeOmx::populated(const Node& node) const {
    OMX_U32 missing[2];
    for (OMX_U32 port = 0; port < 2; port++) {
        missing[port] =
            parameter<OMX_PARAM_PORTDEFINITIONTYPE>(OMX_IndexParamPortDefinition, port).nBufferCountActual;
    }
    for (const auto& entry : node.buffers) {
        missing[entry.second.port]--;
    }
    return missing[0] == 0 && missing[1] == 0;
}

/// Completes the wanted transition if its conditions hold now.
void FakeOmx::progress(node_id id, Node& node) {
    const bool starts = node.wanted == OMX_StateIdle && node.state == OMX_StateLoaded;
    const bool ends = node.wanted == OMX_StateLoaded;
    if (node.state == node.wanted || mStateAnswer == Answer::kNever || (starts && !populated(node)) ||
        (ends && !node.buffers.empty())) {
        return;
    }
    if (node.wanted == OMX_StateIdle && node.state == OMX_StateExecuting) {
        for (const buffer_id buffer : std::vector<buffer_id>(node.held)) {
            node.buffers.at(buffer).port == 0 ? sendEmptied(buffer, id) : sendFilled(buffer, 0, 0, id);
        }
    }
    node.state = node.wanted;
    sendEvent(OMX_EventCmdComplete, OMX_CommandStateSet, static_cast<OMX_U32>(node.state), id);
}

status_t FakeOmx::exchange(const char* call, node_id id, OMX_U32 index, uint8_t* params, size_t size,
                           bool set) {
    constexpr size_t kHeaderBytes = 12;  // nSize, nVersion, nPortIndex: the start of every structure
    const Guard lock(mMutex);
    OMX_U32 port = 0;
    memcpy(&port, params + 8, sizeof port);
    char hex[9];
    snprintf(hex, sizeof hex, "%x", static_cast<unsigned>(index));
    if (refused(call, hex, port) || liveNode(id) == nullptr) {
        return android::BAD_VALUE;
    }
    std::vector<uint8_t>& stored = mParameters[{index, port}];
    if (set || stored.empty()) {
        stored.assign(params, params + (set ? size : 0));
        return android::OK;
    }
    if (stored.size() != size) {
        return android::BAD_VALUE;
    }
    std::copy(stored.begin() + kHeaderBytes, stored.end(), params + kHeaderBytes);
    return android::OK;
}

status_t FakeOmx::addBuffer(const char* call, node_id id, OMX_U32 port, const Memory& memory,
                            buffer_id* buffer) {
    const Guard lock(mMutex);
    Node* node = liveNode(id);
    if (refused(call, port) || node == nullptr || port > 1) {
        return android::NO_MEMORY;
    }
    *buffer = ++mLastBuffer;
    node->buffers[*buffer] = {port, memory};
    progress(id, *node);
    return android::OK;
}

status_t FakeOmx::allocateBuffer(node_id id, OMX_U32 port, size_t size, buffer_id* buffer, void** data) {
    const sp<android::MemoryDealer> dealer = new android::MemoryDealer(size, "the component's own");
    const Memory memory = dealer->allocate(size);
    *data = memory->pointer();
    return addBuffer("allocateBuffer", id, port, memory, buffer);
}

status_t FakeOmx::freeBuffer(node_id id, OMX_U32 port, buffer_id buffer) {
    const Guard lock(mMutex);
    const bool refuse = refused("freeBuffer", port, buffer);
    Node* node = liveNode(id);
    if (node == nullptr || node->buffers.count(buffer) == 0 || node->buffers[buffer].port != port) {
        return android::BAD_VALUE;
    }
    node->held.erase(std::remove(node->held.begin(), node->held.end(), buffer), node->held.end());
    node->buffers.erase(buffer);
    progress(id, *node);
    return refuse ? android::UNKNOWN_ERROR : android::OK;
}

/// The buffer, now the component's; null when it is not the port's or was the component's already.
FakeOmx::Buffer* FakeOmx::submit(node_id id, OMX_U32 port, buffer_id buffer) {
    Node* node = liveNode(id);
    if (node == nullptr || node->buffers.count(buffer) == 0 || node->buffers[buffer].port != port ||
        std::count(node->held.begin(), node->held.end(), buffer) != 0) {
        return nullptr;
    }
    node->held.push_back(buffer);
    return &node->buffers[buffer];
}

status_t FakeOmx::fillBuffer(node_id id, buffer_id buffer) {
    std::unique_lock<std::recursive_mutex> lock(mMutex);
    if (refused("fillBuffer", buffer) || submit(id, 1, buffer) == nullptr) {
        return android::BAD_VALUE;
    }
    pumpOutputs(id);
    lock.unlock();
    settle(mEmptyAnswer);
    return android::OK;
}

status_t FakeOmx::emptyBuffer(node_id id, buffer_id buffer, OMX_U32 offset, OMX_U32 length, OMX_U32 flags,
                              OMX_TICKS timestamp) {
    std::unique_lock<std::recursive_mutex> lock(mMutex);
    const bool refuse = refused("emptyBuffer", buffer, length, flags, timestamp);
    const Buffer* const taken = refuse ? nullptr : submit(id, 0, buffer);
    if (taken == nullptr || offset + uint64_t{length} > taken->memory->size()) {
        return android::BAD_VALUE;
    }
    const auto* const bytes = static_cast<const uint8_t*>(taken->memory->pointer()) + offset;
    const SentInput input{buffer, {bytes, bytes + length}, flags, timestamp};
    mInputs.push_back(input);
    const auto handler = mInputHandler;
    lock.unlock();

    if (handler) {
        handler(input);
    }
    if ((flags & OMX_BUFFERFLAG_EOS) != 0) {
        queueOutput({}, OMX_BUFFERFLAG_EOS);
    }
    if (mEmptyAnswer != Answer::kNever) {
        sendEmptied(buffer);
    }
    settle(mEmptyAnswer);
    return android::OK;
}

}  // namespace zem::test
