// How the drivers start a component that a creation function of the flat driver API has made, and end it.
#pragma once

#include "codec/codec_user_data.h"
#include "codec/input_semaphore.h"
#include "codec/omx_interface.h"

namespace zem {

/// Registers both callbacks, the output's with the record `ud`, which must outlive the component, and
/// starts it. Returns omx_interface_init's result; above 0 the component is destroyed and `*handle` null.
inline int startComponent(void** handle, OmxInputCallback inputCallback, OmxOutputCallback outputCallback,
                          codecUserData* ud) {
    omx_interface_register_input_callback(*handle, inputCallback, nullptr);
    omx_interface_register_output_callback(*handle, outputCallback, ud);
    const int result = omx_interface_init(*handle);
    if (result > 0) {
        omx_interface_destroy(*handle);
        *handle = nullptr;
    }
    return result;
}

/// Ends the component in order, or at once with `flag`, destroys it and gives its share in the input
/// semaphore back. Returns omx_interface_deinit's result.
inline int endComponent(void* handle, bool flag, InputSemaphore& semaphore) {
    const int result = omx_interface_deinit(handle, flag);
    if (handle == nullptr) {
        return result;  // a codec without a component holds no share
    }
    omx_interface_destroy(handle);
    semaphore.release();
    return result;
}

}  // namespace zem
