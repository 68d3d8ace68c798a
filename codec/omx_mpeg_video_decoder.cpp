#include "codec/omx_mpeg_video_decoder.h"

#include <climits>
#include <cstring>
#include <new>

#include "base/clock.h"
#include "base/log.h"
#include "codec/component_names.h"
#include "codec/count_down.h"
#include "codec/decode_driver.h"
#include "codec/decode_output.h"
#include "codec/decoded_size.h"
#include "codec/encode_driver.h"
#include "codec/hex_line.h"
#include "omx/hardware_base.h"

std::atomic<int> gDecodeInCnt{0};

namespace {

constexpr const char* kVersion = "v.mo.k";
constexpr int kLoggedUnits = 5;
constexpr int kBusyPolls = 10;
constexpr int kPaceMillis = 30;
constexpr int kSkipMillis = 100;
constexpr int kCloseMillis = 50;
constexpr int kBytesPerPixel = 4;
constexpr int kMostFailedSends = 3;
constexpr int kSkipOne = -1;  // a pending-inputs count that lets one packet go unsent

// Packets up to the first size are logged without their bytes, above the second with more of them.
constexpr int kTooSmallToLog = 20;
constexpr int kShortLine = 25;

std::atomic<bool> gKeepFirstBuffer{true};
std::atomic<bool> gSendFailed{false};  // the last send of any decoder

// Sizes whose pixels fit into 31 bits, so that no size that is computed from them runs over.
bool sizeIsUsable(int width, int height) {
    return width >= 0 && height >= 0 && static_cast<int64_t>(width) * height * kBytesPerPixel <= INT_MAX;
}

// Tiles or rows, see the handlers.
OmxOutputCallback handlerOf(int hardwareBase) {
    const bool tiled = (hardwareBase & HW_FAMILY_QCOM) != 0 && !zem::hasPaddedRows(hardwareBase);
    return tiled ? GetDecodedData2 : GetDecodedData3;
}

void logInput(const uint8_t* data, int size) {
    const int left = zem::countDown(gDecodeInCnt);
    if (left < 0) {
        return;
    }
    if (size <= kTooSmallToLog) {
        LOGI("j/dec: size:%d [%d: size is too small]", size, left);
        return;
    }
    LOGI("j/dec: size:%d [%d(0): %02X%02X%02X%02X%02X-%02X%02X%02X%02X%02X-%02X%02X%02X]", size, left,
         ZEM_BYTES_13(data));
    if (size > kShortLine) {
        LOGI("j/dec: size:%d [%d(13): %02X%02X%02X%02X%02X%02X-%02X%02X%02X%02X%02X%02X%02X]", size, left,
             ZEM_BYTES_13(data + 13));
    } else {
        LOGI("j/dec: size:%d [%d(13): %02X%02X%02X%02X%02X%02X-%02X%02X]", size, left,
             ZEM_BYTES_8(data + 13));
    }
}

}  // namespace

omxMpegVideoDecoder::omxMpegVideoDecoder(const char* name) : omxCodecCommon(name) {
    LOGI("omxMpegVideoDecoder::omxMpegVideoDecoder(ver: %s)", kVersion);
}

omxMpegVideoDecoder::~omxMpegVideoDecoder() {
    close(true);
    omx_deinit();  // a component that omx_init started without open; else there is none any more
    // Only now, with no output thread of this decoder left.
    zem::dropDecodedPicture();
}

int omxMpegVideoDecoder::open(int width, int height) {
    if (mUserData == nullptr) {
        return 0;
    }
    if (!sizeIsUsable(width, height)) {
        LOGE("omxMpegVideoDecoder::open: size %d x %d is refused", width, height);
        return 0;
    }
    close(true);   // one that still runs
    omx_deinit();  // one that omx_init started by itself
    resetForOpen();
    const int result = omx_init(mUserData->outputBuffer, mUserData->outputCapacity, width, height);
    mUserData->openResult.store(result);
    LOGI("omx decoder [ret:%d, codec:%s, hardware:%x]", result,
         mComponentName != nullptr ? mComponentName : "(null)",
         static_cast<unsigned>(mUserData->hardwareBase.load()));
    return result;
}

void omxMpegVideoDecoder::resetForOpen() {
    delete[] mUserData->outputBuffer;
    mUserData->outputBuffer = nullptr;
    mUserData->outputCapacity = 0;
    mUserData->width.store(0);
    mUserData->height.store(0);
    mUserData->pendingOutputs.store(0);
    mUserData->cropMargin.store(0);
    mUserData->closeRequested.store(false);
    mUserData->dropReason = nullptr;
    gDecodeInCnt.store(kLoggedUnits);
    gDecodeOutCnt.store(kLoggedUnits);
    mFailedSends = 0;
    mCachedUsed.store(0);
    mTimestamp = 0;
    mDeinitFlag.store(false);
    mForceFlag.store(false);
}

int omxMpegVideoDecoder::omx_init(unsigned char* outBuffer, int outCapacity, int width, int height) {
    if (mUserData == nullptr || mHandle != nullptr || !nameComponent()) {
        return 0;
    }
    const int hardwareBase = mUserData->hardwareBase.load();
    // The other chips' pictures have the size that the component tells, whatever was asked for.
    if (zem::hasPaddedRows(hardwareBase)) {
        mUserData->width.store(width);
        mUserData->height.store(height);
    }
    mUserData->strideRemainder.store(zem::strideRemainderOf(hardwareBase, width));
    return omxt_decode_init(&mHandle, outBuffer, outCapacity, mUserData, handlerOf(hardwareBase),
                            mComponentName, hardwareBase, width, height);
}

