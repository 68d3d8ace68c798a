// A media service for tests: a scripted component host in place of the platform's own.
#pragma once

#include <OMX_Component.h>
#include <binder/IMemory.h>
#include <binder/IServiceManager.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/omx_host/media_player_service.h"
#include "platform/linux/omx_host/plain_buffer_omx.h"

namespace zem::test {

/// When the fake sends the message that answers a request. Always from its own message thread.
enum class Answer {
    kNever,
    kLater,         // soon, usually after the call has returned
    kBeforeReturn,  // handled by the observer before the call returns
};

/// What one emptyBuffer() call brought.
struct SentInput {
    android::IOMX::buffer_id buffer;
    std::vector<uint8_t> bytes;
    OMX_U32 flags;
    OMX_TICKS timestamp;
};

/// Components that do what the test tells them, in every node alike. Keeps the rules of buffers and
/// states as a component does: a buffer is on one side only; Idle needs populated ports on the way up
/// and brings all buffers back on the way down; Loaded needs empty ports. Remembers every call.
/// Unlike a good host it delivers what is still under way after freeNode(). Defaults: two buffers of
/// 4096 bytes a port, states and inputs answered later, an end-of-stream input answered by an empty
/// end-of-stream output, other outputs only from queueOutput(). Any thread.
class FakeOmx : public PlainBufferOmx {
  public:
    /// Lists components of these names, in this order.
    explicit FakeOmx(std::vector<std::string> components);

    // --- The script.
    /// Number and size in bytes of a port's buffers; setParameter may change the size as it likes.
    void setBuffers(OMX_U32 port, OMX_U32 count, OMX_U32 size);
    /// kNever: a component that hangs; it returns no buffer on Idle either.
    void setStateAnswer(Answer answer) { mStateAnswer = answer; }
    void setEmptyAnswer(Answer answer) { mEmptyAnswer = answer; }
    /// Runs on the caller of emptyBuffer() for each accepted input; may call queueOutput().
    void setInputHandler(std::function<void(const SentInput&)> handler) {
        const Guard lock(mMutex);
        mInputHandler = std::move(handler);
    }
    /// Fails the n-th call from now (1 = the next) whatever it is; 0 fails none. A freeNode or
    /// freeBuffer that fails frees all the same.
    void refuseCall(int n) { refuse("", n); }
    /// Fails the n-th call from now of this name, for instance ("useBuffer", 2). Refusals of different
    /// names add up.
    void refuse(const std::string& call, int n = 1) {
        const Guard lock(mMutex);
        mRefusals[call] = n;
    }

    // --- Messages to a node, the one allocated last (freed or not) unless named, in the order of these
    // calls. Not before there is one.
    /// Fills the next output buffer that the component holds, now or as soon as there is one.
    void queueOutput(std::vector<uint8_t> bytes, OMX_U32 flags = 0);
    void sendEvent(OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2, node_id node = 0);
    /// As if the component returned this buffer, known or not.
    void sendEmptied(buffer_id buffer, node_id node = 0);
    void sendFilled(buffer_id buffer, OMX_U32 length, OMX_U32 flags = 0, node_id node = 0);
    /// Blocks until every message sent so far was handled. Not on the message thread.
    void waitDelivered();

    // --- What was seen.
    /// All calls in order, for instance "sendCommand 0 2" (command, parameter), "setParameter 2000001
    /// 1" (index in hex, port), "useBuffer 1" (port), "emptyBuffer 7 100 0 33333" (buffer, length,
    /// flags, timestamp), "freeBuffer 1 7" (port, buffer), "fillBuffer 9", "allocateNode NAME".
    std::vector<std::string> calls() const { return copy(mCalls); }
    /// How many of them begin with `prefix`.
    int callCount(const std::string& prefix) const;
    void forgetCalls() {
        const Guard lock(mMutex);
        mCalls.clear();
    }
    std::vector<SentInput> inputs() const { return copy(mInputs); }
    /// Ids of a port's buffers, oldest first, and of those that the component holds.
    std::vector<buffer_id> buffers(OMX_U32 port) const { return idsOf(port, false); }
    std::vector<buffer_id> heldBuffers(OMX_U32 port) const { return idsOf(port, true); }
    int liveNodes() const;
    int liveBuffers() const;
    /// The structure last set under an index and port, by the engine or the test; zeroed if none was.
    template <typename Parameter>
    Parameter parameter(OMX_U32 index, OMX_U32 port) const {
        const Guard lock(mMutex);
        Parameter result{};
        const auto entry = mParameters.find({index, port});
        if (entry != mParameters.end() && entry->second.size() == sizeof result) {
            memcpy(&result, entry->second.data(), sizeof result);
        }
        return result;
    }
    /// What getParameter and getConfig give for an index and port, behind the caller's header fields.
    /// Without it they leave the caller's structure as it is and succeed.
    template <typename Parameter>
    void presetParameter(OMX_U32 index, OMX_U32 port, const Parameter& value) {
        const Guard lock(mMutex);
        const auto* bytes = reinterpret_cast<const uint8_t*>(&value);
        mParameters[{index, port}].assign(bytes, bytes + sizeof value);
    }

