// Receiving video. No decoder exists yet, so every open is refused and every call finds none.
#include "base/log.h"
#include "context/codec_ids.h"
#include "context/kiv_context.h"

namespace {

int noVideoDecoder(const char* function) {
    LOGE("%s : mVideoDecoder=%p", function, nullptr);
    return -1;
}

}  // namespace

bool KivContext::openVideoDecoder(int id, int width, int height) {
    LOGI("KivContext::openVideoDecoder [id:%d, width:%d, height:%d]", id, width, height);
    mVideoCodecId = id;
    if (id != zem::kCodecH264) {
        LOGE("KivContext::createVideoDecoder(%d) unknown id", id);
        return false;
    }
    LOGE("KivContext::openVideoDecoder: this engine has no decoder for id %d", id);
    return false;
}

void KivContext::closeVideoDecoder() {
    mVideoDecoder.remove();
    mDecoderCallback.take();
    delete mDecoderReserved.exchange(nullptr);
    mEncoderHeader.take();  // a header that no decode has used
}

int KivContext::decodeVideo(uint8_t* /*data*/, int /*size*/, int /*flag*/) {
    return noVideoDecoder("int KivContext::decodeVideo(uint8_t*, int, int)");
}

int KivContext::getDecodedBitmap(AndroidBitmapInfo* /*info*/, uint8_t* /*pixels*/) {
    return noVideoDecoder("int KivContext::getDecodedBitmap(AndroidBitmapInfo*, uint8_t*)");
}

int KivContext::getDecodedVideoWidth() {
    return noVideoDecoder("int KivContext::getDecodedVideoWidth()");
}

int KivContext::getDecodedVideoHeight() {
    return noVideoDecoder("int KivContext::getDecodedVideoHeight()");
}
