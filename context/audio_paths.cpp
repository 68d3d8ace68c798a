// Audio in both directions. No audio codec and no hook client exist yet: opens are refused and calls find
// none; the volume state is whole.
#include "base/clock.h"
#include "base/log.h"
#include "context/codec_ids.h"
#include "context/kiv_context.h"

namespace {

/// Gains by volume state, in 1/4096; the lower the state, the stronger.
constexpr int32_t volume_puffup_table[10] = {0,     250355, 104208, 44339, 31927,
                                             21723, 14801,  10658,  7259,  4951};

bool isKnownAudioCodec(int id) {
    return id == zem::kCodecVorbis || id == zem::kCodecAac;
}

}  // namespace

bool KivContext::openAudioEncoder(int id, int /*channels*/, int /*sampling*/, int /*quality*/) {
    mAudioEncoder.remove();
    mAudioCodecId = id;
    if (isKnownAudioCodec(id)) {
        LOGE("KivContext::openAudioEncoder: this engine has no encoder for id %d", id);
    } else {
        LOGE("KivContext::openAudioEncoder(%d) unknown id", id);
    }
    return false;
}

void KivContext::closeAudioEncoder() {
    stopAudioHookClient();
    mAudioEncoder.remove();
    mAudioEncoderCallback.take();
}

bool KivContext::openAudioDecoder(int id, int /*channels*/, int /*sampling*/, int /*quality*/) {
    mAudioDecoder.remove();
    mAudioCodecId = id;
    if (isKnownAudioCodec(id)) {
        LOGE("KivContext::openAudioDecoder: this engine has no decoder for id %d", id);
    } else {
        LOGE("KivContext::openAudioDecoder(%d) unknown id", id);
    }
    return false;
}

void KivContext::closeAudioDecoder() {
    mAudioDecoder.remove();
    mAudioDecoderCallback.take();
}

int KivContext::encodeAudio(uint8_t* /*pcm*/, int /*size*/, int /*deliver*/) {
    LOGE("%s : mAudioEncoder=%p", "int KivContext::encodeAudio(uint8_t*, int, int)", nullptr);
    return -1;
}

int KivContext::decodeAudio(uint8_t* /*data*/, int /*size*/, int /*deliver*/) {
    LOGE("%s : mAudioDecoder=%p", "int KivContext::decodeAudio(uint8_t*, int, int)", nullptr);
    return -1;
}

int KivContext::getAudioEncoderData(uint8_t* /*dst*/, int /*size*/) {
    LOGE("%s : mAudioEncoder = null", "int KivContext::getAudioEncoderData(uint8_t*, int)");
    return -1;
}

int KivContext::getAudioDecoderData(uint8_t* /*dst*/, int /*size*/) {
    LOGE("%s : mAudioDecoder = null", "int KivContext::getAudioDecoderData(uint8_t*, int)");
    return -1;
}

int KivContext::getAudioSamplingRate() {
    return -1;
}

int KivContext::getAudioChannelCount() {
    return -1;
}

bool KivContext::openAudioHookClient() {
    stopAudioHookClient();
    LOGE("AudioHookClient is not available ");
    return false;
}

bool KivContext::startAudioHookClient() {
    LOGE("AudioHookClient is not ready");
    return false;
}

void KivContext::stopAudioHookClient() {
    mAudioHookRunning = false;
    while (mAudioEncodeBusy > 0) {
        zem::sleepMicros(10000);
    }
}

int KivContext::getAudioHookClientSampleRate() {
    return 48000;
}

int KivContext::getAudioHookClientOutputFormat() {
    return 1;
}

bool KivContext::setAudioVolumeState(int state, int /*unused*/) {
    if (mVolumeState.exchange(state) != state) {
        mVolumeGain = state >= 1 && state <= 9 ? volume_puffup_table[state] : 0;
    }
    LOGI("KivContext::setAudioVolumeState: %d,%d,%d.", state, state, mVolumeGain.load());
    return true;
}
