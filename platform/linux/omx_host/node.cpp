// Birth, parameters and end of a node.
#include "platform/linux/omx_host/node.h"

#include <cstddef>
#include <cstdio>
#include <cstring>

namespace zem {

using android::BAD_VALUE;
using android::DEAD_OBJECT;
using android::INVALID_OPERATION;
using android::OK;
using android::status_t;

namespace {

constexpr OMX_U32 kLargestBuffer = 1U << 30;  // a larger wish is a mistake, and would overflow sums

// All parameter structures with a port have it there, after nSize and nVersion.
constexpr size_t kPortOffset = 2 * sizeof(OMX_U32);

/// A copy of a caller's structure, aligned for every OpenMAX type.
class Params {
  public:
    Params(const void* params, size_t size) : mSize(params != nullptr && size <= sizeof mBytes ? size : 0) {
        if (mSize != 0) {
            memcpy(mBytes, params, mSize);
        }
    }
    bool valid() const { return mSize != 0; }
    void* get() { return mBytes; }
    void copyTo(void* params) const { memcpy(params, mBytes, mSize); }
    /// The word where structures with a port have it; kPortCount when there is none.
    OMX_U32 port() const {
        OMX_U32 port = kPortCount;
        if (mSize >= kPortOffset + sizeof port) {
            memcpy(&port, mBytes + kPortOffset, sizeof port);
        }
        return port;
    }

  private:
    alignas(std::max_align_t) uint8_t mBytes[1024] = {};  // the largest structure in use has 136
    const size_t mSize;
};

bool samePicture(const OMX_PARAM_PORTDEFINITIONTYPE& a, const OMX_PARAM_PORTDEFINITIONTYPE& b) {
    const OMX_VIDEO_PORTDEFINITIONTYPE& x = a.format.video;
    const OMX_VIDEO_PORTDEFINITIONTYPE& y = b.format.video;
    return b.eDomain != OMX_PortDomainVideo ||
           (x.nFrameWidth == y.nFrameWidth && x.nFrameHeight == y.nFrameHeight);
}

}  // namespace

Node::Node(android::IOMX::node_id id, const std::string& name, std::unique_ptr<Component> component)
    : mId(id), mName(name), mComponent(std::move(component)) {
    for (OMX_U32 port = 0; port < kPortCount; ++port) {
        mPorts[port].describe(describe(port));
    }
}

std::shared_ptr<Node> Node::create(android::IOMX::node_id id, const ComponentFactory& factory,
                                   const android::sp<android::IOMXObserver>& observer) {
    std::unique_ptr<Component> component = factory.create();
    if (component == nullptr) {
        return nullptr;
    }
    auto node = std::make_shared<Node>(id, factory.name, std::move(component));
    node->mDelivery = MessageDelivery::start(observer, id);
    if (node->mDelivery == nullptr) {
        return nullptr;
    }
    char name[32];
    snprintf(name, sizeof name, "omx-work-%u", id);
    Node* const worker = node.get();  // outlives the thread: shutDown() joins it
    if (!node->mWorker.start(name, [worker] { worker->work(); })) {
        node->mDelivery->close();
        return nullptr;
    }
    return node;
}

void Node::shutDown() {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mQuit = true;
        mWake.notify_one();
    }
    mDelivery->close();
    mWorker.join();
    std::lock_guard<std::mutex> component(mComponentMutex);
    const OMX_STATETYPE last = state();
    if (last == OMX_StateExecuting || last == OMX_StatePause) {
        mComponent->stop();
    }
    mComponent.reset();
    std::lock_guard<std::mutex> lock(mMutex);
    for (Port& port : mPorts) {
        port.removeAll();
    }
}

OMX_STATETYPE Node::state() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mState;
}

OMX_PARAM_PORTDEFINITIONTYPE Node::describe(OMX_U32 port) const {
    OMX_PARAM_PORTDEFINITIONTYPE described{};
    mComponent->describePort(port, &described);
    return described;
}

void Node::refreshDefinitions() {
    for (OMX_U32 port = 0; port < kPortCount; ++port) {
        const OMX_PARAM_PORTDEFINITIONTYPE described = describe(port);
        std::lock_guard<std::mutex> lock(mMutex);
        mPorts[port].redescribe(described);
    }
}

