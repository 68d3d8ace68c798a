// The calls of IOMX, as the scripted components answer them.
#include <algorithm>
#include <cstring>
#include <sstream>

#include "tests/support/omx_messages.h"
#include "tests/support/omx_proxy.h"

using android::IMemory;
using android::IOMXObserver;
using android::sp;
using android::status_t;

namespace zem::test {
namespace {

constexpr size_t kHeaderBytes = 12;  // nSize, nVersion, nPortIndex: the start of every structure
constexpr OMX_U32 kPortDefinition = OMX_IndexParamPortDefinition;

OMX_U32 portOf(const void* params, size_t size) {
    OMX_U32 port = 0;
    if (size >= kHeaderBytes) {
        memcpy(&port, static_cast<const uint8_t*>(params) + 8, sizeof port);
    }
    return port;
}

template <typename... Values>
std::string text(const Values&... values) {
    std::ostringstream out;
    ((out << ' ' << values), ...);
    return out.str();
}

std::string hex(OMX_U32 index) {
    std::ostringstream out;
    out << std::hex << index;
    return out.str();
}

}  // namespace

FakeOmx::Node* FakeOmx::liveNode(node_id node) {
    const auto entry = mNodes.find(node);
    return entry != mNodes.end() && entry->second.live ? &entry->second : nullptr;
}

FakeOmx::Buffer* FakeOmx::findBuffer(Node& node, buffer_id id) {
    for (Buffer& buffer : node.buffers) {
        if (buffer.id == id) {
            return &buffer;
        }
    }
    return nullptr;
}

bool FakeOmx::holds(const Node& node, buffer_id id) {
    return std::find(node.held.begin(), node.held.end(), id) != node.held.end();
}

bool FakeOmx::livesLocally(node_id /*node*/, pid_t /*pid*/) {
    return true;
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

status_t FakeOmx::allocateNode(const char* name, const sp<IOMXObserver>& observer, node_id* node) {
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
    entry->live = false;
    entry->buffers.clear();
    entry->held.clear();
    entry->outputs.clear();
    return refuse ? android::UNKNOWN_ERROR : android::OK;
}

status_t FakeOmx::sendCommand(node_id node, OMX_COMMANDTYPE cmd, OMX_S32 param) {
    Answer answer = Answer::kNever;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        Node* entry = liveNode(node);
        if (refused("sendCommand", text(static_cast<int>(cmd), param)) || entry == nullptr) {
            return android::UNKNOWN_ERROR;
        }
        answer = mStateAnswer;
        if (cmd == OMX_CommandStateSet) {
            entry->wanted = param;
            progress(node, *entry);
        }
    }
    settle(answer);
    return android::OK;
}

bool FakeOmx::populated(const Node& node) const {
    for (OMX_U32 port = 0; port < 2; port++) {
        OMX_PARAM_PORTDEFINITIONTYPE definition{};
        memcpy(&definition, mParameters.at({kPortDefinition, port}).data(), sizeof definition);
        const auto count = std::count_if(node.buffers.begin(), node.buffers.end(),
                                         [port](const Buffer& b) { return b.port == port; });
        if (count != static_cast<std::ptrdiff_t>(definition.nBufferCountActual)) {
            return false;
        }
    }
    return true;
}

/// Completes the wanted transition if its conditions hold now.
void FakeOmx::progress(node_id id, Node& node) {
    if (node.state == node.wanted || mStateAnswer == Answer::kNever) {
        return;
    }
    if (node.wanted == OMX_StateIdle && node.state == OMX_StateLoaded && !populated(node)) {
        return;
    }
    if (node.wanted == OMX_StateLoaded && !node.buffers.empty()) {
        return;
    }
    if (node.wanted == OMX_StateIdle && node.state == OMX_StateExecuting) {
        returnAll(id, node);
    }
    node.state = node.wanted;
    post(eventMessage(id, OMX_EventCmdComplete, OMX_CommandStateSet, static_cast<OMX_U32>(node.state)));
}

void FakeOmx::returnAll(node_id id, Node& node) {
    for (const buffer_id buffer : node.held) {
        const Buffer* entry = findBuffer(node, buffer);
        post(entry->port == 0 ? emptiedMessage(id, buffer) : filledMessage(id, buffer, 0, 0));
    }
    node.held.clear();
}

status_t FakeOmx::load(const char* call, node_id node, OMX_U32 index, void* params, size_t size) {
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (refused(call, text(hex(index), portOf(params, size))) || liveNode(node) == nullptr) {
            return android::UNKNOWN_ERROR;
        }
    }
    std::vector<uint8_t> header(static_cast<uint8_t*>(params),
                                static_cast<uint8_t*>(params) + std::min(size, kHeaderBytes));
    if (!loadParameter(index, portOf(params, size), params, size)) {
        return android::BAD_VALUE;
    }
    memcpy(params, header.data(), header.size());
    return android::OK;
}

