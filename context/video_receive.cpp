// Receiving video: the decoder, the units that it is fed, what it tells of its pictures.
#include "base/clock.h"
#include "base/log.h"
#include "codec/hex_line.h"
#include "codec/omx_mpeg_video_decoder.h"
#include "context/codec_ids.h"
#include "context/kiv_context.h"

namespace {

constexpr int kShortDump = 20;  // units up to this size are not dumped
constexpr int kLongDump = 26;   // units from this size on fill both lines of the dump

int noVideoDecoder(const char* function) {
    LOGE("%s : mVideoDecoder=%p", function, nullptr);
    return -1;
}

/// The unit that a stream header takes the place of: field logs tell by it what the sender began with.
void logReplacedUnit(const uint8_t* data, int size) {
    LOGI("mVideoDecoder->decode: send encoder header (size:%d)", size);
    if (size <= kShortDump) {
        return;
    }
    LOGI("dec/org: size:%d [(0): %02X%02X%02X%02X%02X-%02X%02X%02X%02X%02X-%02X%02X%02X]", size,
         ZEM_BYTES_13(data));
    if (size >= kLongDump) {
        LOGI("dec/org: size:%d [(13): %02X%02X%02X%02X%02X%02X-%02X%02X%02X%02X%02X%02X%02X]", size,
             ZEM_BYTES_13(data + 13));
    } else {
        LOGI("dec/org: size:%d [(13): %02X%02X%02X%02X%02X%02X-%02X%02X]", size, ZEM_BYTES_8(data + 13));
    }
}

}  // namespace

/// A decoder that is still open gets 1 s to end. Then it goes regardless; one that was open even then
/// gets its component 5 s to come free.
void KivContext::endPreviousDecoder() {
    if (!mVideoDecoder.get()) {
        return;
    }
    LOGI("KivContext::openVideoDecoder: mVideoDecoder is opened.");
    bool open = IsDecoderOpen();
    for (int waits = 2; waits > 0 && open; --waits) {
        zem::sleepMicros(500000);
        if (waits > 1) {
            LOGI("KivContext::openVideoDecoder: mVideoDecoder is opened.");
        }
        open = IsDecoderOpen();
    }
    mVideoDecoder.remove();
    if (open) {
        zem::sleepMicros(5000000);
    }
}

bool KivContext::openVideoDecoder(int id, int width, int height) {
    std::lock_guard<zem::Turn> turn(mDecoderOpenTurn);
    endPreviousDecoder();
    // Two must not be alive at once: their pictures pass through one converter, into one picture, which
    // the end of either drops. Another thread may still be closing one.
    mVideoDecoder.awaitEnds();
    LOGI("KivContext::openVideoDecoder [id:%d, width:%d, height:%d]", id, width, height);
    mVideoCodecId = id;
    if (id != zem::kCodecH264) {
        LOGE("KivContext::createVideoDecoder(%d) unknown id", id);
        return false;
    }
    auto decoder = std::make_unique<omxMpegVideoDecoder>(nullptr);
    if (decoder->open(width, height) == 0) {
        LOGE("omxMpegVideoDecoder::open, id=%d failed", id);
        return false;
    }
    omxCodecCommon* const common = decoder.get();
    mVideoDecoder.put(std::move(decoder), common);
    return true;
}

void KivContext::closeVideoDecoder() {
    mVideoDecoder.remove();
    forgetReceived();
}

void KivContext::closeVideoDecoder(bool closeType) {
    mVideoDecoder.remove([closeType](omxMpegVideoDecoder& decoder) { decoder.close(closeType); });
    forgetReceived();
}

/// After the decoder, when nothing is left that would deliver or use a header.
void KivContext::forgetReceived() {
    mDecoderCallback.take();
    delete mDecoderReserved.exchange(nullptr);
    mEncoderHeader.take();  // a header that no decode has used
}

int KivContext::decodeVideo(uint8_t* data, int size, int flag) {
    constexpr const char* kName = "int KivContext::decodeVideo(uint8_t*, int, int)";
    std::lock_guard<zem::Turn> turn(mDecodeTurn);
    const auto decoder = mVideoDecoder.get();
    if (!decoder) {
        return noVideoDecoder(kName);
    }
    const int result = decodeOrPrime(*decoder.codec, data, size);
    if (result < 0) {
        LOGE("mVideoDecoder->decode return %d", result);
        return -1;
    }
    if (flag != 0 && mVideoCodecId != zem::kCodecH264) {
        LOGE("%s not implemented", kName);
    }
    return result;
}

/// A pending stream header is decoded in place of the unit, which is lost: senders repeat their stream's
/// start.
int KivContext::decodeOrPrime(omxMpegVideoDecoder& decoder, uint8_t* data, int size) {
    const auto header = mEncoderHeader.take();
    if (header == nullptr) {
        return decoder.decode(data, size);
    }
    logReplacedUnit(data, size);
    return decoder.decode(header->data.get(), header->size);
}

int KivContext::getDecodedBitmap(AndroidBitmapInfo* info, uint8_t* pixels) {
    const auto decoder = mVideoDecoder.get();
    return decoder ? decoder.codec->getBitmap(info, pixels)
                   : noVideoDecoder("int KivContext::getDecodedBitmap(AndroidBitmapInfo*, uint8_t*)");
}

int KivContext::getDecodedVideoWidth() {
    const auto decoder = mVideoDecoder.get();
    return decoder ? decoder.codec->getWidth() : noVideoDecoder("int KivContext::getDecodedVideoWidth()");
}

int KivContext::getDecodedVideoHeight() {
    const auto decoder = mVideoDecoder.get();
    return decoder ? decoder.codec->getHeight() : noVideoDecoder("int KivContext::getDecodedVideoHeight()");
}
