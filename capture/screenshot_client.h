// Making and ending the platform's screenshot clients, whatever size the device gives them.
#pragma once

#include <gui/SurfaceComposerClient.h>

namespace zem {

/// A client that knows no picture yet. Ended by deleteScreenshotClient, never by `delete`.
android::ScreenshotClient* newScreenshotClient();

/// Ends a client; null is ignored.
void deleteScreenshotClient(android::ScreenshotClient* client);

}  // namespace zem
