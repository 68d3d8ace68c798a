// The calls of IOMX, as the scripted components answer them.
#include <binder/MemoryDealer.h>

#include <algorithm>
#include <cstring>
#include <sstream>

#include "tests/support/omx_proxy.h"

using android::sp;
using android::status_t;

namespace zem::test {
namespace {

constexpr size_t kHeaderBytes = 12;  // nSize, nVersion, nPortIndex: the start of every structure

OMX_U32 portOf(const void* params) {
    OMX_U32 port = 0;
    memcpy(&port, static_cast<const uint8_t*>(params) + 8, sizeof port);
    return port;
}

template <typename... Values>
std::string text(const Values&... values) {
    std::ostringstream out;
    ((out << ' ' << values), ...);
    return out.str();
}

std::string hex(OMX_U32 index) {
    char digits[9];
    snprintf(digits, sizeof digits, "%x", static_cast<unsigned>(index));
    return digits;
}

}  // namespace

/// Remembers a call; true when the script lets it fail.
bool FakeOmx::refused(const std::string& name, const std::string& arguments) {
    mCalls.push_back(name + arguments);
    bool refuse = false;
    for (auto& refusal : mRefusals) {
        const bool meant = refusal.first.empty() || refusal.first == name;
        refuse |= meant && refusal.second > 0 && --refusal.second == 0;
    }
    return refuse;
}

FakeOmx::Node* FakeOmx::liveNode(node_id node) {
    const auto entry = mNodes.find(node);
    return entry != mNodes.end() && entry->second.live ? &entry->second : nullptr;
}

status_t FakeOmx::listNodes(android::List<ComponentInfo>* list) {
    const std::lock_guard<std::mutex> lock(mMutex);
    if (refused("listNodes", "")) {
        return android::UNKNOWN_ERROR;
    }
    for (const std::string& name : mComponents) {
        ComponentInfo info;
        info.mName = android::String8(name.c_str());
        list->push_back(info);
    }
    return android::OK;
}

status_t FakeOmx::allocateNode(const char* name, const sp<android::IOMXObserver>& observer, node_id* node) {
    const std::lock_guard<std::mutex> lock(mMutex);
    if (refused("allocateNode", text(name))) {
        return android::UNKNOWN_ERROR;
    }
    *node = ++mLastNode;
    mNodes[mLastNode].observer = observer;
    return android::OK;
}

status_t FakeOmx::freeNode(node_id node) {
    const std::lock_guard<std::mutex> lock(mMutex);
    const bool refuse = refused("freeNode", text(node));
    Node* entry = liveNode(node);
    if (entry == nullptr) {
        return android::BAD_VALUE;
    }
    const sp<android::IOMXObserver> observer = entry->observer;
    *entry = Node{};
    entry->observer = observer;
    entry->live = false;
    return refuse ? android::UNKNOWN_ERROR : android::OK;
}

status_t FakeOmx::sendCommand(node_id node, OMX_COMMANDTYPE cmd, OMX_S32 param) {
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        Node* entry = liveNode(node);
        if (refused("sendCommand", text(static_cast<int>(cmd), param)) || entry == nullptr) {
            return android::UNKNOWN_ERROR;
        }
        if (cmd == OMX_CommandStateSet) {
            entry->wanted = param;
            progress(node, *entry);
        }
    }
    settle(mStateAnswer);
    return android::OK;
}

bool FakeOmx::populated(const Node& node) const {
    for (OMX_U32 port = 0; port < 2; port++) {
        OMX_PARAM_PORTDEFINITIONTYPE definition{};
        memcpy(&definition, mParameters.at({OMX_IndexParamPortDefinition, port}).data(), sizeof definition);
        const auto count = std::count_if(node.buffers.begin(), node.buffers.end(),
                                         [port](const auto& entry) { return entry.second.port == port; });
        if (count != static_cast<std::ptrdiff_t>(definition.nBufferCountActual)) {
            return false;
        }
    }
    return true;
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
        returnAll(id, node);
    }
    node.state = node.wanted;
    postEvent(id, OMX_EventCmdComplete, OMX_CommandStateSet, static_cast<OMX_U32>(node.state));
}

