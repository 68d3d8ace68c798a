// Delivers the messages of one node, in order, on a thread of its own.
#pragma once

#include <media/IOMX.h>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

#include "platform/linux/omx_host/named_thread.h"

namespace zem {

/// The queue is never full: a node has at most one message for each buffer and command that its
/// client gave it. No lock is held while the observer runs.
class MessageDelivery : public std::enable_shared_from_this<MessageDelivery> {
  public:
    /// Null when the thread could not be started.
    static std::shared_ptr<MessageDelivery> start(const android::sp<android::IOMXObserver>& observer,
                                                  android::IOMX::node_id node);

    explicit MessageDelivery(const android::sp<android::IOMXObserver>& observer) : mObserver(observer) {}
    MessageDelivery(const MessageDelivery&) = delete;
    MessageDelivery& operator=(const MessageDelivery&) = delete;

    /// Queues a message; drops it after close(). Any thread.
    void post(const android::omx_message& message);
    /// Drops what is queued and waits until a message that is being delivered is over, except on the
    /// delivery thread itself, which ends when its handler returns. Nothing is delivered afterwards.
    /// To be called once.
    void close();

  private:
    void run();

    NamedThread mThread;  // start() and close() only
    std::mutex mMutex;
    std::condition_variable mWake;
    std::deque<android::omx_message> mQueue;       // guarded by mMutex
    bool mClosed = false;                          // guarded by mMutex
    android::sp<android::IOMXObserver> mObserver;  // the delivery thread's, which also releases it
};

}  // namespace zem
