#include "omx/codec_observer.h"

#include "base/log.h"

using android::IMemoryHeap;
using android::omx_message;
using android::sp;

namespace {

thread_local const QcOmxCodecObserver* tDelivering = nullptr;  // whose message this thread handles

}  // namespace

/// Counts one message in for its lifetime, so that detachDelegate() can wait for it.
class QcOmxCodecObserver::Delivery {
  public:
    explicit Delivery(QcOmxCodecObserver& observer) : mObserver(observer), mOuter(tDelivering) {
        std::lock_guard<std::mutex> lock(mObserver.mMutex);
        mDelegate = mObserver.mDelegate;
        mObserver.mDeliveries++;
        tDelivering = &mObserver;
    }
    ~Delivery() {
        tDelivering = mOuter;
        std::lock_guard<std::mutex> lock(mObserver.mMutex);
        mObserver.mDeliveries--;
        mObserver.mDelivered.notify_all();
    }
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;

    QcOmxCodecObserverDelegate* delegate() const { return mDelegate; }

  private:
    QcOmxCodecObserver& mObserver;
    const QcOmxCodecObserver* mOuter;
    QcOmxCodecObserverDelegate* mDelegate;
};

void QcOmxCodecObserver::onMessage(const omx_message& msg) {
    const Delivery delivery(*this);
    if (delivery.delegate() == nullptr) {
        return;
    }
    switch (msg.type) {
        case omx_message::EVENT:
            delivery.delegate()->onOmxObserverEvent(msg);
            break;
        case omx_message::EMPTY_BUFFER_DONE:
            delivery.delegate()->onOmxObserverEmptyBufferDone(msg);
            break;
        case omx_message::FILL_BUFFER_DONE:
            delivery.delegate()->onOmxObserverFillBufferDone(msg);
            break;
        default:
            LOGE("QCOMOMXINTERFACE - OnMessage :: default called, message not handled\n");
            break;
    }
}

void QcOmxCodecObserver::registerBuffers(const sp<IMemoryHeap>& heap) {
    const Delivery delivery(*this);
    if (delivery.delegate() != nullptr) {
        delivery.delegate()->onRegisterBuffers(heap);
    }
}

void QcOmxCodecObserver::setDelegate(QcOmxCodecObserverDelegate* delegate) {
    if (delegate == nullptr) {
        detachDelegate();
        return;
    }
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mDelegate = delegate;
    }
    delegate->setObserver(sp<QcOmxCodecObserver>(this));
}

void QcOmxCodecObserver::detachDelegate() {
    std::unique_lock<std::mutex> lock(mMutex);
    mDelegate = nullptr;
    const int own = tDelivering == this ? 1 : 0;
    mDelivered.wait(lock, [this, own] { return mDeliveries <= own; });
}
