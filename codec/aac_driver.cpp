#include "codec/aac_driver.h"

#include <cstring>

#include "base/clock.h"
#include "base/log.h"
#include "codec/component_life.h"
#include "codec/decode_driver.h"
#include "codec/driver_handle.h"
#include "codec/end_of_input.h"
#include "codec/input_semaphore.h"
#include "omx/audio_enc_params.h"
#include "omx/result_codes.h"

using zem::interfaceOf;

namespace {

constexpr int kMicrosPerSecond = 1000000;
// The time of what comes without one of its own: nothing orders by it.
constexpr int kUsualMicros = 100000;
// How often a wait looks up: another codec may take the post that was meant for this one.
constexpr int kLookMillis = 500;

constexpr int kNotNow = -1;
constexpr int kNever = -2;

int start(void** handle, codecUserData* ud, audioEncParams& params, OmxOutputCallback outputCallback,
          void* (*create)(int*, audioEncParams*)) {
    zem::audioInputSemaphore().acquire();
    int result = OMX_RESULT_OK;
    *handle = create(&result, &params);
    if (*handle != nullptr) {
        result = zem::startComponent(handle, semaphoreEmptyBufferPost2, outputCallback, ud);
    } else if (result == OMX_RESULT_OK) {
        result = OMX_RESULT_NO_INTERFACE;  // how creation answers a refused set-up
    }
    if (*handle == nullptr) {
        zem::audioInputSemaphore().release();
    }
    return result;
}

// False when no later try can succeed. True with no buffer when the component failed meanwhile.
bool reserveInputBuffer(void* handle, void** buffer, void** bufferData) {
    for (;;) {
        const int result = omx_interface_reserve_input_buffer(handle, buffer, bufferData);
        if (result == 0) {
            return true;
        }
        if (result == kNever) {
            LOGE("QCOMOMXINTERFACE - OMX TERMINATED.  STOP SENDING DATA");
            return false;
        }
        if (zem::closeIsRequested(handle)) {
            return false;
        }
        if (result == kNotNow) {
            zem::audioInputSemaphore().waitUntil(zem::deadlineAfterMillis(kLookMillis),
                                                 "int SendAudDataToEncoder(void*, const unsigned char*, int, "
                                                 "void**, void**, int*, int, int*)");
        }
        if (omx_interface_error(handle) != OMX_RESULT_OK) {
            return true;
        }
    }
}

// False, with the buffer free again, when it is none or cannot take the block.
bool blockFits(void* handle, void* buffer, const void* bufferData, int size) {
    if (handle == nullptr || buffer == nullptr || bufferData == nullptr) {
        LOGE("SendAudDataToEncoder : no input buffer");
        return false;
    }
    const unsigned room = interfaceOf(handle)->inputBufferCapacity(buffer);
    if (static_cast<unsigned>(size) <= room) {
        return true;
    }
    LOGE("SendAudDataToEncoder : block of %d bytes, component's buffer has %u", size, room);
    interfaceOf(handle)->releaseInputBuffer(buffer);
    return false;
}

}  // namespace

int omxt_aud_encode_init(void** handle, codecUserData* ud, unsigned char* buf, int capacity, int channels,
                         int bitrate, int samplingRate, int bitsPerSample, OmxOutputCallback outputCallback,
                         const char* name) {
    ud->outputBuffer = buf;
    ud->outputCapacity = capacity;
    ud->outputUsed.store(0);
    ud->channels = channels;
    ud->bitrate = bitrate;
    ud->samplingRate = samplingRate;
    audioEncParams params{channels, bitrate, samplingRate, bitsPerSample, name};
    return start(handle, ud, params, outputCallback, aud_encoder_create);
}

int omxt_aud_decode_init(void** handle, codecUserData* ud, unsigned char* buf, int capacity, int channels,
                         int bitsPerSample, int samplingRate, OmxOutputCallback outputCallback,
                         const char* name) {
    ud->outputBuffer = buf;
    ud->outputCapacity = capacity;
    ud->outputUsed.store(0);
    audioEncParams params{channels, 0, samplingRate, bitsPerSample, name};
    return start(handle, ud, params, outputCallback, aud_decoder_create);
}

int SendAudDataToEncoder(void* handle, const unsigned char* pcm, int size, void** buffer, void** bufferData,
                         int* timestamp, int rate, int* sent) {
    *sent = 0;
    if (size < 0) {
        LOGE("SendAudDataToEncoder : %d bytes are refused", size);
        return OMX_RESULT_APPLICATION;
    }
    if (!reserveInputBuffer(handle, buffer, bufferData) || !blockFits(handle, *buffer, *bufferData, size)) {
        return OMX_RESULT_APPLICATION;
    }
    if (size > 0) {
        memcpy(*bufferData, pcm, static_cast<size_t>(size));
    }
    *sent = size;
    const int step = rate != 0 ? kMicrosPerSecond / rate : kUsualMicros;
    *timestamp = static_cast<int>(static_cast<unsigned>(*timestamp) + static_cast<unsigned>(step));
    if (omx_interface_send_input_buffer(handle, *buffer, size, *timestamp) == -1) {
        LOGE("QCOMOMXINTERFACE - ERROR SENDING BUFFER");
        return OMX_RESULT_APPLICATION;
    }
    return omx_interface_error(handle);
}

int SendDataToAudDecoder(void* handle, const unsigned char* data, int size, int* consumed, int* timestamp) {
    if (size < 0) {
        LOGE("SendDataToAudDecoder : %d bytes are refused", size);
    } else if (omx_interface_send_input_data(handle, const_cast<unsigned char*>(data),
                                             static_cast<unsigned>(size), kUsualMicros) == kNotNow) {
        // On the video semaphore, which no AAC component posts: the wait looks up often enough, and a
        // video codec that loses a post by it looks again.
        zem::waitForInputBuffer(handle);
    }
    *consumed = size;
    *timestamp = kUsualMicros;
    return omx_interface_error(handle);
}

int omxt_aud_decode_send_end(void* handle, int timestamp) {
    return zem::sendEndOfInput(handle, timestamp, zem::audioInputSemaphore(), "omxt_aud_decode_send_end");
}

int omxt_aud_decode_deinit(void* handle, bool flag) {
    return zem::endComponent(handle, flag, zem::audioInputSemaphore());
}
