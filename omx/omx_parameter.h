// OpenMAX parameter structures, prepared the one way that all components accept.
#pragma once

#include <OMX_Core.h>

namespace zem {

/// A zeroed structure with its size, version 1.0.0.0 and port filled in.
template <typename Parameter>
Parameter preparedParameter(OMX_U32 port) {
    Parameter parameter{};
    parameter.nSize = sizeof parameter;
    parameter.nVersion.s.nVersionMajor = 1;
    parameter.nPortIndex = port;
    return parameter;
}

}  // namespace zem
