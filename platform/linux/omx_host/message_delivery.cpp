#include "platform/linux/omx_host/message_delivery.h"

#include <cstdio>

namespace zem {

std::shared_ptr<MessageDelivery> MessageDelivery::start(const android::sp<android::IOMXObserver>& observer,
                                                        android::IOMX::node_id node) {
    auto delivery = std::make_shared<MessageDelivery>(observer);
    char name[32];
    snprintf(name, sizeof name, "omx-msg-%u", node);
    // The thread keeps the object: after a close() from its own handler nobody else may.
    const bool started = delivery->mThread.start(name, [delivery] { delivery->run(); });
    return started ? delivery : nullptr;
}

void MessageDelivery::post(const android::omx_message& message) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mClosed) {
        mQueue.push_back(message);
        mWake.notify_one();
    }
}

void MessageDelivery::close() {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mClosed = true;
        mQueue.clear();
        mWake.notify_one();
    }
    if (mThread.isCurrent()) {
        mThread.detach();
    } else {
        mThread.join();
    }
}

void MessageDelivery::run() {
    std::unique_lock<std::mutex> lock(mMutex);
    for (;;) {
        mWake.wait(lock, [this] { return mClosed || !mQueue.empty(); });
        if (mClosed) {
            break;
        }
        const android::omx_message message = mQueue.front();
        mQueue.pop_front();
        lock.unlock();
        mObserver->onMessage(message);
        lock.lock();
    }
    lock.unlock();
    mObserver.clear();  // its destructor may free nodes: outside the lock
}

}  // namespace zem