void FakeOmx::returnAll(node_id id, Node& node) {
    const std::vector<buffer_id> held = node.held;
    for (const buffer_id buffer : held) {
        if (node.buffers.at(buffer).port == 0) {
            postEmptied(id, buffer);
        } else {
            postFilled(id, buffer, 0, 0);
        }
    }
}

bool FakeOmx::accepts(const char* call, node_id node, OMX_U32 index, const void* params) {
    const std::lock_guard<std::mutex> lock(mMutex);
    return !refused(call, text(hex(index), portOf(params))) && liveNode(node) != nullptr;
}

status_t FakeOmx::load(const char* call, node_id node, OMX_U32 index, void* params, size_t size) {
    if (!accepts(call, node, index, params)) {
        return android::BAD_VALUE;
    }
    uint8_t header[kHeaderBytes];
    memcpy(header, params, kHeaderBytes);
    const bool fits = loadParameter(index, portOf(params), params, size);
    memcpy(params, header, kHeaderBytes);
    return fits ? android::OK : android::BAD_VALUE;
}

status_t FakeOmx::store(const char* call, node_id node, OMX_U32 index, const void* params, size_t size) {
    if (!accepts(call, node, index, params)) {
        return android::BAD_VALUE;
    }
    storeParameter(index, portOf(params), params, size);
    return android::OK;
}

status_t FakeOmx::addBuffer(const char* call, node_id node, OMX_U32 port, const sp_memory& memory,
                            buffer_id* id) {
    const std::lock_guard<std::mutex> lock(mMutex);
    Node* entry = liveNode(node);
    if (refused(call, text(port)) || entry == nullptr || port > 1) {
        return android::NO_MEMORY;
    }
    *id = ++mLastBuffer;
    entry->buffers[*id] = {port, memory};
    progress(node, *entry);
    return android::OK;
}

status_t FakeOmx::allocateBuffer(node_id node, OMX_U32 port, size_t size, buffer_id* buffer, void** data) {
    const sp<android::MemoryDealer> dealer = new android::MemoryDealer(size, "the component's own");
    const sp_memory memory = dealer->allocate(size);
    *data = memory->pointer();
    return addBuffer("allocateBuffer", node, port, memory, buffer);
}

status_t FakeOmx::freeBuffer(node_id node, OMX_U32 port, buffer_id buffer) {
    const std::lock_guard<std::mutex> lock(mMutex);
    const bool refuse = refused("freeBuffer", text(port, buffer));
    Node* entry = liveNode(node);
    if (entry == nullptr || entry->buffers.count(buffer) == 0 || entry->buffers[buffer].port != port) {
        return android::BAD_VALUE;
    }
    entry->held.erase(std::remove(entry->held.begin(), entry->held.end(), buffer), entry->held.end());
    entry->buffers.erase(buffer);
    progress(node, *entry);
    return refuse ? android::UNKNOWN_ERROR : android::OK;
}

/// The buffer, now the component's; null when it is not the port's or was the component's already.
FakeOmx::Buffer* FakeOmx::submit(node_id node, OMX_U32 port, buffer_id id) {
    Node* entry = liveNode(node);
    const bool known = entry != nullptr && entry->buffers.count(id) != 0;
    if (!known || entry->buffers[id].port != port ||
        std::count(entry->held.begin(), entry->held.end(), id) != 0) {
        return nullptr;
    }
    entry->held.push_back(id);
    return &entry->buffers[id];
}

status_t FakeOmx::fillBuffer(node_id node, buffer_id buffer) {
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (refused("fillBuffer", text(buffer)) || submit(node, 1, buffer) == nullptr) {
            return android::BAD_VALUE;
        }
        pumpOutputs(node, mNodes[node]);
    }
    settle(mEmptyAnswer);
    return android::OK;
}

status_t FakeOmx::emptyBuffer(node_id node, buffer_id buffer, OMX_U32 offset, OMX_U32 length, OMX_U32 flags,
                              OMX_TICKS timestamp) {
    std::unique_lock<std::mutex> lock(mMutex);
    const bool refuse = refused("emptyBuffer", text(buffer, length, flags, timestamp));
    const Buffer* const taken = refuse ? nullptr : submit(node, 0, buffer);
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
