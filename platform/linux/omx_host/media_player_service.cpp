#include "platform/linux/omx_host/media_player_service.h"

#include "platform/linux/omx_host/codec_plugin.h"
#include "platform/linux/omx_host/omx_host.h"

namespace zem {

namespace {

class MediaPlayerService final : public android::BnMediaPlayerService {
  public:
    explicit MediaPlayerService(const android::sp<android::IOMX>& omx) : mOmx(omx) {}
    android::sp<android::IOMX> getOMX() override { return mOmx; }

  private:
    const android::sp<android::IOMX> mOmx;
};

}  // namespace

android::sp<android::IMediaPlayerService> makeMediaPlayerService(const android::sp<android::IOMX>& omx) {
    return new MediaPlayerService(omx);
}

android::sp<android::IMediaPlayerService> makeBuiltInMediaPlayerService() {
    return makeMediaPlayerService(makeOmxHost(loadCodecComponents()));
}

}  // namespace zem
