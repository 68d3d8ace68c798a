// The token of the display that all captures read from.
#pragma once

#include <binder/IBinder.h>
#include <utils/StrongPointer.h>

namespace zem {

/// The main display's token: fetched at the first call, the same ever after. Null when the platform has
/// no such display (asked again at the next call). Any thread.
android::sp<android::IBinder> displayToken();

/// Gives the token back; for the library's unload, when nothing captures any more. Any thread.
void releaseDisplay();

}  // namespace zem
