// An IOMX in front of the real host that can refuse any call, swallow messages and invent others.
#pragma once

#include <binder/IServiceManager.h>
#include <media/IOMX.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <utility>

#include "platform/linux/omx_host/media_player_service.h"

namespace zem::test {

enum class OmxCall {
    ListNodes,
    AllocateNode,
    FreeNode,
    SendCommand,
    GetParameter,
    SetParameter,
    GetConfig,
    SetConfig,
    GetState,
    UseBuffer,
    AllocateBuffer,
    AllocateBufferWithBackup,
    FreeBuffer,
    FillBuffer,
    EmptyBuffer,
    GetExtensionIndex,
    Count
};

using MessageFilter = std::function<bool(const android::omx_message&)>;

/// Stands between a node and the engine's observer; passes what the filter lets through.
class FilteringObserver final : public android::BnOMXObserver {
  public:
    FilteringObserver(const android::sp<android::IOMXObserver>& target, MessageFilter filter)
        : mTarget(target), mFilter(std::move(filter)) {}
    void onMessage(const android::omx_message& msg) override {
        if (mFilter(msg)) {
            mTarget->onMessage(msg);
        }
    }

  private:
    const android::sp<android::IOMXObserver> mTarget;
    const MessageFilter mFilter;
};

/// Forwards to `inner`. A refused call is not forwarded, but freeNode and freeBuffer are: they are
/// carried out and yet report the failure, so that leaks found are the engine's. Any thread.
class FaultyOmx final : public android::BnOMX {
  public:
    using sp_omx = android::sp<android::IOMX>;
    using status_t = android::status_t;

    explicit FaultyOmx(const sp_omx& inner) : mInner(inner) {}

    /// Refuses the n-th call (from 1) of this kind from now on; 0 refuses none, -1 all.
    void refuse(OmxCall call, int nth) {
        mSeen[index(call)] = 0;
        mRefused[index(call)] = nth;
    }
    /// Refuses the n-th call (from 1) of all kinds together from now on; 0 refuses none.
    void refuseAny(int nth) {
        mSeenOfAll = 0;
        mRefusedOfAll = nth;
    }
    /// Calls since refuseAny(), of all kinds.
    int calls() const { return mSeenOfAll; }
    /// Calls of one kind since refuse() of it, or ever.
    int calls(OmxCall call) const { return mSeen[index(call)]; }
    /// Nodes and buffers that were given out and not freed.
    int liveNodes() const { return mLiveNodes; }
    int liveBuffers() const { return mLiveBuffers; }

    /// Messages for which `filter` is false never reach the observer. Nodes allocated later too.
    void setFilter(MessageFilter filter) {
        std::lock_guard<std::mutex> lock(mMutex);
        mFilter = std::move(filter);
    }
    /// Never acknowledges the given state.
    void swallowState(OMX_STATETYPE state) {
        setFilter([state](const android::omx_message& msg) {
            return !(msg.type == android::omx_message::EVENT &&
                     msg.u.event_data.event == OMX_EventCmdComplete &&
                     msg.u.event_data.data1 == OMX_CommandStateSet &&
                     msg.u.event_data.data2 == static_cast<OMX_U32>(state));
        });
    }
    /// Hands `msg` to the observer of the node allocated last, on the caller's thread.
    void inject(const android::omx_message& msg) {
        android::sp<android::IOMXObserver> target;
        {
            std::lock_guard<std::mutex> lock(mMutex);
            target = mLastObserver;
        }
        if (target != nullptr) {
            target->onMessage(msg);
        }
    }
    /// Forgets the observer kept for inject().
    void forgetObserver() {
        std::lock_guard<std::mutex> lock(mMutex);
        mLastObserver.clear();
    }

