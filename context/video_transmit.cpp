// Sending video: the frame source, the encoder, captures, camera frames.
#include <cstring>

#include "base/clock.h"
#include "base/log.h"
#include "capture/screenshot.h"
#include "codec/omx_mpeg_video_encoder.h"
#include "context/codec_ids.h"
#include "context/kiv_context.h"
#include "omx/hardware_base.h"

using zem::Picture;

namespace {

constexpr int kEncodedPixelBytes = 4;  // the encoder reads 32-bit pixels
constexpr int kFormatRgba = 1;

/// Bytes of a YUV 4:2:0 picture, as a camera gives it.
int64_t yuvSize(int width, int height) {
    return int64_t{width} * height * 3 / 2;
}

/// These chips get a first frame at once, so that their stream starts before Java asks for a picture.
bool needsPriming(int hardwareBase) {
    return (hardwareBase & HW_FAMILY_SAMSUNG) != 0 || (hardwareBase & HW_BASE_QCOM_8974) != 0 ||
           hardwareBase == HW_BASE_TARN;
}

void logUnusable(const char* function, const Picture& picture, int width, int height) {
    LOGE("%s: captured picture %p (stride %d, %d bytes) is not %dx%d", function,
         static_cast<const void*>(picture.pixels), picture.stride, picture.size, width, height);
}

/// Packs `height` rows of `width` pixels, 4 bytes each.
void copyPacked(uint8_t* dst, const Picture& picture, int width, int height) {
    const size_t row = static_cast<size_t>(width) * 4;
    if (width >= picture.stride) {
        memcpy(dst, picture.pixels, row * static_cast<size_t>(height));
        return;
    }
    const uint8_t* src = picture.pixels;
    for (int y = 0; y < height; ++y, dst += row, src += static_cast<size_t>(picture.stride) * 4) {
        memcpy(dst, src, row);
    }
}

}  // namespace

bool KivContext::openVideoInput(int source, int width, int height) {
    closeVideoInput();
    if (source == zem::kSourceScreen) {
        auto screen = std::make_unique<Screenshot>(width, height);
        mVideoInput.put(std::make_shared<zem::VideoSource>(std::move(screen), width, height));
        return true;
    }
    if (source != zem::kSourceCamera) {
        LOGE("KivContext::initVideoInput(%d) unknown source", source);
    }
    return false;
}

void KivContext::closeVideoInput() {
    mVideoInput.take();
}

void KivContext::setMaxCaptureLayer(unsigned layer) {
    const auto source = mVideoInput.get();
    if (source != nullptr) {
        std::lock_guard<std::mutex> lock(source->mutex);
        source->input->setMaxCaptureLayer(layer);
    }
}

/// An encoder that is still open gets up to 7 s: its hardware may be finishing. Then it goes regardless.
void KivContext::endPreviousEncoder() {
    if (!mVideoEncoder.get()) {
        return;
    }
    LOGI("KivContext::openVideoEncoder: mVideoEncoder is opened.");
    for (int waits = 7; waits > 0 && IsEncoderOpen(); --waits) {
        zem::sleepMicros(1000000);
        if (waits > 1) {
            LOGI("KivContext::openVideoEncoder: mVideoEncoder is opened.");
        }
    }
    removeEncoder();
}

/// The camera frame fits the encoder it was given for, so it goes with it: only after the encoder, when
/// no setCameraData is left that could bring another.
void KivContext::removeEncoder() {
    mVideoEncoder.remove();
    mCameraData.take();
}

bool KivContext::openVideoEncoder(int id, int bitrate, int fps, int gopsize, bool create) {
    std::lock_guard<zem::Turn> turn(mEncoderOpenTurn);
    endPreviousEncoder();
    // Two must not be alive at once: what is held back of the first outputs is the process's. Another thread
    // may still be closing one.
    mVideoEncoder.awaitEnds();
    LOGI("KivContext::openVideoEncoder [id:%d, bitrate:%d, fps:%d, gopsize:%d,%X, create:%d]", id, bitrate,
         fps, gopsize, static_cast<unsigned>(gopsize), create ? 1 : 0);
    mVideoCodecId = id;
    if (id != zem::kCodecH264) {
        LOGE("KivContext::initVideoEncoder(%d) unknown id", id);
        return false;
    }
    const auto source = mVideoInput.get();
    if (source == nullptr) {
        LOGE("KivContext::openVideoEncoder: no video input is open");
        return false;
    }
    int format = 0;
    {
        std::lock_guard<std::mutex> lock(source->mutex);
        format = source->input->getFormat();
    }
    auto encoder = std::make_unique<omxMpegVideoEncoder>(nullptr);
    if (encoder->open(format, source->width, source->height, bitrate, fps, gopsize, create) == 0) {
        LOGE("omxMpegVideoEncoder::open, format:%d, w:%d, h:%d, id=%d failed", format, source->width,
             source->height, id);
        return false;
    }
    if (needsPriming(encoder->getHardwareBase())) {
        prime(*encoder, *source);
    }
    omxCodecCommon* const common = encoder.get();
    mVideoEncoder.put(std::move(encoder), common);
    return true;
}

void KivContext::prime(omxMpegVideoEncoder& encoder, zem::VideoSource& source) {
    std::lock_guard<zem::Turn> turn(mEncodeTurn);
    Picture picture;
    {
        std::lock_guard<std::mutex> lock(source.mutex);
        picture = source.capture();
    }
    if (picture.pixels != nullptr) {
        encodeScreen(encoder, picture);
    }
}

void KivContext::closeVideoEncoder() {
    removeEncoder();
    mEncoderCallback.take();
}

void KivContext::setEncoderCloseType(bool force) {
    const auto encoder = mVideoEncoder.get();
    if (encoder) {
        encoder.codec->setCloseType(force);
    }
}

