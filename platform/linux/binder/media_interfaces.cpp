// The meta parts of the media interfaces.
#include <media/IMediaPlayerService.h>
#include <media/IOMX.h>

namespace android {

IMPLEMENT_META_INTERFACE(OMX, "android.hardware.IOMX")
IMPLEMENT_META_INTERFACE(OMXObserver, "android.hardware.IOMXObserver")
IMPLEMENT_META_INTERFACE(MediaPlayerService, "android.media.IMediaPlayerService")

status_t BnOMX::onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    return BBinder::onTransact(code, data, reply, flags);
}

status_t BnOMXObserver::onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    return BBinder::onTransact(code, data, reply, flags);
}

status_t BnMediaPlayerService::onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    return BBinder::onTransact(code, data, reply, flags);
}

}  // namespace android
