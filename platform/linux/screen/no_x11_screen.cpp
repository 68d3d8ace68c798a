// The build without X11: there is never a screen, so every client shows the test card.
#include "platform/linux/screen/screen_source.h"

namespace zem {

std::unique_ptr<ScreenSource> openX11Screen() {
    return nullptr;
}

}  // namespace zem
