// The service "media.player" of the Linux platform.
#pragma once

#include <media/IMediaPlayerService.h>

namespace zem {

/// A service whose getOMX() gives `omx`, null included. Tests register one of these to put another
/// host, or a faulty one, under the engine.
android::sp<android::IMediaPlayerService> makeMediaPlayerService(const android::sp<android::IOMX>& omx);

/// The service that is registered from the start: its host's components come from libzemcodecs.so.
/// Without that library there are none, and one log line says so.
android::sp<android::IMediaPlayerService> makeBuiltInMediaPlayerService();

}  // namespace zem
