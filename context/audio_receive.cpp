// Receiving audio: the decoder, what it is fed, the way of the sound to Java.
#include "audio/vorbis_decoder.h"
#include "base/log.h"
#include "codec/omx_aac_decoder.h"
#include "context/codec_ids.h"
#include "context/kiv_context.h"

namespace {

constexpr const char* kDecodeAudio = "int KivContext::decodeAudio(uint8_t*, int, int)";

}  // namespace

bool KivContext::openAudioDecoder(int id, int channels, int sampling, int quality) {
    mAudioDecoder.remove();
    mAudioCodecId = id;
    if (id == zem::kCodecVorbis) {
        auto decoder = std::make_unique<VorbisDecoder>();
        if (decoder->init(channels, sampling, quality) == 0) {
            return false;
        }
        mAudioDecoder.put(std::move(decoder), nullptr);
        return true;
    }
    if (id == zem::kCodecAac) {
        auto decoder = std::make_unique<omxAacDecoder>(nullptr);
        if (decoder->init(channels, sampling, quality) == 0) {
            return false;
        }
        omxCodecCommon* const common = decoder.get();
        mAudioDecoder.put(std::move(decoder), common);
        return true;
    }
    LOGE("KivContext::openAudioDecoder(%d) unknown id", id);
    return false;
}

void KivContext::closeAudioDecoder() {
    mAudioDecoder.remove();
    mAudioDecoderCallback.take();
}

int KivContext::decodeAudio(uint8_t* data, int size, int deliver) {
    auto decoder = mAudioDecoder.get();
    if (!decoder) {
        LOGE("%s : mAudioDecoder=%p", kDecodeAudio, nullptr);
        return -1;
    }
    std::unique_lock<std::mutex> lock(mAudioDecodeMutex);
    const int result = decoder.codec->decode(data, size);
    if (result < 0) {
        LOGE("mAudioDecoder->decode return %d", result);
        return -1;
    }
    const int id = mAudioCodecId;
    GatheredOutput gathered;
    if (deliver != 0 && id == zem::kCodecAac && result != 0 && decoder.common != nullptr) {
        gathered = decoder.common->takeGathered();
    }
    lock.unlock();
    decoder = {};  // before Java is called: there somebody may close
    if (deliver == 0) {
        return result;
    }
    if (id == zem::kCodecVorbis) {
        return decodeToJava() ? result : -1;
    }
    if (id != zem::kCodecAac) {
        LOGE("%s not implemented, mAudioCodecId=%d", kDecodeAudio, id);
    } else if (gathered.size > 0) {
        onNewAudioDecoderData(gathered.bytes.get(), gathered.size);
    }
    return result;
}

/// Straight into a buffer of Java's, which goes back also when nothing came; false without a sink.
bool KivContext::decodeToJava() {
    const auto sink = mAudioDecoderCallback.get();
    if (sink == nullptr) {
        LOGE("%s : mAudioDecoderCallback=null", kDecodeAudio);
        return false;
    }
    int capacity = 0;
    jobject borrowed = nullptr;
    uint8_t* const dst = sink->getFreeBuffer(&capacity, &borrowed);
    if (dst == nullptr) {
        return true;
    }
    int count = 0;
    if (const auto decoder = mAudioDecoder.get()) {  // anew: it may have been closed while Java was called
        std::lock_guard<std::mutex> lock(mAudioDecodeMutex);
        count = decoder.codec->getData(dst, capacity);
    }
    sink->addUsedBuffer(borrowed, count);
    return true;
}

int KivContext::getAudioDecoderData(uint8_t* dst, int size) {
    const auto decoder = mAudioDecoder.get();
    if (!decoder) {
        LOGE("%s : mAudioDecoder = null", "int KivContext::getAudioDecoderData(uint8_t*, int)");
        return -1;
    }
    std::lock_guard<std::mutex> lock(mAudioDecodeMutex);
    return decoder.codec->getData(dst, size);
}

int KivContext::getAudioSamplingRate() {
    const auto decoder = mAudioDecoder.get();
    return decoder ? decoder.codec->getSamplingRate() : -1;
}

int KivContext::getAudioChannelCount() {
    const auto decoder = mAudioDecoder.get();
    return decoder ? decoder.codec->getChannelCount() : -1;
}
