// BBinder: the local object behind an IBinder.
#pragma once

#include <binder/IBinder.h>

namespace android {

class Parcel;

class BBinder : public IBinder {
  public:
    BBinder();

    const String16& getInterfaceDescriptor() const override;
    bool isBinderAlive() const override;
    /// INVALID_OPERATION: an object of one's own process does not die before its references.
    status_t linkToDeath(const sp<DeathRecipient>& recipient, void* cookie = nullptr,
                         uint32_t flags = 0) override;
    status_t unlinkToDeath(const wp<DeathRecipient>& recipient, void* cookie = nullptr, uint32_t flags = 0,
                           wp<DeathRecipient>* out = nullptr) override;

  protected:
    ~BBinder() override;
    /// Nothing is packed in process: UNKNOWN_TRANSACTION for every code.
    virtual status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0);
};

}  // namespace android
