// The script, the messages and what was seen; the calls themselves are in omx_proxy_calls.cpp.
#include <binder/IServiceManager.h>
#include <pthread.h>

#include <algorithm>
#include <cstring>

#include "tests/support/omx_messages.h"
#include "tests/support/omx_proxy.h"

using android::IOMXObserver;
using android::omx_message;
using android::sp;

namespace zem::test {
namespace {

constexpr OMX_U32 kPortDefinition = OMX_IndexParamPortDefinition;

}  // namespace

FakeOmx::FakeOmx(std::vector<std::string> components)
    : mComponents(std::move(components)), mMessageThread([this] { deliverMessages(); }) {
    pthread_setname_np(mMessageThread.native_handle(), "fake-omx");
    setBuffers(0, 2, 4096);
    setBuffers(1, 2, 4096);
}

FakeOmx::~FakeOmx() {
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mQuit = true;
    }
    mChanged.notify_all();
    mMessageThread.join();
}

// --- The script.

void FakeOmx::setBuffers(OMX_U32 port, OMX_U32 count, OMX_U32 size) {
    auto definition = parameter<OMX_PARAM_PORTDEFINITIONTYPE>(kPortDefinition, port);
    definition.nPortIndex = port;
    definition.nBufferCountActual = count;
    definition.nBufferSize = size;
    presetParameter(kPortDefinition, port, definition);
}

void FakeOmx::setStateAnswer(Answer answer) {
    const std::lock_guard<std::mutex> lock(mMutex);
    mStateAnswer = answer;
}

void FakeOmx::setEmptyAnswer(Answer answer) {
    const std::lock_guard<std::mutex> lock(mMutex);
    mEmptyAnswer = answer;
}

void FakeOmx::setInputHandler(std::function<void(const SentInput&)> handler) {
    const std::lock_guard<std::mutex> lock(mMutex);
    mInputHandler = std::move(handler);
}

void FakeOmx::refuseCall(int n) {
    const std::lock_guard<std::mutex> lock(mMutex);
    mRefuseCall = n;
}

void FakeOmx::refuse(const std::string& call, int n) {
    const std::lock_guard<std::mutex> lock(mMutex);
    mRefusals.emplace_back(call, n);
}

void FakeOmx::holdMessages(bool hold) {
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mHold = hold;
    }
    mChanged.notify_all();
}

// --- Messages.

void FakeOmx::post(const omx_message& message) {
    mMessages.push_back(message);
    mChanged.notify_all();
}

void FakeOmx::send(const omx_message& message) {
    const std::lock_guard<std::mutex> lock(mMutex);
    omx_message addressed = message;
    addressed.node = mLastNode;
    post(addressed);
}

void FakeOmx::sendEvent(OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2) {
    send(eventMessage(0, event, data1, data2));
}

void FakeOmx::sendEmptied(buffer_id buffer) {
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        auto& held = mNodes[mLastNode].held;
        held.erase(std::remove(held.begin(), held.end(), buffer), held.end());
    }
    send(emptiedMessage(0, buffer));
}

void FakeOmx::sendFilled(buffer_id buffer, OMX_U32 length, OMX_U32 flags) {
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        auto& held = mNodes[mLastNode].held;
        held.erase(std::remove(held.begin(), held.end(), buffer), held.end());
    }
    send(filledMessage(0, buffer, length, flags));
}

void FakeOmx::queueOutput(std::vector<uint8_t> bytes, OMX_U32 flags) {
    const std::lock_guard<std::mutex> lock(mMutex);
    Node& node = mNodes[mLastNode];
    node.outputs.push_back({std::move(bytes), flags});
    pumpOutputs(mLastNode, node);
}

