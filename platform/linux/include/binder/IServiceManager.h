// The directory of named services; here one of the process.
#pragma once

#include <binder/IInterface.h>

namespace android {

class IServiceManager : public IInterface {
  public:
    DECLARE_META_INTERFACE(ServiceManager)

    /// Waits for the service: 5 tries, 1 s apart, then null.
    virtual sp<IBinder> getService(const String16& name) const = 0;
    /// Null when there is no such service now.
    virtual sp<IBinder> checkService(const String16& name) const = 0;
    /// Takes the place of a service of the same name. BAD_VALUE for an empty name or a null service.
    virtual status_t addService(const String16& name, const sp<IBinder>& service,
                                bool allowIsolated = false) = 0;
};

/// The process's one directory. "media.player" is in it from the start.
sp<IServiceManager> defaultServiceManager();

template <typename I>
status_t getService(const String16& name, sp<I>* out) {
    *out = interface_cast<I>(defaultServiceManager()->getService(name));
    return *out != nullptr ? NO_ERROR : NAME_NOT_FOUND;
}

}  // namespace android
