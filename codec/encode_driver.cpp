#include "codec/encode_driver.h"

#include <cstdint>
#include <cstring>

#include "base/clock.h"
#include "base/log.h"
#include "codec/component_life.h"
#include "codec/driver_handle.h"
#include "codec/input_semaphore.h"
#include "omx/encoder_params.h"
#include "omx/hardware_base.h"
#include "omx/result_codes.h"

using zem::closeIsRequested;
using zem::interfaceOf;
using zem::recordOf;

namespace {

// How long a component may keep all its input buffers before it counts as dead.
constexpr int kInputLimitMillis = 3000;
// Qualcomm encoders look for the chroma plane at the next multiple of this after the luma plane.
constexpr int64_t kQualcommChromaAlignment = 2048;
constexpr int kMicrosPerSecond = 1000000;

// Where the planes of one frame go in a component's buffer; bytes, in 64 bits so that no size that a
// caller may pass runs over.
struct FrameLayout {
    FrameLayout(int width, int height, int hardwareBase)
        : luma(width < 1 || height < 1 ? 0 : static_cast<int64_t>(width) * height),
          chroma(luma / 2),
          chromaOffset(luma) {
        if ((hardwareBase & HW_FAMILY_QCOM) != 0) {
            chromaOffset =
                (luma + kQualcommChromaAlignment - 1) / kQualcommChromaAlignment * kQualcommChromaAlignment;
        }
    }
    int64_t frameSize() const { return luma + chroma; }
    int64_t sentSize() const { return chromaOffset + chroma; }

    int64_t luma;
    int64_t chroma;
    int64_t chromaOffset;
};

// A reservation's outcome: 0 go on, else the result that ends the send.
enum class Reservation { kRetry, kDone, kStopped, kRefused };

// After a wait that ended in time, or a reservation that failed otherwise: what the component's error
// state says about trying again. Going on with an error present, with whatever buffer is left, is how
// this driver has always met a component that fails in mid-stream; the send then reports the error.
Reservation judgeFailure(void* handle, int result) {
    if (result == -2) {
        // The input has ended: no later try can succeed, with or without an error recorded.
        LOGE("QCOMOMXINTERFACE - OMX TERMINATED.  STOP SENDING DATA");
        return Reservation::kRefused;
    }
    return omx_interface_error(handle) != 0 ? Reservation::kDone : Reservation::kRetry;
}

// A time-out may be another codec's doing, which took the post of a buffer that did come back: one more
// look before the component is given up.
Reservation reserveAfterTimeOut(void* handle, void** buffer, void** bufferData) {
    const int result = omx_interface_reserve_input_buffer(handle, buffer, bufferData);
    if (result == 0) {
        return Reservation::kDone;
    }
    if (result != -1) {
        return judgeFailure(handle, result);
    }
    LOGE("QCOMOMXINTERFACE - OMX TERMINATED. timeout. STOP SENDING DATA.");
    return Reservation::kStopped;
}

// The limit counts from the first wait and holds for the whole frame: posts that are left over, or meant
// for another codec, do not lengthen it.
Reservation reserveInputBuffer(void* handle, void** buffer, void** bufferData) {
    timespec deadline{};
    bool waited = false;
    Reservation outcome = Reservation::kRetry;
    while (outcome == Reservation::kRetry) {
        const int result = omx_interface_reserve_input_buffer(handle, buffer, bufferData);
        if (result == 0) {
            return Reservation::kDone;
        }
        if (closeIsRequested(handle)) {
            LOGI("SendDataToEncoder : the encoder is about to be closed");
            return Reservation::kRefused;
        }
        if (result == -1) {
            if (!waited) {
                deadline = zem::deadlineAfterMillis(kInputLimitMillis);
                waited = true;
            }
            if (zem::videoInputSemaphore().waitUntil(deadline, "int semTimeWait(sem_t*, int)") != 0) {
                return reserveAfterTimeOut(handle, buffer, bufferData);
            }
        }
        outcome = judgeFailure(handle, result);
    }
    return outcome;
}

// False, with the buffer free again, when the component's buffer cannot take the frame. Null is refused
// too: what a failed reservation leaves.
bool frameFits(void* handle, void* buffer, const void* bufferData, const FrameLayout& layout) {
    if (handle == nullptr || buffer == nullptr || bufferData == nullptr) {
        LOGE("SendDataToEncoder : no input buffer");
        return false;
    }
    const int64_t room = interfaceOf(handle)->inputBufferCapacity(buffer);
    if (layout.sentSize() <= room) {
        return true;
    }
    LOGE("SendDataToEncoder : frame of %lld bytes, component's buffer has %lld",
         static_cast<long long>(layout.sentSize()), static_cast<long long>(room));
    if (room > 0) {
        static_cast<BufferInfo*>(buffer)->ownedByComponent.store(false);
    }
    return false;
}

void copyFrame(const unsigned char* frame, const FrameLayout& layout, void* bufferData) {
    auto* const target = static_cast<unsigned char*>(bufferData);
    memcpy(target, frame, static_cast<size_t>(layout.luma));
    memcpy(target + layout.chromaOffset, frame + layout.luma, static_cast<size_t>(layout.chroma));
}

// Timestamps wrap: nothing orders by them. A frame rate below 1 lets time stand still.
void advanceTimestamp(int* timestamp, int frameRate) {
    if (frameRate >= 1) {
        *timestamp = static_cast<int>(static_cast<unsigned>(*timestamp) +
                                      static_cast<unsigned>(kMicrosPerSecond / frameRate));
    }
}

int submitFrame(void* handle, void* buffer, int size, int timestamp) {
    codecUserData* const record = recordOf(handle);
    if (record != nullptr) {
        record->lastInputBuffer.store(static_cast<uint32_t>(interfaceOf(handle)->inputBufferId(buffer)));
    }
    if (omx_interface_send_input_buffer(handle, buffer, size, timestamp) == -1) {
        LOGE("QCOMOMXINTERFACE - ERROR SENDING BUFFER");
        return OMX_RESULT_APPLICATION;
    }
    return omx_interface_error(handle);
}

}  // namespace

