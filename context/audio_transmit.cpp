// Sending audio: the encoder, the sound it is fed, the way of its output to Java.
#include <cstring>
#include <new>

#include "audio/vorbis_encoder.h"
#include "base/log.h"
#include "codec/omx_aac_encoder.h"
#include "context/codec_ids.h"
#include "context/kiv_context.h"

namespace {

constexpr const char* kEncodeAudio = "int KivContext::encodeAudio(uint8_t*, int, int)";

}  // namespace

bool KivContext::openAudioEncoder(int id, int channels, int sampling, int quality) {
    mAudioEncoder.remove();
    mAudioCodecId = id;
    if (id == zem::kCodecVorbis) {
        auto encoder = std::make_unique<VorbisEncoder>();
        if (encoder->init(channels, sampling, quality) == 0) {
            encoder.reset();
            LOGE("VorbisEncoder::init(%d, %d, %d) fail", channels, sampling, quality);
            return false;
        }
        mAudioEncoder.put(std::move(encoder), nullptr);
        return true;
    }
    if (id == zem::kCodecAac) {
        auto encoder = std::make_unique<omxAacEncoder>(nullptr);
        if (encoder->init(channels, sampling, quality) == 0) {
            encoder.reset();
            LOGE("omxAacEncoder::init(%d, %d, %d) fail", channels, sampling, quality);
            return false;
        }
        omxCodecCommon* const common = encoder.get();
        mAudioEncoder.put(std::move(encoder), common);
        return true;
    }
    LOGE("KivContext::openAudioEncoder(%d) unknown id", id);
    return false;
}

void KivContext::closeAudioEncoder() {
    // Stopping the hook waits for the calls inside the encoder, and one of them may be waiting for an input
    // buffer that never comes: that wait is ended first, once no new block gets in.
    mAudioHookRunning = false;
    if (const auto encoder = mAudioEncoder.get(); encoder.common != nullptr) {
        encoder.common->requestClose();
    }
    stopAudioHookClient();
    mAudioEncoder.remove();
    mAudioEncoderCallback.take();
}

int KivContext::encodeAudio(uint8_t* pcm, int size, int deliver) {
    const zem::BusyCount::Call busy(mAudioEncodeBusy);
    const auto sink = mAudioEncoderCallback.get();
    auto encoder = mAudioEncoder.get();
    if (!encoder) {
        LOGE("%s : mAudioEncoder=%p", kEncodeAudio, nullptr);
        return -1;
    }
    if (!mAudioHookRunning) {  // sound is encoded only while the hook runs, whoever brings it
        return -1;
    }
    std::unique_lock<std::mutex> lock(mAudioEncodeMutex);
    const int result = encoder.codec->encode(pcm, size);
    if (result < 0) {
        LOGE("mAudioEncoder->encode return %d", result);
        return -1;
    }
    if (deliver == 0) {
        return result;
    }
    const int id = mAudioCodecId;
    if (id == zem::kCodecVorbis && sink == nullptr) {
        LOGE("%s : mAudioEncoderCallback=null", kEncodeAudio);
        return -1;
    }
    const GatheredOutput output = takeEncoded(encoder, id);
    lock.unlock();
    encoder = {};  // before Java is called: there somebody may close
    if (output.size > 0 && id == zem::kCodecVorbis) {
        lendToJava(*sink, output);
    } else if (output.size > 0) {
        onNewAudioEncoderData(output.bytes.get(), output.size);
    }
    return result;
}

/// What is ready, to be delivered without a lock. The caller holds mAudioEncodeMutex.
GatheredOutput KivContext::takeEncoded(const zem::CodecSlot<AudioEncoder>::Use& encoder, int id) {
    GatheredOutput output;
    if (id == zem::kCodecVorbis) {
        const int count = encoder.codec->getData(mAudioEncodeBuffer.get(), zem::kAudioBufferSize);
        if (count > 0) {
            output.bytes.reset(new (std::nothrow) unsigned char[static_cast<size_t>(count)]);
        }
        if (output.bytes != nullptr) {
            memcpy(output.bytes.get(), mAudioEncodeBuffer.get(), static_cast<size_t>(count));
            output.size = count;
        }
    } else if (id != zem::kCodecAac) {
        LOGE("%s not implemented, mAudioCodecId=%d", kEncodeAudio, id);
    } else if (encoder.common != nullptr) {
        output = encoder.common->takeGathered();
    }
    return output;
}

/// Of what a software encoder made. Too much for the buffer is dropped without a line, and the buffer does
/// not go back.
void KivContext::lendToJava(DataCallback& sink, const GatheredOutput& output) {
    int capacity = 0;
    jobject borrowed = nullptr;
    uint8_t* const dst = sink.getFreeBuffer(&capacity, &borrowed);
    if (dst == nullptr) {
        return;
    }
    if (output.size > capacity) {
        DataCallback::currentEnv()->DeleteLocalRef(borrowed);
        return;
    }
    memcpy(dst, output.bytes.get(), static_cast<size_t>(output.size));
    sink.addUsedBuffer(borrowed, output.size);
}

int KivContext::getAudioEncoderData(uint8_t* dst, int size) {
    const auto encoder = mAudioEncoder.get();
    if (!encoder) {
        LOGE("%s : mAudioEncoder = null", "int KivContext::getAudioEncoderData(uint8_t*, int)");
        return -1;
    }
    std::lock_guard<std::mutex> lock(mAudioEncodeMutex);
    return encoder.codec->getData(dst, size);
}
