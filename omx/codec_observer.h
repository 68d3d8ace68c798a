// Receives a component's messages from the binder and passes them to the interface that owns it.
#pragma once

#include <binder/IMemory.h>
#include <media/IOMX.h>

#include <condition_variable>
#include <mutex>

class QcOmxCodecObserver;

/// Receiver of component messages. The three onOmxObserver handlers run on the media service's
/// message thread. Allowed in them: short work, the input callback. Forbidden: waiting for another
/// message, deleting the receiver.
class QcOmxCodecObserverDelegate {
  public:
    virtual ~QcOmxCodecObserverDelegate() = default;
    /// Takes a strong reference to the observer that delivers to this object.
    virtual void setObserver(const android::sp<QcOmxCodecObserver>& observer) = 0;
    /// Takes a strong reference to a heap that the component's buffers lie in.
    virtual void onRegisterBuffers(const android::sp<android::IMemoryHeap>& heap) = 0;
    virtual void onOmxObserverEvent(const android::omx_message& msg) = 0;
    virtual void onOmxObserverFillBufferDone(const android::omx_message& msg) = 0;
    virtual void onOmxObserverEmptyBufferDone(const android::omx_message& msg) = 0;
};

/// The binder object that a component node sends its messages to. The media service may hold it
/// longer than the delegate lives: messages after detachDelegate() are dropped.
class QcOmxCodecObserver : public android::BnOMXObserver {
  public:
    void onMessage(const android::omx_message& msg) override;
    /// Called on platforms whose observer interface has it, hence no `override`.
    virtual void registerBuffers(const android::sp<android::IMemoryHeap>& heap);

    /// Directs messages to `delegate` (not owned) and hands it a reference to this observer; null
    /// detaches.
    void setDelegate(QcOmxCodecObserverDelegate* delegate);
    /// Ends delivery; on return no message is inside the delegate, save one that the calling thread
    /// itself is handling.
    void detachDelegate();

  private:
    class Delivery;

    std::mutex mMutex;  // guards the two fields below; never held while a message is delivered
    std::condition_variable mDelivered;
    QcOmxCodecObserverDelegate* mDelegate = nullptr;
    int mDeliveries = 0;  // messages inside the delegate
};