int omxt_encode_init(void** handle, codecUserData* ud, unsigned char* outBuffer, int outCapacity, int width,
                     int height, int frameRate, int rateControl, int bitrate, int gop,
                     OmxOutputCallback outputCallback, const char* componentName, int hardwareBase) {
    ud->outputBuffer = outBuffer;
    ud->outputCapacity = outCapacity;
    ud->outputUsed.store(0);
    ud->width.store(width);
    ud->height.store(height);
    ud->hardwareBase.store(hardwareBase);
    encoderParams params{width, height, frameRate, rateControl, bitrate, gop, hardwareBase, componentName};
    zem::videoInputSemaphore().acquire();
    LOGI("omx encoder create: {%s}", componentName != nullptr ? componentName : "(null)");
    int result = 0;
    *handle = encoder_create(&result, &params);
    if (zem::startComponent(handle, semaphoreEmptyBufferPost, outputCallback, ud) > 0) {
        zem::videoInputSemaphore().release();
        return 0;
    }
    return 1;
}

int SendDataToEncoder(void* handle, unsigned char* frame, int frameSize, void** buffer, void** bufferData,
                      int* timestamp, int width, int height, int frameRate, int* sentSize, int hardwareBase) {
    *sentSize = 0;
    const FrameLayout layout(width, height, hardwareBase);
    if (layout.luma == 0 || layout.frameSize() > frameSize) {
        LOGE("SendDataToEncoder : Incorrect buff size");
        return OMX_RESULT_APPLICATION;
    }
    switch (reserveInputBuffer(handle, buffer, bufferData)) {
        case Reservation::kStopped:
            return OMX_RESULT_TIMED_OUT;
        case Reservation::kRefused:
            return OMX_RESULT_APPLICATION;
        default:
            break;
    }
    if (!frameFits(handle, *buffer, *bufferData, layout)) {
        return OMX_RESULT_APPLICATION;
    }
    copyFrame(frame, layout, *bufferData);
    *sentSize = static_cast<int>(layout.sentSize());
    advanceTimestamp(timestamp, frameRate);
    return submitFrame(handle, *buffer, *sentSize, *timestamp);
}

int omxt_encode_loop(void* handle, unsigned char* frames, int totalSize, int frameCount, void** buffer,
                     void** bufferData, int* timestamp, int width, int height, int frameRate) {
    const int64_t frameSize = FrameLayout(width, height, HW_BASE_UNKNOWN).frameSize();
    if (frameCount * frameSize != totalSize) {
        LOGE("omxt_encode_loop : Incorrect buff size.");
        return OMX_RESULT_APPLICATION;
    }
    for (int i = 0; i < frameCount; ++i) {
        int sent = 0;
        const int result =
            SendDataToEncoder(handle, frames + i * frameSize, static_cast<int>(frameSize), buffer, bufferData,
                              timestamp, width, height, frameRate, &sent, HW_BASE_UNKNOWN);
        if (result != 0) {
            return result;
        }
    }
    return omx_interface_error(handle);
}

int omxt_encode_send_final_data(void* handle, void* buffer, int timestamp) {
    omx_interface_send_final_buffer(handle, buffer, timestamp);
    return omx_interface_error(handle);
}

int omxt_encode_deinit(void* handle, bool flag, bool force) {
    int result = OMX_RESULT_TIMED_OUT;
    if (handle == nullptr) {
        return result;  // a codec without a component holds no share in the input semaphore
    }
    LOGE("omxt_encode_deinit (force:%d) +", force);
    if (force) {
        interfaceOf(handle)->ExitDataOutputThread();
    } else {
        result = omx_interface_deinit(handle, flag);
    }
    LOGE("omxt_encode_deinit : destroy encoder");
    omx_interface_destroy(handle);
    LOGE("omxt_encode_deinit -");
    zem::videoInputSemaphore().release();
    return result;
}

// Encoders configure both ports alike; a decoder's pictures come out of port 1.
int GetEncodeWidth(void* handle) {
    return handle != nullptr ? interfaceOf(handle)->portWidth(1) : 0;
}

int GetEncodeHeight(void* handle) {
    return handle != nullptr ? interfaceOf(handle)->portHeight(1) : 0;
}

namespace zem {

bool inputIsPending(void* handle) {
    return handle != nullptr && interfaceOf(handle)->inputPending();
}

}  // namespace zem
