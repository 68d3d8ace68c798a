// What creating an AAC encoder and an AAC decoder have in common.
#pragma once

#include <memory>
#include <new>

#include "omx/audio_enc_params.h"
#include "omx/result_codes.h"

namespace zem {

/// Makes a Component, connects it and calls its `configure`, which logs its failure. Result and `*created` as
/// QcomOmxInterfaceAudioEnc::Create tells them.
template <typename Component>
int createAudioComponent(Component** created, const audioEncParams* params,
                         bool (Component::*configure)(const audioEncParams&)) {
    *created = nullptr;
    std::unique_ptr<Component> component(new (std::nothrow) Component);
    if (component == nullptr) {
        return OMX_RESULT_NO_INTERFACE;
    }
    if (params == nullptr) {
        *created = component.release();
        return OMX_RESULT_BAD_PARAMETERS;
    }
    const int connected = component->connectTo(params->componentName);
    if (connected != OMX_RESULT_OK) {
        return connected;
    }
    if ((component.get()->*configure)(*params)) {
        *created = component.release();
    }
    return OMX_RESULT_OK;
}

}  // namespace zem
