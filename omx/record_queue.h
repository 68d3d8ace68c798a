// A queue of buffer records that keeps what it holds alive.
#pragma once

#include <utils/StrongPointer.h>

#include "omx/buffer_info.h"
#include "omx/simple_queue.h"

namespace zem {

/// Holds one reference to each queued record. A record is in at most one place of one queue, so a
/// port's number of buffers bounds it: it never fills up. Locked by its users, as SimpleQueue is.
class RecordQueue : public SimpleQueue {
  public:
    RecordQueue() = default;
    ~RecordQueue() { clear(); }

    /// False when the record already waits in a queue; it is then not queued again.
    bool push(const android::sp<BufferInfo>& record) {
        if (record->queued.exchange(true)) {
            return false;
        }
        record->incStrong(this);
        add(record.get());
        return true;
    }

    /// The oldest record, or null.
    android::sp<BufferInfo> pop() {
        android::sp<BufferInfo> record(static_cast<BufferInfo*>(dequeue()));
        if (record != nullptr) {
            record->queued = false;
            record->decStrong(this);
        }
        return record;
    }

    void clear() {
        while (pop() != nullptr) {
        }
    }
};

/// Holds a queue's lock until unlock() or the end of the scope, so that no way out forgets it.
class QueueLock {
  public:
    explicit QueueLock(SimpleQueue& queue) : mQueue(&queue) { mQueue->lock(); }
    ~QueueLock() { unlock(); }
    QueueLock(const QueueLock&) = delete;
    QueueLock& operator=(const QueueLock&) = delete;

    void unlock() {
        if (mQueue != nullptr) {
            mQueue->unlock();
            mQueue = nullptr;
        }
    }

  private:
    SimpleQueue* mQueue;
};

}  // namespace zem
