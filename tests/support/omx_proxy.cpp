// The script, the messages and what was seen; the calls themselves are in omx_proxy_calls.cpp.
#include "tests/support/omx_proxy.h"

#include <binder/IServiceManager.h>
#include <pthread.h>

#include <algorithm>
#include <cstring>

#include "platform/linux/omx_host/media_player_service.h"

using android::omx_message;
using android::sp;

namespace zem::test {

using Guard = std::lock_guard<std::mutex>;

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

// --- The script.

void FakeOmx::setBuffers(OMX_U32 port, OMX_U32 count, OMX_U32 size) {
    auto definition = parameter<OMX_PARAM_PORTDEFINITIONTYPE>(OMX_IndexParamPortDefinition, port);
    definition.nPortIndex = port;
    definition.nBufferCountActual = count;
    definition.nBufferSize = size;
    presetParameter(OMX_IndexParamPortDefinition, port, definition);
}

void FakeOmx::setInputHandler(std::function<void(const SentInput&)> handler) {
    const Guard lock(mMutex);
    mInputHandler = std::move(handler);
}

void FakeOmx::refuse(const std::string& call, int n) {
    const Guard lock(mMutex);
    mRefusals[call] = n;
}

void FakeOmx::holdMessages(bool hold) {
    {
        const Guard lock(mMutex);
        mHold = hold;
    }
    mChanged.notify_all();
}

// --- Messages.

void FakeOmx::post(const omx_message& message) {
    mMessages.push_back(message);
    mChanged.notify_all();
}

void FakeOmx::postEvent(node_id node, OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2) {
    omx_message message{};
    message.type = omx_message::EVENT;
    message.node = node;
    message.u.event_data = {event, data1, data2};
    post(message);
}

void FakeOmx::postEmptied(node_id node, buffer_id buffer) {
    auto& held = mNodes[node].held;
    held.erase(std::remove(held.begin(), held.end(), buffer), held.end());
    omx_message message{};
    message.type = omx_message::EMPTY_BUFFER_DONE;
    message.node = node;
    message.u.buffer_data.buffer = buffer;
    post(message);
}

void FakeOmx::postFilled(node_id node, buffer_id buffer, OMX_U32 length, OMX_U32 flags) {
    auto& held = mNodes[node].held;
    held.erase(std::remove(held.begin(), held.end(), buffer), held.end());
    omx_message message{};
    message.type = omx_message::FILL_BUFFER_DONE;
    message.node = node;
    message.u.extended_buffer_data = {buffer, 0, length, flags, 0};
    post(message);
}

void FakeOmx::sendEvent(OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2) {
    const Guard lock(mMutex);
    postEvent(mLastNode, event, data1, data2);
}

void FakeOmx::sendEmptied(buffer_id buffer) {
    const Guard lock(mMutex);
    postEmptied(mLastNode, buffer);
}

void FakeOmx::sendFilled(buffer_id buffer, OMX_U32 length, OMX_U32 flags) {
    const Guard lock(mMutex);
    postFilled(mLastNode, buffer, length, flags);
}

void FakeOmx::queueOutput(std::vector<uint8_t> bytes, OMX_U32 flags) {
    const Guard lock(mMutex);
    Node& node = mNodes[mLastNode];
    node.outputs.push_back({std::move(bytes), flags});
    pumpOutputs(mLastNode, node);
}

/// Pairs waiting outputs with held output buffers, both oldest first.
void FakeOmx::pumpOutputs(node_id id, Node& node) {
    const std::vector<buffer_id> held = node.held;
    for (const buffer_id buffer : held) {
        const auto entry = node.buffers.find(buffer);
        if (node.outputs.empty() || entry == node.buffers.end() || entry->second.port != 1) {
            continue;
        }
        const Output output = std::move(node.outputs.front());
        node.outputs.pop_front();
        const size_t room = entry->second.memory->size();
        std::copy_n(output.bytes.begin(), std::min(room, output.bytes.size()),
                    static_cast<uint8_t*>(entry->second.memory->pointer()));
        postFilled(id, buffer, static_cast<OMX_U32>(output.bytes.size()), output.flags);
    }
}

void FakeOmx::waitDelivered() {
    std::unique_lock<std::mutex> lock(mMutex);
    mChanged.wait(lock, [this] { return mMessages.empty() && !mDelivering; });
}

/// Ends a call that may have caused messages, as the script wants them answered.
void FakeOmx::settle(Answer answer) {
    if (answer == Answer::kBeforeReturn && std::this_thread::get_id() != mMessageThread.get_id()) {
        waitDelivered();
    }
}

void FakeOmx::deliverMessages() {
    std::unique_lock<std::mutex> lock(mMutex);
    for (;;) {
        mChanged.wait(lock, [this] { return mQuit || (!mHold && !mMessages.empty()); });
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

std::vector<std::string> FakeOmx::calls() const {
    const Guard lock(mMutex);
    return mCalls;
}

int FakeOmx::callCount(const std::string& prefix) const {
    const Guard lock(mMutex);
    return static_cast<int>(std::count_if(
        mCalls.begin(), mCalls.end(), [&](const std::string& call) { return call.rfind(prefix, 0) == 0; }));
}

void FakeOmx::forgetCalls() {
    const Guard lock(mMutex);
    mCalls.clear();
}

std::vector<SentInput> FakeOmx::inputs() const {
    const Guard lock(mMutex);
    return mInputs;
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

bool FakeOmx::loadParameter(OMX_U32 index, OMX_U32 port, void* params, size_t size) const {
    const Guard lock(mMutex);
    const auto entry = mParameters.find({index, port});
    if (entry != mParameters.end() && entry->second.size() == size) {
        memcpy(params, entry->second.data(), size);
    }
    return entry == mParameters.end() || entry->second.size() == size;
}

void FakeOmx::storeParameter(OMX_U32 index, OMX_U32 port, const void* params, size_t size) {
    const Guard lock(mMutex);
    const auto* bytes = static_cast<const uint8_t*>(params);
    mParameters[{index, port}].assign(bytes, bytes + size);
}

// --- The service.

namespace {

void installMediaService(const sp<android::IBinder>& service) {
    android::defaultServiceManager()->addService(android::String16("media.player"), service);
}

}  // namespace

FakeMediaService::FakeMediaService(const sp<android::IOMX>& omx) {
    installMediaService(makeMediaPlayerService(omx)->asBinder());
}

// A binder of no interface: what is left to a client when the service's process is gone.
FakeMediaService::FakeMediaService() {
    installMediaService(new android::BBinder);
}

FakeMediaService::~FakeMediaService() {
    installMediaService(new android::BBinder);
}

}  // namespace zem::test