    bool livesLocally(node_id node, pid_t pid) override { return mInner->livesLocally(node, pid); }
    status_t listNodes(android::List<ComponentInfo>* list) override {
        return refused(OmxCall::ListNodes) ? kRefusal : mInner->listNodes(list);
    }
    status_t allocateNode(const char* name, const android::sp<android::IOMXObserver>& observer,
                          node_id* node) override {
        if (refused(OmxCall::AllocateNode)) {
            return kRefusal;
        }
        android::sp<android::IOMXObserver> wrapped =
            new FilteringObserver(observer, [this](const android::omx_message& msg) { return lets(msg); });
        const status_t status = mInner->allocateNode(name, wrapped, node);
        if (status == android::OK) {
            ++mLiveNodes;
            std::lock_guard<std::mutex> lock(mMutex);
            mLastObserver = observer;
        }
        return status;
    }
    status_t freeNode(node_id node) override {
        const bool fail = refused(OmxCall::FreeNode);
        const status_t status = mInner->freeNode(node);
        mLiveNodes -= status == android::OK ? 1 : 0;
        return fail ? kRefusal : status;
    }
    status_t sendCommand(node_id node, OMX_COMMANDTYPE cmd, OMX_S32 param) override {
        return refused(OmxCall::SendCommand) ? kRefusal : mInner->sendCommand(node, cmd, param);
    }
    status_t getParameter(node_id node, OMX_INDEXTYPE index, void* params, size_t size) override {
        return refused(OmxCall::GetParameter) ? kRefusal : mInner->getParameter(node, index, params, size);
    }
    status_t setParameter(node_id node, OMX_INDEXTYPE index, const void* params, size_t size) override {
        return refused(OmxCall::SetParameter) ? kRefusal : mInner->setParameter(node, index, params, size);
    }
    status_t getConfig(node_id node, OMX_INDEXTYPE index, void* params, size_t size) override {
        return refused(OmxCall::GetConfig) ? kRefusal : mInner->getConfig(node, index, params, size);
    }
    status_t setConfig(node_id node, OMX_INDEXTYPE index, const void* params, size_t size) override {
        return refused(OmxCall::SetConfig) ? kRefusal : mInner->setConfig(node, index, params, size);
    }
    status_t getState(node_id node, OMX_STATETYPE* state) override {
        return refused(OmxCall::GetState) ? kRefusal : mInner->getState(node, state);
    }
    status_t useBuffer(node_id node, OMX_U32 port, const android::sp<android::IMemory>& params,
                       buffer_id* buffer) override {
        return refused(OmxCall::UseBuffer) ? kRefusal
                                           : counted(mInner->useBuffer(node, port, params, buffer));
    }
    status_t allocateBuffer(node_id node, OMX_U32 port, size_t size, buffer_id* buffer,
                            void** data) override {
        return refused(OmxCall::AllocateBuffer)
                   ? kRefusal
                   : counted(mInner->allocateBuffer(node, port, size, buffer, data));
    }
    status_t allocateBufferWithBackup(node_id node, OMX_U32 port, const android::sp<android::IMemory>& params,
                                      buffer_id* buffer) override {
        return refused(OmxCall::AllocateBufferWithBackup)
                   ? kRefusal
                   : counted(mInner->allocateBufferWithBackup(node, port, params, buffer));
    }
    status_t freeBuffer(node_id node, OMX_U32 port, buffer_id buffer) override {
        const bool fail = refused(OmxCall::FreeBuffer);
        const status_t status = mInner->freeBuffer(node, port, buffer);
        mLiveBuffers -= status == android::OK ? 1 : 0;
        return fail ? kRefusal : status;
    }
    status_t fillBuffer(node_id node, buffer_id buffer) override {
        return refused(OmxCall::FillBuffer) ? kRefusal : mInner->fillBuffer(node, buffer);
    }
    status_t emptyBuffer(node_id node, buffer_id buffer, OMX_U32 offset, OMX_U32 length, OMX_U32 flags,
                         OMX_TICKS timestamp) override {
        return refused(OmxCall::EmptyBuffer)
                   ? kRefusal
                   : mInner->emptyBuffer(node, buffer, offset, length, flags, timestamp);
    }
    status_t getExtensionIndex(node_id node, const char* name, OMX_INDEXTYPE* index) override {
        return refused(OmxCall::GetExtensionIndex) ? kRefusal : mInner->getExtensionIndex(node, name, index);
    }

    // The engine uses none of these.
    status_t storeMetaDataInBuffers(node_id, OMX_U32, OMX_BOOL) override { return kRefusal; }
    status_t prepareForAdaptivePlayback(node_id, OMX_U32, OMX_BOOL, OMX_U32, OMX_U32) override {
        return kRefusal;
    }
    status_t configureVideoTunnelMode(node_id, OMX_U32, OMX_BOOL, OMX_U32, void**) override {
        return kRefusal;
    }
    status_t enableGraphicBuffers(node_id, OMX_U32, OMX_BOOL) override { return kRefusal; }
    status_t getGraphicBufferUsage(node_id, OMX_U32, OMX_U32*) override { return kRefusal; }
    status_t useGraphicBuffer(node_id, OMX_U32, const android::sp<android::GraphicBuffer>&,
                              buffer_id*) override {
        return kRefusal;
    }
    status_t updateGraphicBufferInMeta(node_id, OMX_U32, const android::sp<android::GraphicBuffer>&,
                                       buffer_id) override {
        return kRefusal;
    }
    status_t createInputSurface(node_id, OMX_U32, android::sp<android::IGraphicBufferProducer>*) override {
        return kRefusal;
    }
    status_t signalEndOfInputStream(node_id) override { return kRefusal; }
    status_t setInternalOption(node_id, OMX_U32, OMX_U32, const void*, size_t) override { return kRefusal; }

    static constexpr status_t kRefusal = android::INVALID_OPERATION;

  private:
    static size_t index(OmxCall call) { return static_cast<size_t>(call); }

    bool refused(OmxCall call) {
        const int ofAll = ++mSeenOfAll;
        const int seen = ++mSeen[index(call)];
        const int wanted = mRefused[index(call)];
        return wanted == -1 || wanted == seen || mRefusedOfAll == ofAll;
    }
    status_t counted(status_t status) {
        mLiveBuffers += status == android::OK ? 1 : 0;
        return status;
    }
    bool lets(const android::omx_message& msg) {
        MessageFilter filter;
        {
            std::lock_guard<std::mutex> lock(mMutex);
            filter = mFilter;
        }
        return !filter || filter(msg);
    }

    std::atomic<int> mSeen[static_cast<size_t>(OmxCall::Count)] = {};
    std::atomic<int> mRefused[static_cast<size_t>(OmxCall::Count)] = {};
    std::atomic<int> mSeenOfAll{0};
    std::atomic<int> mRefusedOfAll{0};
    std::atomic<int> mLiveNodes{0};
    std::atomic<int> mLiveBuffers{0};
    std::mutex mMutex;
    MessageFilter mFilter;                             // guarded by mMutex
    android::sp<android::IOMXObserver> mLastObserver;  // guarded by mMutex
    const sp_omx mInner;                               // last member, first to go: no message comes after it
};

/// Puts `omx` behind the service "media.player" of this process.
inline void serveOmx(const android::sp<android::IOMX>& omx) {
    android::defaultServiceManager()->addService(android::String16("media.player"),
                                                 makeMediaPlayerService(omx)->asBinder());
}

}  // namespace zem::test