status_t FakeOmx::store(const char* call, node_id node, OMX_U32 index, const void* params, size_t size) {
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (refused(call, text(hex(index), portOf(params, size))) || liveNode(node) == nullptr) {
            return android::UNKNOWN_ERROR;
        }
    }
    storeParameter(index, portOf(params, size), params, size);
    return android::OK;
}

status_t FakeOmx::getParameter(node_id node, OMX_INDEXTYPE index, void* params, size_t size) {
    return load("getParameter", node, index, params, size);
}

status_t FakeOmx::setParameter(node_id node, OMX_INDEXTYPE index, const void* params, size_t size) {
    return store("setParameter", node, index, params, size);
}

status_t FakeOmx::getConfig(node_id node, OMX_INDEXTYPE index, void* params, size_t size) {
    return load("getConfig", node, index, params, size);
}

status_t FakeOmx::setConfig(node_id node, OMX_INDEXTYPE index, const void* params, size_t size) {
    return store("setConfig", node, index, params, size);
}

status_t FakeOmx::getState(node_id node, OMX_STATETYPE* state) {
    const std::lock_guard<std::mutex> lock(mMutex);
    const Node* entry = liveNode(node);
    if (refused("getState", "") || entry == nullptr) {
        return android::UNKNOWN_ERROR;
    }
    *state = static_cast<OMX_STATETYPE>(entry->state);
    return android::OK;
}

status_t FakeOmx::addBuffer(node_id node, OMX_U32 port, Buffer buffer, buffer_id* id) {
    Node* entry = liveNode(node);
    if (entry == nullptr || port > 1) {
        return android::BAD_VALUE;
    }
    buffer.id = ++mLastBuffer;
    buffer.port = port;
    *id = buffer.id;
    entry->buffers.push_back(std::move(buffer));
    progress(node, *entry);
    return android::OK;
}

status_t FakeOmx::useBuffer(node_id node, OMX_U32 port, const sp<IMemory>& memory, buffer_id* buffer) {
    const std::lock_guard<std::mutex> lock(mMutex);
    return refused("useBuffer", text(port)) ? android::NO_MEMORY
                                            : addBuffer(node, port, {0, 0, memory, {}}, buffer);
}

status_t FakeOmx::allocateBuffer(node_id node, OMX_U32 port, size_t size, buffer_id* buffer, void** data) {
    const std::lock_guard<std::mutex> lock(mMutex);
    if (refused("allocateBuffer", text(port))) {
        return android::NO_MEMORY;
    }
    Buffer own{0, 0, nullptr, std::vector<uint8_t>(size)};
    *data = own.own.data();  // moving the vector keeps its bytes where they are
    return addBuffer(node, port, std::move(own), buffer);
}

status_t FakeOmx::allocateBufferWithBackup(node_id node, OMX_U32 port, const sp<IMemory>& memory,
                                           buffer_id* buffer) {
    const std::lock_guard<std::mutex> lock(mMutex);
    return refused("allocateBufferWithBackup", text(port))
               ? android::NO_MEMORY
               : addBuffer(node, port, {0, 0, memory, {}}, buffer);
}

status_t FakeOmx::freeBuffer(node_id node, OMX_U32 port, buffer_id buffer) {
    const std::lock_guard<std::mutex> lock(mMutex);
    const bool refuse = refused("freeBuffer", text(port, buffer));
    Node* entry = liveNode(node);
    const Buffer* known = entry != nullptr ? findBuffer(*entry, buffer) : nullptr;
    if (known == nullptr || known->port != port) {
        return android::BAD_VALUE;
    }
    entry->held.erase(std::remove(entry->held.begin(), entry->held.end(), buffer), entry->held.end());
    entry->buffers.erase(entry->buffers.begin() +
                         std::distance(entry->buffers.begin(),
                                       std::find_if(entry->buffers.begin(), entry->buffers.end(),
                                                    [buffer](const Buffer& b) { return b.id == buffer; })));
    progress(node, *entry);
    return refuse ? android::UNKNOWN_ERROR : android::OK;
}