    // --- IOMX.
    using Memory = sp<android::IMemory>;
    status_t listNodes(android::List<ComponentInfo>* list) override;
    status_t allocateNode(const char* name, const sp<android::IOMXObserver>& observer, node_id* id) override;
    status_t freeNode(node_id id) override;
    status_t sendCommand(node_id id, OMX_COMMANDTYPE command, OMX_S32 param) override;
    status_t getParameter(node_id id, OMX_INDEXTYPE index, void* params, size_t size) override {
        return exchange("getParameter", id, index, static_cast<uint8_t*>(params), size, false);
    }
    status_t setParameter(node_id id, OMX_INDEXTYPE index, const void* params, size_t size) override {
        return exchange("setParameter", id, index, static_cast<uint8_t*>(const_cast<void*>(params)), size,
                        true);
    }
    status_t getConfig(node_id id, OMX_INDEXTYPE index, void* params, size_t size) override {
        return exchange("getConfig", id, index, static_cast<uint8_t*>(params), size, false);
    }
    status_t setConfig(node_id id, OMX_INDEXTYPE index, const void* params, size_t size) override {
        return exchange("setConfig", id, index, static_cast<uint8_t*>(const_cast<void*>(params)), size, true);
    }
    status_t useBuffer(node_id id, OMX_U32 port, const Memory& memory, buffer_id* buffer) override {
        return addBuffer("useBuffer", id, port, memory, buffer);
    }
    status_t allocateBuffer(node_id id, OMX_U32 port, size_t size, buffer_id* buffer, void** data) override;
    status_t allocateBufferWithBackup(node_id id, OMX_U32 port, const Memory& memory,
                                      buffer_id* buffer) override {
        return addBuffer("allocateBufferWithBackup", id, port, memory, buffer);
    }
    status_t freeBuffer(node_id id, OMX_U32 port, buffer_id buffer) override;
    status_t fillBuffer(node_id id, buffer_id buffer) override;
    status_t emptyBuffer(node_id id, buffer_id buffer, OMX_U32 offset, OMX_U32 length, OMX_U32 flags,
                         OMX_TICKS timestamp) override;
    // What the engine never calls.
    bool livesLocally(node_id, pid_t) override { return true; }
    status_t getState(node_id, OMX_STATETYPE*) override { return android::INVALID_OPERATION; }
    status_t getExtensionIndex(node_id, const char*, OMX_INDEXTYPE*) override { return android::BAD_VALUE; }

  protected:
    ~FakeOmx() override;

  private:
    using Guard = std::lock_guard<std::recursive_mutex>;
    struct Buffer {
        OMX_U32 port;
        Memory memory;
    };
    struct Output {
        std::vector<uint8_t> bytes;
        OMX_U32 flags;
    };
    struct Node {
        sp<android::IOMXObserver> observer{};  // kept after freeNode, for late messages
        bool live = true;
        int state = OMX_StateLoaded;
        int wanted = OMX_StateLoaded;           // differs from `state` while a transition is under way
        std::map<buffer_id, Buffer> buffers{};  // ids ascend: oldest first
        std::vector<buffer_id> held{};          // by the component, in order of arrival
        std::deque<Output> outputs{};           // waiting for a buffer
    };

    /// Remembers a call; true when the script lets it fail.
    template <typename... Values>
    bool refused(const char* name, const Values&... values) {
        std::ostringstream line;
        line << name;
        ((line << ' ' << values), ...);
        return refusedCall(name, line.str());
    }
    template <typename List>
    List copy(const List& list) const {
        const Guard lock(mMutex);
        return list;
    }
    bool refusedCall(const std::string& name, const std::string& line);
    Node* liveNode(node_id id);
    Buffer* submit(node_id id, OMX_U32 port, buffer_id buffer);
    bool populated(const Node& node) const;
    void progress(node_id id, Node& node);
    void pumpOutputs(node_id id);
    void send(android::omx_message message, node_id node);
    status_t addBuffer(const char* call, node_id id, OMX_U32 port, const Memory& memory, buffer_id* buffer);
    status_t exchange(const char* call, node_id id, OMX_U32 index, uint8_t* params, size_t size, bool set);
    std::vector<buffer_id> idsOf(OMX_U32 port, bool heldOnly) const;
    void settle(Answer answer);
    void deliverMessages();

    std::atomic<Answer> mStateAnswer{Answer::kLater};
    std::atomic<Answer> mEmptyAnswer{Answer::kLater};
    mutable std::recursive_mutex mMutex;  // guards all below; never held while a message is delivered
    std::condition_variable_any mChanged;
    const std::vector<std::string> mComponents;
    std::function<void(const SentInput&)> mInputHandler;
    std::map<std::string, int> mRefusals;  // calls left until one fails, by name; "" for any
    bool mQuit = false;
    std::vector<std::string> mCalls;
    std::vector<SentInput> mInputs;
    std::map<std::pair<OMX_U32, OMX_U32>, std::vector<uint8_t>> mParameters;  // by index and port
    std::map<node_id, Node> mNodes;
    node_id mLastNode = 0;
    buffer_id mLastBuffer = 100;
    std::deque<android::omx_message> mMessages;
    bool mDelivering = false;
    std::thread mMessageThread;
};

/// Puts `omx`, which may be null, behind the service "media.player" of this process. The platform's own
/// host is never made, nor its codecs loaded.
inline void serveOmx(const android::sp<android::IOMX>& omx) {
    android::defaultServiceManager()->addService(android::String16("media.player"),
                                                 makeMediaPlayerService(omx)->asBinder());
}

}  // namespace zem::test
