#include "capture/screen_info.h"

#include <gui/SurfaceComposerClient.h>
#include <ui/Rect.h>

#include "capture/display.h"
#include "capture/screenshot_client.h"

ScreenInfo::ScreenInfo() {
    android::ScreenshotClient* client = zem::newScreenshotClient();
    client->update(zem::displayToken(), android::Rect(0, 0), false);  // on failure the client says 0
    width = static_cast<int32_t>(client->getWidth());
    height = static_cast<int32_t>(client->getHeight());
    format = client->getFormat();
    zem::deleteScreenshotClient(client);
}

ScreenInfo ScreenInfo::getInstance() {
    return ScreenInfo();
}

int ScreenInfo::getWidth() {
    return getInstance().width;
}

int ScreenInfo::getHeight() {
    return getInstance().height;
}

int ScreenInfo::getFormat() {
    return getInstance().format;
}
