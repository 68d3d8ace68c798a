#include "codec/omx_interface.h"

#include <cstring>

#include "base/log.h"
#include "codec/driver_handle.h"
#include "omx/qcom_omx_interface_audio_dec.h"
#include "omx/qcom_omx_interface_audio_enc.h"
#include "omx/qcom_omx_interface_decoder.h"
#include "omx/qcom_omx_interface_encoder.h"
#include "omx/result_codes.h"

using zem::interfaceOf;

namespace {

constexpr char kQualcommDecoder[] = "OMX.qcom.video.decoder.avc";
constexpr int kDecodedFrameRate = 24;
// For who does not know the size: a port that any picture of the time can come through.
constexpr int kDefaultWidth = 500;
constexpr int kDefaultHeight = 1000;
// What the other components propose is too small for a key frame.
constexpr int kInputBufferBytes = 1024000;

QcomOmxInterfaceDecoder* decoderOf(void* handle) {
    return static_cast<QcomOmxInterfaceDecoder*>(interfaceOf(handle));
}

int setupInputPort(QcomOmxInterface& decoder, int width, int height) {
    const char* const name = decoder.componentName();
    if (strcmp(name, kQualcommDecoder) == 0) {
        const int result = decoder.setupPortParamsForDecoder(0, width, height, kDecodedFrameRate, 0);
        LOGI("omx decoder create: codec:%s, w:%d, h:%d", name, width, height);
        return result;
    }
    // The other components read the two the other way round.
    const int result =
        decoder.setupPortParamsForDecoder(0, height, width, kDecodedFrameRate, kInputBufferBytes);
    LOGI("omx decoder create: codec:%s, w:%d, h:%d", name, height, width);
    return result;
}

// The component of a class, or null, also when a failed creation is answered with success.
template <class Component, class Params>
Component* create(int* result, Params* params, const char* kind) {
    Component* component = nullptr;
    *result = Component::Create(&component, params);
    if (*result == OMX_RESULT_OK) {
        return component;
    }
    delete component;  // a creation that was given no parameters leaves one
    LOGE("QCOMOMXINTERFACE - ERROR creating %s: %d (%s)", kind, *result, resultDescription(*result));
    return nullptr;
}

}  // namespace

// Handles are always converted from QcomOmxInterface*, never from a derived class, so that
// interfaceOf() gets back what went in.
void* encoder_create(int* result, encoderParams* params) {
    return static_cast<QcomOmxInterface*>(create<QcomOmxInterfaceEncoder>(result, params, "encoder"));
}

void* aud_encoder_create(int* result, audioEncParams* params) {
    return static_cast<QcomOmxInterface*>(create<QcomOmxInterfaceAudioEnc>(result, params, "encoder"));
}

void* aud_decoder_create(int* result, audioEncParams* params) {
    return static_cast<QcomOmxInterface*>(create<QcomOmxInterfaceAudioDec>(result, params, "decoder"));
}

void* decoder_create(int* result, int width, int height, decoderParams* params) {
    auto* const decoder = create<QcomOmxInterfaceDecoder>(result, params, "decoder");
    if (decoder == nullptr) {
        return nullptr;
    }
    if (width == 0 || height == 0) {
        width = kDefaultWidth;
        height = kDefaultHeight;
    }
    *result = setupInputPort(*decoder, width, height);
    if (*result != OMX_RESULT_OK) {
        delete decoder;
        LOGE("QCOMOMXINTERFACE - ERROR creating decoder1: %d (%s)", *result, resultDescription(*result));
        return nullptr;
    }
    return static_cast<QcomOmxInterface*>(decoder);
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

int omx_decoder_set_input_packing_format(void* handle, int format) {
    return handle != nullptr ? decoderOf(handle)->setInputPackingFormat(format) : OMX_RESULT_NO_INTERFACE;
}

int omx_decoder_set_input_compression_format(void* handle, int format) {
    return handle != nullptr ? decoderOf(handle)->setInputCompressionFormat(format) : OMX_RESULT_NO_INTERFACE;
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
