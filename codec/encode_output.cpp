#include "codec/encode_output.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <new>

#include "base/log.h"
#include "codec/codec_user_data.h"
#include "codec/count_down.h"
#include "codec/gathered_output.h"
#include "codec/hex_line.h"
#include "context/hand_off.h"

std::atomic<int> g_encodedSendCnt{0};
unsigned char* g_firstEncoded = nullptr;
int g_firstEncodedSize = 0;
std::atomic<int> gEncodeOutCnt{0};

namespace {

// Outputs up to this size are logged without their bytes.
constexpr int kTooSmallToLog = 20;
// Hardware bases of which one bit is among these get their second output held back.
constexpr int kHoldBackBits = 0x3002;

enum DeliveryState { kNothingSeen = 0, kConfigurationSent = 1, kSecondHeld = 2, kRunning = 3 };

// One output of a component; empty when there is nothing to look at.
struct Output {
    Output(void* data, unsigned int length) : bytes(static_cast<uint8_t*>(data)) {
        if (length > static_cast<unsigned int>(INT_MAX)) {
            LOGE("encoder output: size %u is refused", length);
        } else if (data != nullptr) {
            size = static_cast<int>(length);
        }
    }
    uint8_t* bytes;
    int size = 0;
};

void logOutput(const Output& output) {
    const int left = zem::countDown(gEncodeOutCnt);
    if (left < 0) {
        return;
    }
    const int size = output.size;
    const int state = g_encodedSendCnt.load();
    if (size <= kTooSmallToLog) {
        LOGI("j/enc2/output: size:%d [%d: size is too small] %d.", size, left, state);
        return;
    }
    const uint8_t* const bytes = output.bytes;
    LOGI("j/enc2/output: size:%d [%d(0): %02X%02X%02X%02X%02X-%02X%02X%02X%02X%02X-%02X%02X%02X]", size, left,
         ZEM_BYTES_13(bytes));
    LOGI("j/enc2/output: size:%d [%d(13): %02X%02X%02X%02X%02X%02X-%02X%02X] %d.", size, left,
         ZEM_BYTES_8(bytes + 13), state);
}

void append(codecUserData& record, const Output& output) {
    const int used = record.outputUsed.load();
    if (used < 0 || used > record.outputCapacity - output.size) {
        LOGE("encoder output: %d bytes at %d do not fit into %d", output.size, used, record.outputCapacity);
        return;
    }
    memcpy(record.outputBuffer + used, output.bytes, static_cast<size_t>(output.size));
    record.outputUsed.store(used + output.size);
}

void holdBack(const Output& output) {
    if (g_firstEncoded != nullptr) {
        return;
    }
    g_firstEncoded = new (std::nothrow) unsigned char[static_cast<size_t>(output.size)];
    if (g_firstEncoded == nullptr) {
        LOGE("encoder output: no memory to hold back %d bytes", output.size);
        return;
    }
    memcpy(g_firstEncoded, output.bytes, static_cast<size_t>(output.size));
    g_firstEncodedSize = output.size;
}

void deliverHeld() {
    if (g_firstEncoded != nullptr) {
        copyBufferForEncoder(g_firstEncoded, g_firstEncodedSize);
    }
}

// Receivers start from the configuration and then want the first two pictures in one go: on Qualcomm and
// Samsung chips the second output waits for the third.
void deliverInOrder(const Output& output, int hardwareBase) {
    const int state = g_encodedSendCnt.load();
    if (state >= kRunning) {
        copyBufferForEncoder(output.bytes, output.size);
    } else if ((hardwareBase & kHoldBackBits) == 0) {
        g_encodedSendCnt.store(kRunning);
        copyBufferForEncoder(output.bytes, output.size);
    } else if (state == kSecondHeld) {
        deliverHeld();
        copyBufferForEncoder(output.bytes, output.size);
        g_encodedSendCnt.store(kRunning);
    } else if (state == kConfigurationSent) {
        holdBack(output);
        g_encodedSendCnt.store(kSecondHeld);
    } else {
        copyBufferForEncoder(output.bytes, output.size);
        g_encodedSendCnt.store(kConfigurationSent);
    }
}

int appendOutput(void* data, unsigned int size, void* user) {
    auto* const record = static_cast<codecUserData*>(user);
    const Output output(data, size);
    if (record != nullptr && output.size > 0 && zem::capacityOf(*record) >= 1) {
        append(*record, output);
    }
    return 0;
}

}  // namespace

int GetEncodedData2(void* /*handle*/, void* data, unsigned int size, void* user) {
    auto* const record = static_cast<codecUserData*>(user);
    if (record == nullptr) {
        return 0;
    }
    const Output output(data, size);
    if (output.size > 0) {
        logOutput(output);
        if (zem::capacityOf(*record) > output.size) {
            zem::gather(*record, output.bytes, output.size);
        } else {
            deliverInOrder(output, record->hardwareBase.load());
        }
    }
    zem::countDown(record->pendingOutputs);
    return 0;
}

int GetEncodedData3(void* /*handle*/, void* data, unsigned int size, void* user) {
    auto* const record = static_cast<codecUserData*>(user);
    const Output output(data, size);
    if (record == nullptr || output.size == 0) {
        return 0;
    }
    if (output.size >= zem::capacityOf(*record)) {
        copyBufferForEncoder(output.bytes, output.size);
    } else {
        zem::gather(*record, output.bytes, output.size);
    }
    return 0;
}

int GetEncodedDataOnly(void* /*handle*/, void* data, unsigned int size, void* /*user*/) {
    const Output output(data, size);
    if (output.size > 0) {
        copyHeaderForDecoder(output.bytes, output.size);
    }
    return 0;
}

int GetEncodedData(void* /*handle*/, void* data, unsigned int size, void* user) {
    return appendOutput(data, size, user);
}

int handleOutputEncoded(void* /*handle*/, void* data, unsigned int size, void* /*unused*/, void* user) {
    return appendOutput(data, size, user);
}

int GetEncodedDataPos(const unsigned char* data, int size) {
    if (data == nullptr || size < 8) {
        return 0;
    }
    static constexpr unsigned char kStartCode[] = {0, 0, 0, 1};
    for (int i = 1; i <= size - static_cast<int>(sizeof kStartCode); ++i) {
        if (memcmp(data + i, kStartCode, sizeof kStartCode) == 0) {
            return i;
        }
    }
    return 0;
}

namespace zem {

void dropHeldOutput() {
    delete[] g_firstEncoded;
    g_firstEncoded = nullptr;
    g_firstEncodedSize = 0;
}

}  // namespace zem
