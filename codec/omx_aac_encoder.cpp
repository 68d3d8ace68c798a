#include "codec/omx_aac_encoder.h"

#include "base/clock.h"
#include "base/log.h"
#include "codec/aac_driver.h"
#include "codec/aac_output.h"
#include "codec/encode_driver.h"
#include "omx/result_codes.h"

namespace {

constexpr char kUsualName[] = "OMX.qcom.audio.encoder.aac";
constexpr int kCapacity = 1000000;  // over ten seconds of the highest bit rate
constexpr int kBitsPerSample = 16;
constexpr int kPaceMillis = 5;

}  // namespace

omxAacEncoder::omxAacEncoder(const char* name) : AacCodec(name, kUsualName) {
    LOGI("omxAacEncoder::omxAacEncoder - [%s]", mComponentName != nullptr ? mComponentName : "(null)");
}

omxAacEncoder::~omxAacEncoder() {
    close();
    omx_deinit();  // a component that omx_init started without init; else there is none any more
}

int omxAacEncoder::getBitrate(int index) {
    static constexpr int kBitrates[] = {64000,  80000,  96000,  112000, 128000, 160000,
                                        192000, 224000, 256000, 320000, 500000};
    constexpr int kCount = sizeof kBitrates / sizeof kBitrates[0];
    return index >= 0 && index < kCount ? kBitrates[index] : 0;
}

int omxAacEncoder::init(int channels, int samplingRate, int bitrateIndex) {
    if (!prepare(kCapacity)) {
        return 0;
    }
    const int bitrate = getBitrate(bitrateIndex);
    LOGI("omxAacEncoder::init + (ch:%d, bitrate:%d, samplingrate:%d)", channels, bitrate, samplingRate);
    logStart("omxAacEncoder::init", omx_init(channels, bitrate, samplingRate));
    mUserData->openResult.store(1);
    LOGI("omxAacEncoder::init -");
    return 1;
}

int omxAacEncoder::omx_init(int channels, int bitrate, int samplingRate) {
    if (mUserData == nullptr || mHandle != nullptr) {
        return OMX_RESULT_APPLICATION;
    }
    mReservedBuffer = nullptr;
    mReservedData = nullptr;
    return omxt_aud_encode_init(&mHandle, mUserData, mUserData->outputBuffer, mUserData->outputCapacity,
                                channels, bitrate, samplingRate, kBitsPerSample, GetAudEncodedData2,
                                mComponentName);
}

int omxAacEncoder::encode(uint8_t* pcm, int size) {
    if (componentIsGone()) {
        return -1;
    }
    if (size < 0 || (pcm == nullptr && size > 0)) {
        LOGE("omxAacEncoder::encode: %d bytes at %p are refused", size, static_cast<void*>(pcm));
        return -1;
    }
    const unsigned before = outputCount();
    LOGD("AUD_ENC:before Encoding: size:%d.", size);
    zem::sleepMillis(kPaceMillis);
    int sent = 0;
    if (omx_send_data(pcm, size, &sent) == OMX_RESULT_APPLICATION) {
        return 0;  // nothing went in that something could come out for
    }
    return waitForOutput(before) ? sent : 0;
}

int omxAacEncoder::getData(uint8_t* out, int max) {
    return readGathered(out, max);
}

int omxAacEncoder::omx_send_data(uint8_t* pcm, int size, int* sent) {
    return SendAudDataToEncoder(mHandle, pcm, size, &mReservedBuffer, &mReservedData, &mTimestamp, 0, sent);
}

void omxAacEncoder::omx_send_final_data() {
    if (mTimestamp == 0) {
        mDeinitFlag.store(true);
        LOGI("omxAacEncoder::omx_send_final_data (m_omxTimeStampLfile == 0)");
        return;
    }
    omxt_encode_send_final_data(mHandle, mReservedBuffer, mTimestamp);
}
