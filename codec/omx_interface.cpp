#include "codec/omx_interface.h"

#include "base/log.h"
#include "omx/qcom_omx_interface.h"
#include "omx/qcom_omx_interface_encoder.h"
#include "omx/result_codes.h"

namespace {

QcomOmxInterface* interfaceOf(void* handle) {
    return static_cast<QcomOmxInterface*>(handle);
}

}  // namespace

// Handles are always converted from QcomOmxInterface*, never from a derived class, so that
// interfaceOf() gets back what went in.
void* encoder_create(int* result, encoderParams* params) {
    QcomOmxInterfaceEncoder* encoder = nullptr;
    *result = QcomOmxInterfaceEncoder::Create(&encoder, params);
    if (*result != OMX_RESULT_OK) {
        LOGE("QCOMOMXINTERFACE - ERROR creating encoder: %d (%s)", *result, resultDescription(*result));
        return nullptr;
    }
    return static_cast<QcomOmxInterface*>(encoder);
}

int omx_interface_init(void* handle) {
    return handle != nullptr ? interfaceOf(handle)->init() : OMX_RESULT_NO_INTERFACE;
}

int omx_interface_deinit(void* handle, bool flag) {
    return handle != nullptr ? interfaceOf(handle)->deInit(flag) : OMX_RESULT_NO_INTERFACE;
}

int omx_interface_destroy(void* handle) {
    delete interfaceOf(handle);
    return OMX_RESULT_OK;
}

int omx_interface_register_input_callback(void* handle, OmxInputCallback callback, void* user) {
    if (handle == nullptr) {
        return OMX_RESULT_NO_INTERFACE;
    }
    interfaceOf(handle)->registerInputCallback(callback, user);
    return OMX_RESULT_OK;
}

int omx_interface_register_output_callback(void* handle, OmxOutputCallback callback, void* user) {
    if (handle == nullptr) {
        return OMX_RESULT_NO_INTERFACE;
    }
    interfaceOf(handle)->registerOutputCallback(callback, user);
    return OMX_RESULT_OK;
}

int omx_interface_send_input_data(void* handle, void* data, unsigned int size, int timestamp) {
    return handle != nullptr ? interfaceOf(handle)->sendInputData(data, size, timestamp)
                             : OMX_RESULT_NO_INTERFACE;
}

int omx_interface_send_end_of_input_flag(void* handle, int timestamp) {
    return handle != nullptr ? interfaceOf(handle)->sendEndOfInputFlag(timestamp) : OMX_RESULT_NO_INTERFACE;
}

int omx_interface_reserve_input_buffer(void* handle, void** buffer, void** bufferData) {
    return handle != nullptr ? interfaceOf(handle)->reserveInputBuffer(buffer, bufferData)
                             : OMX_RESULT_NO_INTERFACE;
}

int omx_interface_send_input_buffer(void* handle, void* buffer, int size, int timestamp) {
    return handle != nullptr ? interfaceOf(handle)->sendInputBuffer(buffer, size, timestamp)
                             : OMX_RESULT_NO_INTERFACE;
}

int omx_interface_send_final_buffer(void* handle, void* buffer, long timestamp) {
    return handle != nullptr ? interfaceOf(handle)->sendFinalBuffer(buffer, static_cast<int>(timestamp))
                             : OMX_RESULT_NO_INTERFACE;
}

int omx_interface_error(void* handle) {
    return handle != nullptr ? interfaceOf(handle)->threadError() : OMX_RESULT_NO_INTERFACE;
}
