// Parcel: what a call between processes is packed into. All calls here stay in the process, so
// nothing is ever packed; the type exists for the signature of onTransact.
#pragma once

namespace android {

class Parcel {
  public:
    Parcel() = default;
    Parcel(const Parcel&) = delete;
    Parcel& operator=(const Parcel&) = delete;
};

}  // namespace android
