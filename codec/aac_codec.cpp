#include "codec/aac_codec.h"

#include <cstring>
#include <new>

#include "base/clock.h"
#include "base/log.h"
#include "base/timing.h"
#include "codec/aac_driver.h"
#include "codec/gathered_output.h"
#include "omx/result_codes.h"

namespace zem {
namespace {

constexpr int kOutputLimitMillis = 500;
constexpr int kCloseMillis = 100;

}  // namespace

AacCodec::AacCodec(const char* name, const char* usualName) : omxCodecCommon(name) {
    if (name == nullptr) {
        useName(usualName);
    }
}

bool AacCodec::prepare(int capacity) {
    if (mUserData == nullptr) {
        return false;
    }
    close();
    if (mHandle != nullptr) {
        omx_deinit();  // one that omx_init started by itself
    }
    mUserData->pendingOutputs.store(0);
    if (mUserData->outputBuffer == nullptr) {
        mUserData->outputBuffer = new (std::nothrow) unsigned char[static_cast<size_t>(capacity)];
        mUserData->outputCapacity = mUserData->outputBuffer != nullptr ? capacity : 0;
    }
    mUserData->closeRequested.store(false);
    mCachedUsed.store(0);
    mTimestamp = 0;
    mDeinitFlag.store(false);
    mForceFlag.store(false);
    return mUserData->outputBuffer != nullptr;
}

void AacCodec::logStart(const char* function, int result) const {
    if (result != OMX_RESULT_OK) {
        LOGE("%s : no component [%s], %d (%s)", function, mComponentName != nullptr ? mComponentName : "",
             result, resultDescription(result));
    }
}

bool AacCodec::componentIsGone() const {
    return mUserData == nullptr || omx_interface_error(mHandle) != OMX_RESULT_OK;
}

unsigned AacCodec::outputCount() {
    omxCodecLock();
    const unsigned count = mUserData->outputCount;
    omxCodecUnlock();
    return count;
}

bool AacCodec::waitForOutput(unsigned before) {
    timespec deadline{};
    setDelayTimeout(kOutputLimitMillis, &deadline);
    omxCodecLock();
    int result = 0;
    while (result == 0 && mUserData->outputCount == before && !mUserData->closeRequested.load()) {
        result = omxCodecTimeWait(&deadline);
    }
    const bool came = mUserData->outputCount != before;
    omxCodecUnlock();
    return came;
}

int AacCodec::readGathered(unsigned char* out, int max) {
    if (mUserData == nullptr || out == nullptr) {
        return 0;
    }
    omxCodecLock();
    int used = mUserData->outputUsed.load();
    if (used >= 1 && used <= capacityOf(*mUserData) && used <= max) {
        memcpy(out, mUserData->outputBuffer, static_cast<size_t>(used));
        mUserData->outputUsed.store(0);
    } else {
        used = 0;
    }
    omxCodecUnlock();
    return used;
}

int AacCodec::omx_deinit() {
    const int result = omxt_aud_decode_deinit(mHandle, mDeinitFlag.load());
    mHandle = nullptr;
    mReservedBuffer = nullptr;
    mReservedData = nullptr;
    return result;
}

void AacCodec::close() {
    if (mUserData == nullptr) {
        return;
    }
    GetUsedSize();
    if (mUserData->openResult.load() != 0) {
        sleepMillis(kCloseMillis);
        omx_send_final_data();
        sleepMillis(kCloseMillis);
        omx_deinit();
        sleepMillis(kCloseMillis);
        mUserData->openResult.store(0);
    }
    if (mHandle == nullptr) {
        omxCodecCommon::close();
    }
}

}  // namespace zem
