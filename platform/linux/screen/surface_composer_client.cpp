#include <binder/Binder.h>
#include <gui/SurfaceComposerClient.h>

namespace android {

sp<IBinder> SurfaceComposerClient::getBuiltInDisplay(int32_t id) {
    // Lives to the process's end: clients compare tokens by identity.
    static const sp<IBinder>& mainDisplay = *new sp<IBinder>(new BBinder);
    return id == 0 ? mainDisplay : sp<IBinder>();
}

}  // namespace android
