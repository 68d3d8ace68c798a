// The event thread of a decoder: from the component's message to its answer.
//
// An answer may take seconds and waits for buffers that come back on the message thread, so messages are
// only queued there. The event thread takes a whole batch out under the queue's lock and answers it
// without: else the message thread would wait for the lock, and the answer for the message thread.
#include <pthread.h>

#include <cstdlib>

#include "base/log.h"
#include "omx/qcom_omx_event_interface.h"
#include "omx/result_codes.h"

using android::omx_message;

namespace {

constexpr int kEventWaitMillis = 3000;

thread_local const QcomOmxEventInterface* tServed = nullptr;  // whose event thread this is

struct FreeRecord {
    void operator()(omx_message* record) const { free(record); }
};
using EventRecord = std::unique_ptr<omx_message, FreeRecord>;

/// A copy of the message's event; its other fields are zero. Null when memory ran out.
EventRecord copyOfEvent(const omx_message& msg) {
    EventRecord record(static_cast<omx_message*>(calloc(1, sizeof(omx_message))));
    if (record != nullptr) {
        record->u.event_data.event = msg.u.event_data.event;
        record->u.event_data.data1 = msg.u.event_data.data1;
        record->u.event_data.data2 = msg.u.event_data.data2;
    }
    return record;
}

EventRecord takeRecord(SimpleQueue& queue) {
    return EventRecord(static_cast<omx_message*>(queue.dequeue()));
}

void moveRecords(SimpleQueue& from, SimpleQueue& to) {
    for (void* record = from.dequeue(); record != nullptr; record = from.dequeue()) {
        to.add(record);
    }
}

}  // namespace

int QcomOmxEventInterface::init() {
    if (mEventThreadJoinable) {
        LOGE("QcomOmxEventInterface::init : the event thread runs already");
        return OMX_RESULT_EVENT_THREAD;
    }
    if (pthread_create(&mEventMonitorThread, nullptr, EventMonitorThread, this) != 0) {
        return OMX_RESULT_EVENT_THREAD;
    }
    mEventThreadJoinable = true;
    return QcomOmxInterface::init();
}

void QcomOmxEventInterface::onOmxObserverEvent(const omx_message& msg) {
    QcomOmxInterface::onOmxObserverEvent(msg);
    const auto& event = msg.u.event_data;
    if (queueEvent(msg)) {
        mEventSem.post();
    } else if (event.event == OMX_EventError) {
        onEvent(event.event, event.data1, event.data2);  // a teardown may wait for a last frame
    }
}

/// False when nobody takes events any more.
bool QcomOmxEventInterface::queueEvent(const omx_message& msg) {
    EventRecord record = copyOfEvent(msg);
    const zem::QueueLock lock(*mEventQueue);
    if (record == nullptr || mEventQueueClosed) {
        return false;
    }
    mEventQueue->add(record.release());
    return true;
}

void* QcomOmxEventInterface::EventMonitorThread(void* decoder) {
    pthread_setname_np(pthread_self(), "omx-event");
    static_cast<QcomOmxEventInterface*>(decoder)->runEventThread();
    return nullptr;
}

void QcomOmxEventInterface::runEventThread() {
    tServed = this;
    do {
        mEventSem.wait(kEventWaitMillis);
        if (mDeInitStarted && teardownEndsEvents()) {
            LOGI("QcomOmxInterfaceDecoder::EventMonitorThread : Quit");  // log readers know it so
            break;
        }
        handleQueuedEvents();
    } while (mThreadError == OMX_RESULT_OK && !mDeInitStarted);
    closeEventQueue();
}

void QcomOmxEventInterface::handleQueuedEvents() {
    SimpleQueue batch;
    {
        const zem::QueueLock lock(*mEventQueue);
        moveRecords(*mEventQueue, batch);
    }
    for (EventRecord record = takeRecord(batch); record != nullptr; record = takeRecord(batch)) {
        const auto& event = record->u.event_data;
        if (!mDeInitStarted || event.event == OMX_EventError || !teardownEndsEvents()) {
            onEvent(event.event, event.data1, event.data2);
        }
    }
}

/// From here on the message thread answers errors itself; those that it queued before are answered here.
void QcomOmxEventInterface::closeEventQueue() {
    SimpleQueue rest;
    {
        const zem::QueueLock lock(*mEventQueue);
        mEventQueueClosed = true;
        moveRecords(*mEventQueue, rest);
    }
    for (EventRecord record = takeRecord(rest); record != nullptr; record = takeRecord(rest)) {
        const auto& event = record->u.event_data;
        if (event.event == OMX_EventError) {
            onEvent(event.event, event.data1, event.data2);
        }
    }
}

void QcomOmxEventInterface::endEventThread() {
    if (tServed == this) {
        LOGE("QcomOmxEventInterface::endEventThread : called on the event thread itself");
        return;
    }
    if (!mEventThreadJoinable.exchange(false)) {
        return;
    }
    mEventSem.post();
    mOutputReturnedSem.post();  // it may be waiting for buffers
    pthread_join(mEventMonitorThread, nullptr);
}

void QcomOmxEventInterface::dropQueuedEvents() {
    const zem::QueueLock lock(*mEventQueue);
    while (takeRecord(*mEventQueue) != nullptr) {
    }
}
