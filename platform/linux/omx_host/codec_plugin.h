// The codecs of the platform: a library of their own, loaded when first wanted.
#pragma once

#include "platform/linux/omx_host/component.h"

namespace zem {

/// Loads libzemcodecs.so (from the folder of this library, else from the loader's path) and registers
/// its components. Without it, one log line of level 4 and no component. The library stays loaded.
ComponentRegistry loadCodecComponents();

}  // namespace zem