status_t FakeOmx::fillBuffer(node_id node, buffer_id buffer) {
    Answer answer = Answer::kNever;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const bool refuse = refused("fillBuffer", text(buffer));
        Node* entry = liveNode(node);
        const Buffer* known = entry != nullptr ? findBuffer(*entry, buffer) : nullptr;
        if (refuse || known == nullptr || known->port != 1 || holds(*entry, buffer)) {
            return android::BAD_VALUE;
        }
        entry->held.push_back(buffer);
        pumpOutputs(node, *entry);
        answer = mEmptyAnswer;
    }
    settle(answer);
    return android::OK;
}

status_t FakeOmx::emptyBuffer(node_id node, buffer_id buffer, OMX_U32 offset, OMX_U32 length, OMX_U32 flags,
                              OMX_TICKS timestamp) {
    std::unique_lock<std::mutex> lock(mMutex);
    const bool refuse = refused("emptyBuffer", text(buffer, length, flags, timestamp));
    Node* entry = liveNode(node);
    const Buffer* known = entry != nullptr ? findBuffer(*entry, buffer) : nullptr;
    if (refuse || known == nullptr || known->port != 0 || holds(*entry, buffer)) {
        return android::BAD_VALUE;
    }
    const size_t room = known->memory != nullptr ? known->memory->size() : known->own.size();
    if (offset > room || length > room - offset) {
        return android::BAD_VALUE;
    }
    const auto* bytes =
        known->memory != nullptr ? static_cast<const uint8_t*>(known->memory->pointer()) : known->own.data();
    const SentInput input{buffer, {bytes + offset, bytes + offset + length}, flags, timestamp};
    mInputs.push_back(input);
    entry->held.push_back(buffer);
    const Answer answer = mEmptyAnswer;
    const auto handler = mInputHandler;
    lock.unlock();

    if (handler) {
        handler(input);
    }
    if ((flags & OMX_BUFFERFLAG_EOS) != 0) {
        queueOutput({}, OMX_BUFFERFLAG_EOS);
    }
    if (answer != Answer::kNever) {
        sendEmptied(buffer);
    }
    settle(answer);
    return android::OK;
}

status_t FakeOmx::getExtensionIndex(node_id /*node*/, const char* /*name*/, OMX_INDEXTYPE* /*index*/) {
    return android::INVALID_OPERATION;
}

status_t FakeOmx::storeMetaDataInBuffers(node_id, OMX_U32, OMX_BOOL) {
    return android::INVALID_OPERATION;
}
status_t FakeOmx::prepareForAdaptivePlayback(node_id, OMX_U32, OMX_BOOL, OMX_U32, OMX_U32) {
    return android::INVALID_OPERATION;
}
status_t FakeOmx::configureVideoTunnelMode(node_id, OMX_U32, OMX_BOOL, OMX_U32, void**) {
    return android::INVALID_OPERATION;
}
status_t FakeOmx::enableGraphicBuffers(node_id, OMX_U32, OMX_BOOL) {
    return android::INVALID_OPERATION;
}
status_t FakeOmx::getGraphicBufferUsage(node_id, OMX_U32, OMX_U32*) {
    return android::INVALID_OPERATION;
}
status_t FakeOmx::useGraphicBuffer(node_id, OMX_U32, const sp<android::GraphicBuffer>&, buffer_id*) {
    return android::INVALID_OPERATION;
}
status_t FakeOmx::updateGraphicBufferInMeta(node_id, OMX_U32, const sp<android::GraphicBuffer>&, buffer_id) {
    return android::INVALID_OPERATION;
}
status_t FakeOmx::createInputSurface(node_id, OMX_U32, sp<android::IGraphicBufferProducer>*) {
    return android::INVALID_OPERATION;
}
status_t FakeOmx::signalEndOfInputStream(node_id) {
    return android::INVALID_OPERATION;
}
status_t FakeOmx::setInternalOption(node_id, OMX_U32, OMX_U32, const void*, size_t) {
    return android::INVALID_OPERATION;
}

}  // namespace zem::test
