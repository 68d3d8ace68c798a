// One component instance: its states, ports and buffers by the rules of OpenMAX IL.
#pragma once

#include <binder/IMemory.h>
#include <media/IOMX.h>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/linux/omx_host/component.h"
#include "platform/linux/omx_host/message_delivery.h"
#include "platform/linux/omx_host/named_thread.h"
#include "platform/linux/omx_host/port.h"

namespace zem {

/// Three kinds of threads meet here:
/// - clients' threads call the public operations, which never wait for a message to be delivered;
/// - the worker thread ("omx-work-N") codes and carries out those commands that call the component;
/// - the delivery thread ("omx-msg-N") runs the client's observer and nothing else, so that a slow
///   codec delays no message and a slow observer no frame.
///
/// A command is begun on the caller's thread (so that buffers may be allocated, or are refused, from
/// the moment it returns), unless the worker is still carrying one out: then it waits its turn.
/// What only the client can finish, populating a port or freeing its buffers, is pending state that
/// every buffer operation re-examines.
///
/// Lock order: mComponentMutex, mMutex, the delivery's own. None is held while an observer runs.
class Node final : private BufferIo {
  public:
    using status_t = android::status_t;
    using buffer_id = android::IOMX::buffer_id;

    /// Null when the component or a thread cannot be made.
    static std::shared_ptr<Node> create(android::IOMX::node_id id, const ComponentFactory& factory,
                                        const android::sp<android::IOMXObserver>& observer);

    Node(android::IOMX::node_id id, const std::string& name, std::unique_ptr<Component> component);
    ~Node() = default;
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    /// Ends the node in whatever state it is. Waits for the worker and the running message (not on
    /// the delivery thread itself); no message is delivered after it returns. To be called once.
    void shutDown();

    /// BAD_VALUE for an unknown command, state or port; what the present state forbids is answered
    /// by an error event.
    status_t sendCommand(OMX_COMMANDTYPE command, OMX_S32 param);
    OMX_STATETYPE state() const;

    status_t getParameter(OMX_INDEXTYPE index, void* params, size_t size);
    status_t setParameter(OMX_INDEXTYPE index, const void* params, size_t size);
    status_t getConfig(OMX_INDEXTYPE index, void* params, size_t size);
    status_t setConfig(OMX_INDEXTYPE index, const void* params, size_t size);
    status_t getExtensionIndex(const char* name, OMX_INDEXTYPE* index);

    /// The component works in the client's memory, whichever of the two ways it is handed over: with
    /// both in one process there is nothing to copy between a buffer and its backup.
    status_t useBuffer(OMX_U32 port, const android::sp<android::IMemory>& memory, buffer_id* id);
    status_t allocateBuffer(OMX_U32 port, size_t size, buffer_id* id, void** data);
    status_t freeBuffer(OMX_U32 port, buffer_id id);
    status_t emptyBuffer(buffer_id id, OMX_U32 offset, OMX_U32 length, OMX_U32 flags, OMX_TICKS timestamp);
    status_t fillBuffer(buffer_id id);

  private:
    struct Command {
        OMX_COMMANDTYPE kind;
        OMX_U32 param;  // state or port
    };
    // What the worker has to do with the component before a command is complete.
    enum class Job { None, Start, Stop, ReturnPort };

    // BufferIo, on the worker thread.
    const LentBuffer* takeInput() override;
    void returnInput(const LentBuffer* buffer) override;
    const LentBuffer* takeOutput() override;
    void returnOutput(const LentBuffer* buffer, size_t length, OMX_U32 flags, OMX_TICKS timestamp) override;
    void portSettingsChanged() override;
    void raiseError(OMX_ERRORTYPE error) override;

    // Called with mMutex held.
    bool running() const { return mState == OMX_StateExecuting || mState == OMX_StatePause; }
    bool coding() const;
    bool accepts(const Port& port) const;
    bool mayConfigure(OMX_U32 port) const;
    bool mayAllocate(OMX_U32 port, size_t size) const;
    void begin(const Command& command);
    void beginState(OMX_STATETYPE wanted);
    void beginPending(OMX_STATETYPE wanted);
    void beginDisable(OMX_U32 port);
    void beginEnable(OMX_U32 port);
    void beginFlush(const Command& command);
    void beginQueued();
    void setJob(Job job, const Command& command);
    void endJob();
    void settle();
    void settlePorts();
    void enterState(OMX_STATETYPE state);
    void returnBuffers(OMX_U32 port);
    void postEvent(OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2);
    void postComplete(OMX_COMMANDTYPE command, OMX_U32 param) {
        postEvent(OMX_EventCmdComplete, static_cast<OMX_U32>(command), param);
    }
    void postError(OMX_ERRORTYPE error) { postEvent(OMX_EventError, static_cast<OMX_U32>(error), 0); }
    void postEmptied(const NodeBuffer& buffer);
    void postFilled(const NodeBuffer& buffer, size_t length, OMX_U32 flags, OMX_TICKS timestamp);
    status_t adopt(OMX_U32 port, const std::shared_ptr<NodeBuffer>& buffer, buffer_id* id);
    bool populated() const;

    status_t ask(status_t (Component::*getter)(OMX_INDEXTYPE, void*, size_t), OMX_INDEXTYPE index,
                 void* params, size_t size);
    // Called with mComponentMutex held.
    status_t setPortDefinition(const OMX_PARAM_PORTDEFINITIONTYPE& wanted);
    OMX_PARAM_PORTDEFINITIONTYPE describe(OMX_U32 port) const;
    void refreshDefinitions();

    // The worker thread's.
    void work();
    void runJob();
    void runStart(OMX_STATETYPE wanted);
    void runStop();
    void runReturnPort(Command command);

    const android::IOMX::node_id mId;
    const std::string mName;
    std::shared_ptr<MessageDelivery> mDelivery;  // set before the worker starts, constant then
    NamedThread mWorker;                         // create() and shutDown() only

    std::mutex mComponentMutex;             // one component call at a time
    std::unique_ptr<Component> mComponent;  // guarded by mComponentMutex; null after shutDown()

    mutable std::mutex mMutex;  // guards all below
    std::condition_variable mWake;
    OMX_STATETYPE mState = OMX_StateLoaded;
    std::optional<OMX_STATETYPE> mTarget;  // of a state command that is not complete
    Port mPorts[kPortCount] = {Port(kInputPort), Port(kOutputPort)};
    std::deque<Command> mCommands;  // wait for the worker; as many as the client cares to send
    Job mJob = Job::None;           // set until the worker has finished it
    Command mJobCommand{};
    bool mWork = false;  // something to code may have come
    bool mQuit = false;
};

}  // namespace zem