int KivContext::captureScreen(int encode) {
    std::lock_guard<zem::Turn> turn(mEncodeTurn);
    const auto source = mVideoInput.get();
    const auto encoder = mVideoEncoder.get();
    if (source == nullptr || !encoder) {
        LOGI("KivContext::encodeVideo, mVideoInput=%p, mVideoEncoder=%p", static_cast<void*>(source.get()),
             static_cast<void*>(encoder.codec.get()));
        return -1;
    }
    const auto camera = mCameraData.get();
    Picture picture;
    {
        std::lock_guard<std::mutex> lock(source->mutex);
        picture = camera != nullptr ? source->captured() : source->capture();
    }
    if (camera == nullptr && picture.pixels == nullptr) {
        LOGE("mVideoInput->capture failed");
        return -1;
    }
    if (encode == 0) {
        return 0;
    }
    if (mVideoCodecId != zem::kCodecH264) {
        LOGE("%s not implemented", "int KivContext::captureScreen(int)");
        return 0;
    }
    const int height = encoder.codec->getHeight();
    if (source->width != encoder.codec->getWidth() || source->height != height ||
        picture.size != int64_t{picture.bytesPerPixel()} * picture.stride * height) {
        return 0;
    }
    return camera != nullptr ? encodeCamera(*encoder.codec, *camera, picture.stride)
                             : encodeScreen(*encoder.codec, picture);
}

int KivContext::encodeScreen(omxMpegVideoEncoder& encoder, const Picture& picture) {
    const int width = encoder.getWidth();
    const int height = encoder.getHeight();
    if (!picture.holds(width, height, kEncodedPixelBytes)) {
        logUnusable("KivContext::encodeVideo", picture, width, height);
        return -1;
    }
    return encoder.encode(mVideoEncodeBuffer.get(), zem::kVideoEncodeBufferSize, picture.pixels,
                          picture.stride);
}

/// The frame may have come for another encoder, which was just replaced: checked, and this encoder told
/// what it gets.
int KivContext::encodeCamera(omxMpegVideoEncoder& encoder, const zem::ByteBlock& frame, int stride) {
    if (frame.size < yuvSize(encoder.getWidth(), encoder.getHeight())) {
        LOGE("KivContext::encodeVideo: camera frame of %d bytes is not %dx%d", frame.size, encoder.getWidth(),
             encoder.getHeight());
        return -1;
    }
    encoder.setSkipConversion(true);
    return encoder.encode(mVideoEncodeBuffer.get(), zem::kVideoEncodeBufferSize, frame.data.get(), stride);
}

int KivContext::getCapturedScreenData(uint8_t* dst, int size) {
    const auto source = mVideoInput.get();
    if (source == nullptr) {
        LOGI("KivContext::getCapturedScreen, mVideoInput=%p", static_cast<void*>(source.get()));
        return -1;
    }
    std::lock_guard<std::mutex> lock(source->mutex);  // no new capture while the pixels are read
    const Picture picture = source->captured();
    if (picture.pixels == nullptr) {
        LOGE("KivContext::getCapturedScreen mVideoInput->getcaptured failed");
        return -1;
    }
    if (!picture.holds(source->width, source->height, picture.bytesPerPixel())) {
        logUnusable("KivContext::getCapturedScreen", picture, source->width, source->height);
        return -1;
    }
    const int need = source->height * source->width * picture.bytesPerPixel();  // at most picture.size
    if (need > size) {
        LOGE("KivContext::getCapturedScreen input buffer size:%d is too small, expected %d", size, need);
        return -1;
    }
    if (picture.format != kFormatRgba) {
        return need;  // callers of other formats only ask for the size
    }
    LOGI("KivContext capture info [%d, %d, %d, %d]\n", source->width, source->height, picture.stride,
         picture.size);
    copyPacked(dst, picture, source->width, source->height);
    return need;
}

int KivContext::getVideoEncoderData(uint8_t* dst, int size) {
    std::lock_guard<zem::Turn> turn(mEncodeTurn);
    const auto source = mVideoInput.get();
    const auto encoder = mVideoEncoder.get();
    if (source == nullptr || !encoder) {
        LOGE("%s : mVideoEncoder = %p, mVideoInput = %p",
             "int KivContext::getVideoEncoderData(uint8_t*, int)", static_cast<void*>(encoder.codec.get()),
             static_cast<void*>(source.get()));
        return -1;
    }
    Picture picture;
    {
        std::lock_guard<std::mutex> lock(source->mutex);
        picture = source->captured();
    }
    const int width = encoder.codec->getWidth();
    const int height = encoder.codec->getHeight();
    if (!picture.holds(width, height, kEncodedPixelBytes)) {
        logUnusable("KivContext::getVideoEncoderData", picture, width, height);
        return -1;
    }
    return encoder.codec->encode(dst, size, picture.pixels, picture.stride);
}

int KivContext::setCameraData(uint8_t* data, int size) {
    LOGE("setCameraData : [%d]", size);  // at this level on every call: the field's tools look for it
    const auto encoder = mVideoEncoder.get();
    if (!encoder) {
        LOGE("setCameraData: no video encoder is open");
        return -1;
    }
    if (size < 1 || size < yuvSize(encoder.codec->getWidth(), encoder.codec->getHeight())) {
        LOGE("setCameraData: %d bytes are no %dx%d picture", size, encoder.codec->getWidth(),
             encoder.codec->getHeight());
        return -1;
    }
    auto frame = zem::ByteBlock::copyOf(data, size);
    if (frame == nullptr) {
        return size;
    }
    encoder.codec->setSkipConversion(true);
    mCameraData.put(std::move(frame));
    return size;
}
