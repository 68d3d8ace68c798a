// A component whose events are answered on a thread of their own: what all decoders share.
#pragma once

#include <memory>

#include "omx/qcom_omx_interface.h"
#include "omx/simple_queue.h"

/// When the component reports that its output has another format, the output port is changed while
/// input goes on: resubmission stops, the port is disabled, its buffers are freed once they are back (or
/// 3 s later), the port is enabled again, populated with new buffers, and they are submitted. All that
/// happens on the event thread, since it waits for messages that arrive on the message thread.
class QcomOmxEventInterface : public QcomOmxInterface {
  public:
    QcomOmxEventInterface();
    ~QcomOmxEventInterface() override;

    /// Starts the event thread, then as the base. Also 22.
    int init() override;

    /// Queues the event for the event thread; message thread.
    void onOmxObserverEvent(const android::omx_message& msg) override;
    /// Answers one event; event thread, and message thread for an error after that thread has ended.
    void onEvent(OMX_EVENTTYPE event, unsigned long data1, unsigned long data2) override;
    /// Goes on with a change of the output port: 0, 11, 20, 13 or 15. Event thread.
    int onCommandComplete(OMX_COMMANDTYPE command, unsigned long data);

  protected:
    // Where decoders differ. Event thread.
    /// Whether a teardown that has begun ends the thread before it answers what is queued, errors apart.
    virtual bool teardownEndsEvents() const { return false; }
    /// The output port's definition during a change of it, before its buffers are freed.
    virtual void adoptOutput(const OMX_PARAM_PORTDEFINITIONTYPE& /*definition*/) {}
    /// Allocates the buffers of a port that has just been enabled again: 0, 13 or 15.
    virtual int repopulatePort(int port);

    static void* EventMonitorThread(void* decoder);
    void endEventThread() override;
    void dropQueuedEvents() override;

    /// Events on their way from the message thread to the event thread; own lock. As long as the
    /// component makes it: every wake-up of the event thread takes all of it.
    std::unique_ptr<SimpleQueue> mEventQueue;
    pthread_t mEventMonitorThread{};

  private:
    bool queueEvent(const android::omx_message& msg);
    void runEventThread();
    void handleQueuedEvents();
    void closeEventQueue();
    void disablePort();
    void waitForOutputBuffers();
    void readOutputDefinition();
    int enablePort(unsigned long port);

    bool mEventQueueClosed = false;  // nobody takes events any more; guarded by mEventQueue's lock
    std::atomic<bool> mEventThreadJoinable{false};
};
