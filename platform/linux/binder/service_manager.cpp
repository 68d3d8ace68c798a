// The process's directory of services.
#include <binder/IServiceManager.h>

#include <map>
#include <mutex>
#include <string>

#include "base/clock.h"
#include "platform/linux/omx_host/media_player_service.h"

namespace android {

IMPLEMENT_META_INTERFACE(ServiceManager, "android.os.IServiceManager")

namespace {

constexpr int kTries = 5;
constexpr int64_t kPauseMillis = 1000;

class ServiceDirectory final : public BnInterface<IServiceManager> {
  public:
    sp<IBinder> getService(const String16& name) const override {
        for (int left = kTries; left > 0; --left) {
            const sp<IBinder> service = checkService(name);
            if (service != nullptr) {
                return service;
            }
            if (left > 1) {
                zem::sleepMillis(kPauseMillis);
            }
        }
        return nullptr;
    }

    sp<IBinder> checkService(const String16& name) const override {
        std::lock_guard<std::mutex> lock(mMutex);
        const auto found = mServices.find(key(name));
        if (found != mServices.end()) {
            return found->second;
        }
        if (key(name) != u"media.player") {
            return nullptr;
        }
        // Made at first use: a process that registers its own never loads the codecs.
        const sp<IBinder> builtIn = zem::makeBuiltInMediaPlayerService()->asBinder();
        mServices.emplace(key(name), builtIn);
        return builtIn;
    }

    status_t addService(const String16& name, const sp<IBinder>& service, bool /*allowIsolated*/) override {
        if (name.size() == 0 || service == nullptr) {
            return BAD_VALUE;
        }
        sp<IBinder> old;  // goes after the lock: its destructor may free nodes
        std::lock_guard<std::mutex> lock(mMutex);
        sp<IBinder>& entry = mServices[key(name)];
        old = entry;
        entry = service;
        return OK;
    }

  private:
    static std::u16string key(const String16& name) { return {name.string(), name.size()}; }

    mutable std::mutex mMutex;
    mutable std::map<std::u16string, sp<IBinder>> mServices;  // guarded by mMutex
};

}  // namespace

sp<IServiceManager> defaultServiceManager() {
    // Never destroyed: engine threads may look services up while the process exits.
    static const sp<IServiceManager>& only = *new sp<IServiceManager>(new ServiceDirectory);
    return only;
}

}  // namespace android
