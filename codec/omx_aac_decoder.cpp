#include "codec/omx_aac_decoder.h"

#include "base/log.h"
#include "codec/aac_driver.h"
#include "codec/aac_output.h"
#include "codec/count_down.h"
#include "omx/result_codes.h"

namespace {

constexpr char kUsualName[] = "OMX.qcom.audio.decoder.aac";
constexpr int kCapacity = 5000000;  // over 25 s of stereo at 48 kHz
constexpr int kBitsPerSample = 16;

}  // namespace

omxAacDecoder::omxAacDecoder(const char* name) : AacCodec(name, kUsualName) {
    LOGI("omxAacDecoder::omxAacDecoder [%s]", mComponentName != nullptr ? mComponentName : "(null)");
}

omxAacDecoder::~omxAacDecoder() {
    close();
    omx_deinit();  // a component that omx_init started without init; else there is none any more
}

int omxAacDecoder::init(int channels, int samplingRate, int bitrate) {
    if (!prepare(kCapacity)) {
        return 0;
    }
    mChannels.store(channels);
    mSamplingRate.store(samplingRate);
    LOGI("omxAacDecoder::init + (ch:%d, bitpersample:%d, bitrate:%d, samplingrate:%d)", channels,
         kBitsPerSample, bitrate, samplingRate);
    logStart("omxAacDecoder::init", omx_init(channels, samplingRate));
    mUserData->openResult.store(1);
    LOGI("omxAacDecoder::init -");
    return 1;
}

int omxAacDecoder::omx_init(int channels, int samplingRate) {
    if (mUserData == nullptr || mHandle != nullptr) {
        return OMX_RESULT_APPLICATION;
    }
    return omxt_aud_decode_init(&mHandle, mUserData, mUserData->outputBuffer, mUserData->outputCapacity,
                                channels, kBitsPerSample, samplingRate, GetAudDecodedData2, mComponentName);
}

int omxAacDecoder::decode(uint8_t* aac, int size) {
    if (componentIsGone()) {
        return -1;
    }
    if (size < 0 || (aac == nullptr && size > 0)) {
        LOGE("omxAacDecoder::decode: %d bytes at %p are refused", size, static_cast<void*>(aac));
        return -1;
    }
    int consumed = 0;
    if (mUserData->pendingOutputs.load() > 0) {
        omx_send_data(aac, size, &consumed);
        zem::countDown(mUserData->pendingOutputs);
        return 0;
    }
    const unsigned before = outputCount();
    LOGD("AUD_DEC:before Decoding: size:%d.", size);
    omx_send_data(aac, size, &consumed);
    return waitForOutput(before) ? consumed : 0;
}

int omxAacDecoder::getData(uint8_t* out, int max) {
    return readGathered(out, max);
}

int omxAacDecoder::getSamplingRate() {
    return mSamplingRate.load();
}

int omxAacDecoder::getChannelCount() {
    return mChannels.load();
}

int omxAacDecoder::omx_send_data(uint8_t* aac, int size, int* consumed) {
    return SendDataToAudDecoder(mHandle, aac, size, consumed, &mTimestamp);
}

void omxAacDecoder::omx_send_final_data() {
    if (mTimestamp == 0) {
        mDeinitFlag.store(true);
        LOGI("omxAacDecoder::omx_send_final_data (m_omxTimeStampLfile == 0)");
        return;
    }
    omxt_aud_decode_send_end(mHandle, mTimestamp);
}
