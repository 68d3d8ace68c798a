#include "codec/h264_stream.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "base/log.h"
#include "codec/decode_driver.h"
#include "codec/driver_handle.h"
#include "codec/omx_interface.h"
#include "omx/result_codes.h"

namespace {

constexpr int kUnitMicros = 100000;
constexpr uint32_t kStartCode = 1;  // as the last four bytes read, in a register
constexpr int kStartCodeBytes = 4;
constexpr int kStepBytes = 5000;
constexpr int kStagingBytes = 200000;

using Bytes = std::unique_ptr<unsigned char[]>;

Bytes allocate(int size) {
    return Bytes(new (std::nothrow) unsigned char[static_cast<size_t>(size)]);
}

void advance(int* timestamp) {
    *timestamp = static_cast<int>(static_cast<unsigned>(*timestamp) + unsigned{kUnitMicros});
}

// Sends one unit, however long it takes to get an input buffer.
int sendUnit(void* handle, unsigned char* unit, int size, int timestamp) {
    for (;;) {
        const int result =
            omx_interface_send_input_data(handle, unit, static_cast<unsigned int>(size), timestamp);
        const int error = omx_interface_error(handle);
        if (error != 0) {
            return error;
        }
        if (result != -1 || zem::closeIsRequested(handle)) {
            return result;
        }
        zem::waitForInputBuffer(handle);
    }
}

// Bytes of a stream that wait for the rest of their unit, and then are sent.
class Staging {
  public:
    explicit Staging(void* handle) : mHandle(handle), mBytes(allocate(kStagingBytes)) {}
    bool isUsable() const { return mBytes != nullptr; }

    /// Takes at most a step of the stream, sends the units that it completes; the bytes taken go to
    /// `*taken`.
    int feed(const unsigned char* stream, int size, int* taken, int* timestamp) {
        *taken = std::min({size, kStepBytes, kStagingBytes - mUsed});
        memcpy(mBytes.get() + mUsed, stream, static_cast<size_t>(*taken));
        mUsed += *taken;
        int consumed = 0;
        const int result = SendDataToDecoder(mHandle, mBytes.get(), mUsed, &consumed, timestamp);
        mUsed -= consumed;
        memmove(mBytes.get(), mBytes.get() + consumed, static_cast<size_t>(mUsed));
        // A unit that fills the whole staging buffer goes in pieces.
        return result == 0 && mUsed == kStagingBytes ? flush(timestamp) : result;
    }
    /// Sends what is left as one unit.
    int flush(int* timestamp) {
        if (mUsed == 0) {
            return 0;
        }
        advance(timestamp);
        const int size = mUsed;
        mUsed = 0;
        return sendUnit(mHandle, mBytes.get(), size, *timestamp);
    }

  private:
    void* const mHandle;
    const Bytes mBytes;
    int mUsed = 0;
};

}  // namespace

int readBufferFromH264InputFile3(const unsigned char* stream, int streamSize, int* pos, int* found,
                                 unsigned char* out, int outSize, int* timestamp) {
    uint32_t lastFour = UINT32_MAX;
    int count = 0;
    while (count < outSize - 1) {
        if (stream == nullptr || *pos < 0 || *pos >= streamSize) {
            LOGE("QCOMOMXINTERFACE - Failed to read frame or it might be EOF\n \n");
            return 0;
        }
        const unsigned char byte = stream[(*pos)++];
        out[count++] = byte;
        lastFour = lastFour << 8 | byte;
        if (lastFour == kStartCode && count > kStartCodeBytes) {
            *pos = std::max(*pos - kStartCodeBytes, 0);
            const int length = count - kStartCodeBytes;
            *found = static_cast<int>(static_cast<unsigned>(*found) + static_cast<unsigned>(length));
            advance(timestamp);
            return length;
        }
    }
    *found = lastFour == kStartCode ? 1 : 0;
    return count;
}

int SendDataToDecoder(void* handle, const unsigned char* data, int size, int* consumed, int* timestamp) {
    *consumed = 0;
    if (data == nullptr || size < 1) {
        return omx_interface_error(handle);
    }
    const Bytes unit = allocate(size);
    if (unit == nullptr) {
        LOGE("SendDataToDecoder : no memory for %d bytes", size);
        return OMX_RESULT_APPLICATION;
    }
    int pos = 0;
    int found = 0;
    for (;;) {
        // Without a bound of its own: no unit is longer than the data, which the buffer has room for.
        const int length =
            readBufferFromH264InputFile3(data, size, &pos, &found, unit.get(), INT_MAX, timestamp);
        if (length == 0) {
            return omx_interface_error(handle);
        }
        const int result = sendUnit(handle, unit.get(), length, *timestamp);
        if (result != 0) {
            return result;
        }
        *consumed = pos;
    }
}

int omxt_decode_loop(void* handle, const unsigned char* stream, int size, int* timestamp) {
    Staging staging(handle);
    if (!staging.isUsable()) {
        LOGE("omxt_decode_loop : Faild to alloc memory ");
        return OMX_RESULT_APPLICATION;
    }
    int result = 0;
    for (int pos = 0, taken = 0; result == 0 && pos < size; pos += taken) {
        result = staging.feed(stream + pos, size - pos, &taken, timestamp);
    }
    return result == 0 ? staging.flush(timestamp) : result;
}
