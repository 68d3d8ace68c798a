// The component host: IOMX over components of this process, with OpenMAX IL semantics.
#pragma once

#include <media/IOMX.h>

#include "platform/linux/omx_host/component.h"

namespace zem {

/// A host of the registered components. Releasing the last reference frees all its nodes.
android::sp<android::IOMX> makeOmxHost(ComponentRegistry registry);

}  // namespace zem
