// IBinder: the handle of a service or callback object.
#pragma once

#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/String16.h>

namespace android {

class IInterface;

class IBinder : public virtual RefBase {
  public:
    /// The interface behind this object when `descriptor` names it, else null.
    virtual sp<IInterface> queryLocalInterface(const String16& descriptor);
    virtual const String16& getInterfaceDescriptor() const = 0;
    virtual bool isBinderAlive() const = 0;

    class DeathRecipient : public virtual RefBase {
      public:
        virtual void binderDied(const wp<IBinder>& who) = 0;
    };

    virtual status_t linkToDeath(const sp<DeathRecipient>& recipient, void* cookie = nullptr,
                                 uint32_t flags = 0) = 0;
    virtual status_t unlinkToDeath(const wp<DeathRecipient>& recipient, void* cookie = nullptr,
                                   uint32_t flags = 0, wp<DeathRecipient>* out = nullptr) = 0;

  protected:
    ~IBinder() override = default;
};

}  // namespace android
