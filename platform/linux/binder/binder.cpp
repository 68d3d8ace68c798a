// The binder objects of one process: calls are plain virtual calls, nothing is packed or sent.
#include <binder/Binder.h>
#include <binder/IInterface.h>
#include <binder/ProcessState.h>

namespace android {

sp<IInterface> IBinder::queryLocalInterface(const String16& /*descriptor*/) {
    return nullptr;
}

BBinder::BBinder() = default;
BBinder::~BBinder() = default;

const String16& BBinder::getInterfaceDescriptor() const {
    static const String16& empty = *new String16;  // never destroyed: threads may outlive main()
    return empty;
}

bool BBinder::isBinderAlive() const {
    return true;
}

status_t BBinder::linkToDeath(const sp<DeathRecipient>& /*recipient*/, void* /*cookie*/, uint32_t /*flags*/) {
    return INVALID_OPERATION;
}

status_t BBinder::unlinkToDeath(const wp<DeathRecipient>& /*recipient*/, void* /*cookie*/, uint32_t /*flags*/,
                                wp<DeathRecipient>* /*out*/) {
    return INVALID_OPERATION;
}

status_t BBinder::onTransact(uint32_t /*code*/, const Parcel& /*data*/, Parcel* /*reply*/,
                             uint32_t /*flags*/) {
    return UNKNOWN_TRANSACTION;
}

IInterface::IInterface() = default;
IInterface::~IInterface() = default;

sp<IBinder> IInterface::asBinder() {
    return onAsBinder();
}

sp<const IBinder> IInterface::asBinder() const {
    return const_cast<IInterface*>(this)->onAsBinder();
}

ProcessState::ProcessState() = default;
ProcessState::~ProcessState() = default;

sp<ProcessState> ProcessState::self() {
    static const sp<ProcessState>& only = *new sp<ProcessState>(new ProcessState);
    return only;
}

void ProcessState::startThreadPool() {}

status_t ProcessState::setThreadPoolMaxThreadCount(size_t /*maxThreads*/) {
    return OK;
}

}  // namespace android