// Once in the decoder's life, unless nothing was found. False when the chip is not known.
bool omxMpegVideoDecoder::nameComponent() {
    if (mComponentName == nullptr) {
        mComponentName = new (std::nothrow) char[kComponentNameSize]();
    }
    if (mComponentName == nullptr) {
        return false;
    }
    if (mComponentName[0] == '\0') {
        mUserData->hardwareBase.store(zem::detectHardwareAndName(false, mComponentName));
    }
    return mUserData->hardwareBase.load() != HW_BASE_UNKNOWN;
}

int omxMpegVideoDecoder::decode(uint8_t* data, int size) {
    if (mUserData == nullptr || size < 0 || (data == nullptr && size > 0)) {
        LOGE("omxMpegVideoDecoder::decode: %d bytes at %p are refused", size, static_cast<void*>(data));
        return -1;
    }
    keepFirstBuffer(data, size);
    logInput(data, size);
    const bool sent = mUserData->pendingOutputs.load() != 0 ? sendCounted(data, size)
                      : mHandle != nullptr                  ? sendToComponent(data, size)
                                                            : !gSendFailed.load();
    mFailedSends = sent ? 0 : mFailedSends + 1;
    zem::sleepMillis(kPaceMillis);
    return sent ? 0 : -1;
}

// For dumps of what a peer sends first, taken from the process while it runs.
void omxMpegVideoDecoder::keepFirstBuffer(const uint8_t* data, int size) {
    if (!gKeepFirstBuffer.exchange(false)) {
        return;
    }
    mFirstStreamBuffer.reset(new (std::nothrow) uint8_t[static_cast<size_t>(size) + 1]());
    mFirstStreamSize = mFirstStreamBuffer != nullptr ? size : 0;
    if (mFirstStreamSize > 0) {
        memcpy(mFirstStreamBuffer.get(), data, static_cast<size_t>(size));
    }
}

// While inputs are pending the outcome of this send is nobody's: the packets' senders are told of the
// last one that counted.
bool omxMpegVideoDecoder::sendCounted(const uint8_t* data, int size) {
    if (mUserData->pendingOutputs.load() == kSkipOne) {
        mUserData->pendingOutputs.store(0);
        zem::sleepMillis(kSkipMillis);
    } else {
        int consumed = 0;
        omx_send_data(data, size, &consumed);
        mUserData->pendingOutputs.fetch_sub(1);
    }
    return !gSendFailed.load();
}

bool omxMpegVideoDecoder::sendToComponent(const uint8_t* data, int size) {
    waitWhileBusy();
    if (mFailedSends >= kMostFailedSends) {
        mFailedSends = 0;
    }
    int consumed = 0;
    gSendFailed.store(omx_send_data(data, size, &consumed) < 0);
    return !gSendFailed.load();
}

void omxMpegVideoDecoder::waitWhileBusy() {
    for (int i = 0; i < kBusyPolls; ++i) {
        if (zem::inputIsPending(mHandle)) {
            zem::sleepMillis(kPaceMillis);
        }
    }
}

int omxMpegVideoDecoder::getBitmap(AndroidBitmapInfo* /*info*/, uint8_t* /*pixels*/) {
    return -1;
}

int omxMpegVideoDecoder::getWidth() {
    return mUserData != nullptr ? mUserData->width.load() - mUserData->cropMargin.load() : 0;
}

int omxMpegVideoDecoder::getHeight() {
    return mUserData != nullptr ? mUserData->height.load() : 0;
}

int omxMpegVideoDecoder::omx_send_data(const unsigned char* data, int size, int* consumed) {
    return SendDataToDecoder2(mHandle, data, size, consumed, &mTimestamp);
}

void omxMpegVideoDecoder::omx_send_final_data() {
    if (mTimestamp == 0) {
        mDeinitFlag.store(true);
        LOGI("omxMpegVideoDecoder::omx_send_final_data (m_omxTimeStampLfile == 0)");
        return;
    }
    LOGI("omxMpegVideoDecoder::omx_send_final_data +");
    omxt_decode_send_end(mHandle, mTimestamp);
    LOGI("omxMpegVideoDecoder::omx_send_final_data -");
}

int omxMpegVideoDecoder::omx_deinit() {
    const int result = omxt_decode_deinit(mHandle, mDeinitFlag.load());
    mHandle = nullptr;
    return result;
}

void omxMpegVideoDecoder::close(bool skipFinal) {
    if (mUserData == nullptr) {
        return;
    }
    GetUsedSize();
    if (mUserData->openResult.load() == 0) {
        if (mHandle == nullptr) {
            omxCodecCommon::close();
        }
        return;
    }
    LOGI("omxMpegVideoDecoder::close : omx_send_final_data (f:%d)", skipFinal);
    if (!skipFinal) {
        omx_send_final_data();
    }
    zem::sleepMillis(kCloseMillis);
    LOGI("omxMpegVideoDecoder::close : deinit");
    omx_deinit();
    omxCodecCommon::close();  // the output thread, which used the record's second buffer, has ended
    LOGI("omxMpegVideoDecoder::close : end");
    zem::sleepMillis(kCloseMillis);
    mUserData->openResult.store(0);
}
