// IInterface, the base of every service interface, and the templates that tie one to a binder.
#pragma once

#include <binder/Binder.h>

#include <string_view>

namespace android {

class IInterface : public virtual RefBase {
  public:
    IInterface();
    sp<IBinder> asBinder();
    sp<const IBinder> asBinder() const;

  protected:
    ~IInterface() override;
    virtual IBinder* onAsBinder() = 0;
};

/// The interface I behind `obj`; null when `obj` is null or does not implement I.
template <typename I>
inline sp<I> interface_cast(const sp<IBinder>& obj) {
    return I::asInterface(obj);
}

/// The local implementation's base: an I that is its own binder.
template <typename I>
class BnInterface : public I, public BBinder {
  public:
    sp<IInterface> queryLocalInterface(const String16& wanted) override {
        const String16& own = I::descriptor;
        const bool same = std::u16string_view(wanted.string(), wanted.size()) ==
                          std::u16string_view(own.string(), own.size());
        return same ? sp<IInterface>(this) : sp<IInterface>();
    }
    const String16& getInterfaceDescriptor() const override { return I::getInterfaceDescriptor(); }

  protected:
    IBinder* onAsBinder() override { return this; }
};

// The descriptor is a reference to an object that is never destroyed: threads may still cast
// interfaces while the process exits.
#define DECLARE_META_INTERFACE(INTERFACE)                                                         \
    static const ::android::String16& descriptor;                                                 \
    static ::android::sp<I##INTERFACE> asInterface(const ::android::sp<::android::IBinder>& obj); \
    virtual const ::android::String16& getInterfaceDescriptor() const;                            \
    I##INTERFACE();                                                                               \
    virtual ~I##INTERFACE();

// The interfaces are never behind another process's binder: without a local one the cast is null.
#define IMPLEMENT_META_INTERFACE(INTERFACE, NAME)                                                         \
    const ::android::String16& I##INTERFACE::descriptor = *new ::android::String16(NAME);                 \
    const ::android::String16& I##INTERFACE::getInterfaceDescriptor() const {                             \
        return I##INTERFACE::descriptor;                                                                  \
    }                                                                                                     \
    ::android::sp<I##INTERFACE> I##INTERFACE::asInterface(const ::android::sp<::android::IBinder>& obj) { \
        if (obj == nullptr) {                                                                             \
            return nullptr;                                                                               \
        }                                                                                                 \
        return static_cast<I##INTERFACE*>(obj->queryLocalInterface(I##INTERFACE::descriptor).get());      \
    }                                                                                                     \
    I##INTERFACE::I##INTERFACE() {}                                                                       \
    I##INTERFACE::~I##INTERFACE() {}

}  // namespace android
