// System sound: the hook client's life, the blocks it brings, their volume.
#include "audio/audio_hook_buffer.h"
#include "audio/audio_hook_client.h"
#include "base/clock.h"
#include "base/log.h"
#include "context/kiv_context.h"
#include "context/volume_gain.h"

namespace {

/// Gains by volume state, in 1/4096; the lower the state, the stronger.
constexpr int32_t volume_puffup_table[10] = {0,     250355, 104208, 44339, 31927,
                                             21723, 14801,  10658,  7259,  4951};

constexpr int kLastLoggedBlock = 10;  // counted from 0; later ones are not counted either
constexpr int kFrameBytes = 4;        // 16 bits, stereo

void logCallback(int event, void* user, void* info) {
    LOGV("AudioHookClientCallback(event=%d, user=%p, info=%p)", event, user, info);
}

}  // namespace

bool KivContext::openAudioHookClient() {
    stopAudioHookClient();
    if (!mAudioEncodeBusy.hasOwn()) {  // else the former client is still needed, see stopAudioHookClient
        mAudioHookClient.put(std::make_unique<AudioHookClient>(), nullptr);
        const auto client = mAudioHookClient.get();
        if (client && client.codec->isAvailable()) {
            return client.codec->open() != 0;
        }
    }
    LOGE("AudioHookClient is not available ");
    stopAudioHookClient();
    return false;
}

bool KivContext::startAudioHookClient() {
    const auto client = mAudioHookClient.get();
    if (!client) {
        LOGE("AudioHookClient is not ready");
        return false;
    }
    mHookCallbackCount = 0;
    if (mAudioEncodeBusy.hasOwn() || client.codec->start(AudioHookClientCallback) < 0) {
        LOGE("AudioHookClient failed to start ");
        return false;
    }
    mAudioHookRunning = true;
    return true;
}

void KivContext::stopAudioHookClient() {
    mAudioHookRunning = false;
    // Who is inside itself, called by Java out of a delivery, ends nothing that others use, and so has
    // nothing to wait for: two of them would wait for each other.
    while (!mAudioEncodeBusy.hasOwn() && mAudioEncodeBusy.hasOthers()) {
        zem::sleepMicros(10000);
    }
    if (!mAudioHookClient.get()) {
        return;
    }
    zem::sleepMicros(200000);
    if (!mAudioEncodeBusy.hasOwn()) {
        mAudioHookClient.remove();
        return;
    }
    // Maybe on the hook library's thread, which has to go back into the library, so that stays loaded: the
    // client stops now and goes with the next call from elsewhere.
    if (const auto client = mAudioHookClient.get()) {
        client.codec->stop();
    }
}

int KivContext::getAudioHookClientSampleRate() {
    const auto client = mAudioHookClient.get();
    return client ? client.codec->sampleRate() : 48000;
}

int KivContext::getAudioHookClientOutputFormat() {
    const auto client = mAudioHookClient.get();
    return client ? client.codec->sampleRate() : 1;
}

void KivContext::AudioHookClientCallback(int event, void* user, void* info) {
    KivContext* const context = existingInstance();
    if (context != nullptr) {
        const zem::BusyCount::Call busy(context->mAudioEncodeBusy);
        context->onHookEvent(event, user, info);
    }
}

void KivContext::onHookEvent(int event, void* user, void* info) {
    const auto* const block = static_cast<const AudioHookBuffer*>(info);
    if (const int count = mHookCallbackCount; count <= kLastLoggedBlock) {
        if (block == nullptr) {
            logCallback(event, user, info);
            return;
        }
        if (block->readSize != 0) {
            LOGV("AudioHookClientCallback(cnt=%d,size=%d)", count, block->readSize);
            ++mHookCallbackCount;
        }
    }
    if (event != kAudioHookEventBuffer || block == nullptr) {
        logCallback(event, user, info);
        return;
    }
    if (mAudioHookRunning) {
        encodeHooked(static_cast<uint8_t*>(block->raw), block->readSize);
    }
}

/// Amplifies in place, in the library's memory. A block without a whole frame is ignored: to an encoder it
/// would be the end of the stream.
void KivContext::encodeHooked(uint8_t* pcm, int size) {
    auto sink = mAudioEncoderCallback.get();
    if (sink == nullptr || size < kFrameBytes) {
        return;
    }
    if (pcm == nullptr) {
        LOGE("KivContext::AudioHookClientCallback: %d bytes without an address", size);
        return;
    }
    const Attachment attachment = _attachCurrentThread(sink.get());
    if (attachment == Attachment::Failed) {
        LOGE("KivContext: no Java environment on this thread, %d bytes dropped", size);
        return;
    }
    if (const int32_t gain = mVolumeGain; gain != 0) {
        zem::amplify(pcm, size, gain);
    }
    encodeAudio(pcm, size, 1);
    sink.reset();  // may be the last reference: its end needs the environment too
    if (attachment == Attachment::Made) {
        _detachCurrentThread(nullptr);
    }
}

bool KivContext::setAudioVolumeState(int state, int /*unused*/) {
    if (mVolumeState.exchange(state) != state) {
        mVolumeGain = state >= 1 && state <= 9 ? volume_puffup_table[state] : 0;
    }
    LOGI("KivContext::setAudioVolumeState: %d,%d,%d.", state, state, mVolumeGain.load());
    return true;
}
