// Puts a component host of the test's own in the place of the media service's.
#pragma once

#include <binder/IServiceManager.h>

#include "platform/linux/omx_host/media_player_service.h"

namespace zem::test {

/// Puts `omx`, which may be null, behind the service "media.player" of this process. The platform's own
/// host is never made, nor its codecs loaded.
inline void serveOmx(const android::sp<android::IOMX>& omx) {
    android::defaultServiceManager()->addService(android::String16("media.player"),
                                                 makeMediaPlayerService(omx)->asBinder());
}

}  // namespace zem::test
