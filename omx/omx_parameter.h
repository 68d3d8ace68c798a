// OpenMAX parameter structures, prepared and changed the one way that all components accept.
#pragma once

#include <OMX_Core.h>
#include <media/IOMX.h>

#include "base/log.h"
#include "omx/result_codes.h"

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

/// What a component's refusal to tell or to take a parameter becomes.
struct ParameterRefusal {
    const char* text;  // logged, with the component's status behind it
    int result;
};

/// Reads the parameter of a port, calls change(Parameter&) and writes it back. 0, or the result of the first
/// refusal.
template <typename Parameter, typename Change>
int changeParameter(android::IOMX& omx, android::IOMX::node_id node, OMX_INDEXTYPE index, int port,
                    const ParameterRefusal& toTell, const ParameterRefusal& toTake, Change change) {
    auto parameter = preparedParameter<Parameter>(static_cast<OMX_U32>(port));
    android::status_t status = omx.getParameter(node, index, &parameter, sizeof parameter);
    if (status != android::OK) {
        LOGE("%s%d", toTell.text, status);
        return toTell.result;
    }
    change(parameter);
    status = omx.setParameter(node, index, &parameter, sizeof parameter);
    if (status != android::OK) {
        LOGE("%s%d", toTake.text, status);
        return toTake.result;
    }
    return OMX_RESULT_OK;
}

}  // namespace zem