/// Pairs waiting outputs with held output buffers, both oldest first.
void FakeOmx::pumpOutputs(node_id id, Node& node) {
    for (size_t i = 0; i < node.held.size() && !node.outputs.empty();) {
        Buffer* buffer = findBuffer(node, node.held[i]);
        if (buffer == nullptr || buffer->port != 1) {
            i++;
            continue;
        }
        const Output output = std::move(node.outputs.front());
        node.outputs.pop_front();
        auto* room =
            buffer->memory != nullptr ? static_cast<uint8_t*>(buffer->memory->pointer()) : buffer->own.data();
        const size_t size = buffer->memory != nullptr ? buffer->memory->size() : buffer->own.size();
        if (!output.bytes.empty()) {
            memcpy(room, output.bytes.data(), std::min(size, output.bytes.size()));
        }
        node.held.erase(node.held.begin() + static_cast<std::ptrdiff_t>(i));
        post(filledMessage(id, buffer->id, static_cast<OMX_U32>(output.bytes.size()), output.flags));
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
        const sp<IOMXObserver> observer = mNodes[message.node].observer;
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

/// Remembers a call; true when the script lets it fail.
bool FakeOmx::refused(const std::string& name, const std::string& arguments) {
    mCalls.push_back(name + arguments);
    bool refuse = mRefuseCall > 0 && --mRefuseCall == 0;
    for (auto& refusal : mRefusals) {
        if (refusal.first == name && refusal.second > 0 && --refusal.second == 0) {
            refuse = true;
        }
    }
    return refuse;
}

std::vector<std::string> FakeOmx::calls() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mCalls;
}

int FakeOmx::callCount(const std::string& prefix) const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return static_cast<int>(std::count_if(
        mCalls.begin(), mCalls.end(), [&](const std::string& call) { return call.rfind(prefix, 0) == 0; }));
}

void FakeOmx::forgetCalls() {
    const std::lock_guard<std::mutex> lock(mMutex);
    mCalls.clear();
}

std::vector<SentInput> FakeOmx::inputs() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mInputs;
}

std::vector<android::IOMX::buffer_id> FakeOmx::buffers(OMX_U32 port) const {
    const std::lock_guard<std::mutex> lock(mMutex);
    std::vector<buffer_id> ids;
    for (const Buffer& buffer : mNodes.at(mLastNode).buffers) {
        if (buffer.port == port) {
            ids.push_back(buffer.id);
        }
    }
    return ids;
}

std::vector<android::IOMX::buffer_id> FakeOmx::heldBuffers(OMX_U32 port) const {
    const std::vector<buffer_id> ofPort = buffers(port);
    const std::lock_guard<std::mutex> lock(mMutex);
    std::vector<buffer_id> ids;
    for (const buffer_id id : mNodes.at(mLastNode).held) {
        if (std::find(ofPort.begin(), ofPort.end(), id) != ofPort.end()) {
            ids.push_back(id);
        }
    }
    return ids;
}

int FakeOmx::liveNodes() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return static_cast<int>(
        std::count_if(mNodes.begin(), mNodes.end(), [](const auto& entry) { return entry.second.live; }));
}

int FakeOmx::liveBuffers() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    size_t count = 0;
    for (const auto& entry : mNodes) {
        count += entry.second.buffers.size();
    }
    return static_cast<int>(count);
}

bool FakeOmx::loadParameter(OMX_U32 index, OMX_U32 port, void* params, size_t size) const {
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto entry = mParameters.find({index, port});
    if (entry == mParameters.end()) {
        return true;
    }
    if (entry->second.size() != size) {
        return false;
    }
    memcpy(params, entry->second.data(), size);
    return true;
}

void FakeOmx::storeParameter(OMX_U32 index, OMX_U32 port, const void* params, size_t size) {
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto* bytes = static_cast<const uint8_t*>(params);
    mParameters[{index, port}].assign(bytes, bytes + size);
}

// --- The service.

namespace {

class FakeMediaPlayerService : public android::BnMediaPlayerService {
  public:
    explicit FakeMediaPlayerService(const sp<android::IOMX>& omx) : mOmx(omx) {}
    sp<android::IOMX> getOMX() override { return mOmx; }

  private:
    const sp<android::IOMX> mOmx;
};

void installMediaService(const sp<android::IBinder>& service) {
    android::defaultServiceManager()->addService(android::String16("media.player"), service);
}

/// A binder of no interface: what is left to a client when the service's process is gone.
sp<android::IBinder> absentService() {
    return new android::BBinder;
}

}  // namespace

FakeMediaService::FakeMediaService(const sp<android::IOMX>& omx) {
    installMediaService(new FakeMediaPlayerService(omx));
}

FakeMediaService::FakeMediaService() {
    installMediaService(absentService());
}

FakeMediaService::~FakeMediaService() {
    installMediaService(absentService());
}

}  // namespace zem::test