status_t Node::getParameter(OMX_INDEXTYPE index, void* params, size_t size) {
    if (index == OMX_IndexParamPortDefinition) {
        Params copy(params, size);
        // From the host's copy: a client that has just heard of a change need not wait for the codec.
        auto* definition = structOf<OMX_PARAM_PORTDEFINITIONTYPE>(copy.get(), size);
        if (!copy.valid() || definition == nullptr || definition->nPortIndex >= kPortCount) {
            return BAD_VALUE;
        }
        std::lock_guard<std::mutex> lock(mMutex);
        mPorts[definition->nPortIndex].fill(definition);
        copy.copyTo(params);
        return OK;
    }
    return ask(&Component::getParameter, index, params, size);
}

/// What the component itself answers, to a copy: `params` changes only when it does.
status_t Node::ask(status_t (Component::*getter)(OMX_INDEXTYPE, void*, size_t), OMX_INDEXTYPE index,
                   void* params, size_t size) {
    Params copy(params, size);
    if (!copy.valid()) {
        return BAD_VALUE;
    }
    std::lock_guard<std::mutex> component(mComponentMutex);
    const status_t status =
        mComponent != nullptr ? (mComponent.get()->*getter)(index, copy.get(), size) : DEAD_OBJECT;
    if (status == OK) {
        copy.copyTo(params);
    }
    return status;
}

bool Node::mayConfigure(OMX_U32 port) const {
    const bool disabled = port < kPortCount && !mPorts[port].enabled;
    return disabled || (mState == OMX_StateLoaded && !mTarget.has_value());
}

status_t Node::setParameter(OMX_INDEXTYPE index, const void* params, size_t size) {
    Params copy(params, size);
    if (!copy.valid()) {
        return BAD_VALUE;
    }
    std::lock_guard<std::mutex> component(mComponentMutex);
    if (mComponent == nullptr) {
        return DEAD_OBJECT;
    }
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (!mayConfigure(copy.port())) {
            return INVALID_OPERATION;
        }
    }
    if (index == OMX_IndexParamPortDefinition) {
        const auto* wanted = structOf<OMX_PARAM_PORTDEFINITIONTYPE>(copy.get(), size);
        return wanted != nullptr ? setPortDefinition(*wanted) : BAD_VALUE;
    }
    const status_t status = mComponent->setParameter(index, copy.get(), size);
    if (status == OK) {
        refreshDefinitions();
    }
    return status;
}

status_t Node::setPortDefinition(const OMX_PARAM_PORTDEFINITIONTYPE& wanted) {
    const OMX_U32 port = wanted.nPortIndex;
    if (port >= kPortCount || wanted.nBufferSize > kLargestBuffer) {
        return BAD_VALUE;
    }
    OMX_U32 size = wanted.nBufferSize;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        const OMX_PARAM_PORTDEFINITIONTYPE& present = mPorts[port].definition();
        if (wanted.nBufferCountActual < present.nBufferCountMin) {
            return BAD_VALUE;
        }
        if (size == present.nBufferSize) {
            // Written back as read: no wish of the client's, and a new frame size starts without one.
            size = samePicture(wanted, present) ? mPorts[port].requestedSize() : 0;
        }
    }
    const status_t status = mComponent->setPortFormat(port, wanted);
    if (status != OK) {
        return status;
    }
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mPorts[port].request(size, wanted.nBufferCountActual);
    }
    refreshDefinitions();
    return OK;
}

status_t Node::getConfig(OMX_INDEXTYPE index, void* params, size_t size) {
    return ask(&Component::getConfig, index, params, size);
}

status_t Node::setConfig(OMX_INDEXTYPE index, const void* params, size_t size) {
    Params copy(params, size);
    if (!copy.valid()) {
        return BAD_VALUE;
    }
    std::lock_guard<std::mutex> component(mComponentMutex);
    if (mComponent == nullptr) {
        return DEAD_OBJECT;
    }
    const status_t status = mComponent->setConfig(index, copy.get(), size);
    if (status == OK) {
        refreshDefinitions();
    }
    return status;
}

status_t Node::getExtensionIndex(const char* name, OMX_INDEXTYPE* index) {
    if (name == nullptr || index == nullptr) {
        return BAD_VALUE;
    }
    std::lock_guard<std::mutex> component(mComponentMutex);
    return mComponent != nullptr ? mComponent->getExtensionIndex(name, index) : DEAD_OBJECT;
}

}  // namespace zem
