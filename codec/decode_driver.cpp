#include "codec/decode_driver.h"

#include "base/clock.h"
#include "base/log.h"
#include "codec/component_life.h"
#include "codec/driver_handle.h"
#include "codec/end_of_input.h"
#include "codec/input_semaphore.h"
#include "omx/decoder_params.h"
#include "omx/result_codes.h"

namespace {

// Receivers show pictures as they come: all packets have the same time.
constexpr int kPacketTimestamp = 100000;
// How often a wait looks up: another codec may take the post that was meant for this one.
constexpr int kLookMillis = 500;

constexpr int kNotNow = -1;
constexpr int kNever = -2;

constexpr const char* kWaitSignature = "int SendDataToDecoder2(void*, const unsigned char*, int, int*, int*)";

// True when waiting longer makes no sense, for a reason other than a free buffer.
bool waitIsOver(void* handle) {
    return zem::closeIsRequested(handle) || omx_interface_error(handle) != 0;
}

}  // namespace

namespace zem {

void waitForInputBuffer(void* handle) {
    while (!waitIsOver(handle) && !interfaceOf(handle)->inputBufferIsFree()) {
        if (videoInputSemaphore().waitUntil(deadlineAfterMillis(kLookMillis), kWaitSignature) == 0) {
            return;
        }
    }
}

}  // namespace zem

int omxt_decode_init(void** handle, unsigned char* outBuffer, int outCapacity, codecUserData* ud,
                     OmxOutputCallback outputCallback, const char* componentName, int hardwareBase, int width,
                     int height) {
    ud->outputBuffer = outBuffer;
    ud->outputCapacity = outCapacity;
    ud->outputUsed.store(0);
    ud->hardwareBase.store(hardwareBase);
    decoderParams params{hardwareBase, componentName};
    zem::videoInputSemaphore().acquire();
    LOGI("omx decoder create: {%s}", componentName != nullptr ? componentName : "(null)");
    int result = 0;
    *handle = decoder_create(&result, width, height, &params);
    if (zem::startComponent(handle, semaphoreEmptyBufferPost, outputCallback, ud) > 0) {
        zem::videoInputSemaphore().release();
        return 0;
    }
    return 1;
}

int SendDataToDecoder2(void* handle, const unsigned char* data, int size, int* consumed, int* timestamp) {
    int result = kNever;
    if (size < 0) {
        LOGE("SendDataToDecoder2 : %d bytes are refused", size);
    } else {
        // The component's side takes no const: it only reads.
        result = omx_interface_send_input_data(handle, const_cast<unsigned char*>(data),
                                               static_cast<unsigned int>(size), kPacketTimestamp);
    }
    if (result == kNotNow) {
        LOGE("Error: SendDataToDecoder2(mo.k) : return -1");
        zem::waitForInputBuffer(handle);
    }
    const int error = omx_interface_error(handle);
    if (error != 0) {
        LOGE("SendDataToDecoder2 : omx_interface_error %d", error);
        result = kNotNow;
    }
    *consumed = size;
    *timestamp = kPacketTimestamp;
    return result;
}

int omxt_decode_send_end(void* handle, int timestamp) {
    return zem::sendEndOfInput(handle, timestamp, zem::videoInputSemaphore(), "omxt_decode_send_end");
}

int omxt_decode_deinit(void* handle, bool flag) {
    return zem::endComponent(handle, flag, zem::videoInputSemaphore());
}
