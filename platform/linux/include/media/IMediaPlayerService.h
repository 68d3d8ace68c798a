// IMediaPlayerService: the service "media.player", through which components are reached.
#pragma once

#include <binder/IInterface.h>
#include <media/IOMX.h>

namespace android {

class IMediaPlayerService : public IInterface {
  public:
    DECLARE_META_INTERFACE(MediaPlayerService)

    /// Null when there is no component host.
    virtual sp<IOMX> getOMX() = 0;
};

class BnMediaPlayerService : public BnInterface<IMediaPlayerService> {
  public:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0) override;
};

}  // namespace android
