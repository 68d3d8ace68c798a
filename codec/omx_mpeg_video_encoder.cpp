#include "codec/omx_mpeg_video_encoder.h"

#include <climits>
#include <cstring>
#include <new>

#include "base/clock.h"
#include "base/log.h"
#include "codec/component_names.h"
#include "codec/count_down.h"
#include "codec/encode_driver.h"
#include "codec/encode_output.h"
#include "color/color_converter.h"
#include "color/omx_av_frame.h"
#include "color/rgb_to_yuv.h"
#include "color/walk_size.h"
#include "omx/buffer_info.h"
#include "omx/hardware_base.h"
#include "omx/result_codes.h"

std::atomic<int> gEncodeInCnt{0};

namespace {

constexpr const char* kVersion = "v.mo.k";
constexpr const char* kSendDataSignature =
    "int omxMpegVideoEncoder::omx_send_data(const uint8_t*, int*, int)";
constexpr int kLoggedUnits = 5;
constexpr int kBusyPolls = 10;
constexpr int kPaceMillis = 30;
constexpr int kCloseMillis = 50;
constexpr int kBytesPerPixel = 4;
constexpr int kStopped = -2;
constexpr int kPlanes = 4;

// Sizes whose pixels fit into 31 bits, so that no size that is computed from them runs over.
bool sizeIsUsable(int width, int height) {
    return width >= 1 && height >= 1 && static_cast<int64_t>(width) * height * kBytesPerPixel <= INT_MAX;
}

int yuvFrameSize(int width, int height) {
    return width < 1 || height < 1 ? 0 : width * height + width * height / 2;
}

}  // namespace

omxMpegVideoEncoder::omxMpegVideoEncoder(const char* name) : omxCodecCommon(name) {
    LOGI("omxMpegVideoEncoder::omxMpegVideoEncoder(ver: %s)", kVersion);
}

omxMpegVideoEncoder::~omxMpegVideoEncoder() {
    LOGI("omxMpegVideoEncoder::~omxMpegVideoEncoder +");
    close(true);
    omx_deinit();  // a component that omx_init started without open; else there is none any more
    dropConversion();
    zem::dropHeldOutput();
    LOGI("omxMpegVideoEncoder::~omxMpegVideoEncoder -");
}

int omxMpegVideoEncoder::open(int format, int width, int height, int bitrate, int frameRate,
                              int gopAndRateControl, bool headerOnly) {
    if (mUserData == nullptr || CheckOmxPixelFormat(format) == 0) {
        return 0;
    }
    if (!sizeIsUsable(width, height)) {
        LOGE("omxMpegVideoEncoder::open: size %d x %d is refused", width, height);
        return 0;
    }
    resetForOpen();
    mWidth.store(width);
    mHeight.store(height);
    mBitrate = bitrate;
    mFrameRate = frameRate;
    mGopSize = gopAndRateControl >> 8;
    mRateControl = gopAndRateControl & 255;
    LOGI("omx encoder [gop:%d, ratecontrol:%d]", mGopSize, mRateControl);
    const int result = omx_init(mUserData->outputBuffer, mUserData->outputCapacity,
                                headerOnly ? GetEncodedDataOnly : nullptr);
    mUserData->openResult.store(result);
    if (headerOnly) {
        LOGI("omx encoder(only create) ret:%d", result);
    } else {
        LOGI("omx encoder [ret:%d, codec:%s, hardware:%x]", result,
             mComponentName != nullptr ? mComponentName : "(null)", static_cast<unsigned>(getHardwareBase()));
    }
    return result;
}

// The conversion goes too: one that an earlier open made may be for another size. The gathered output
// stays with a component that still runs and may be writing it.
void omxMpegVideoEncoder::resetForOpen() {
    if (mHandle == nullptr) {
        delete[] mUserData->outputBuffer;
        mUserData->outputBuffer = nullptr;
        mUserData->outputCapacity = 0;
    }
    gEncodeInCnt.store(kLoggedUnits);
    gEncodeOutCnt.store(kLoggedUnits);
    mUserData->width.store(0);
    mUserData->height.store(0);
    mUserData->pendingOutputs.store(1);
    mUserData->closeRequested.store(false);
    mCachedUsed.store(0);
    mTimestamp = 0;
    mDeinitFlag.store(false);
    mForceFlag.store(false);
    mSkipConversion.store(false);
    g_finalEncoderBuffer.id.store(0);
    dropConversion();
}

int omxMpegVideoEncoder::omx_init(unsigned char* outBuffer, int outCapacity,
                                  OmxOutputCallback outputCallback) {
    mReservedBuffer = nullptr;
    mReservedData = nullptr;
    int result = 0;
    if (mUserData != nullptr && mComponentName == nullptr) {
        result = startDetected(outBuffer, outCapacity,
                               outputCallback != nullptr ? outputCallback : GetEncodedData2);
    }
    if (getHardwareBase() == HW_BASE_QCOM_8974) {
        mForceFlag.store(true);
    }
    return result;
}

int omxMpegVideoEncoder::startDetected(unsigned char* outBuffer, int outCapacity,
                                       OmxOutputCallback outputCallback) {
    mComponentName = new (std::nothrow) char[kComponentNameSize]();
    if (mComponentName == nullptr) {
        return 0;
    }
    const int hardwareBase = zem::detectHardwareAndName(true, mComponentName);
    mUserData->hardwareBase.store(hardwareBase);
    if (hardwareBase == HW_BASE_UNKNOWN) {
        return 0;
    }
    chooseConversion(hardwareBase);
    return omxt_encode_init(&mHandle, mUserData, outBuffer, outCapacity, mWidth.load(), mHeight.load(),
                            mFrameRate, mRateControl, mBitrate, mGopSize, outputCallback, mComponentName,
                            hardwareBase);
}

// The screen's bytes are R,G,B,A although the NV12 encoders get the converter for B,G,R: that converter
// also writes Cr before Cb, and the two swaps cancel out.
void omxMpegVideoEncoder::chooseConversion(int hardwareBase) {
    const int width = mWidth.load();
    const int height = mHeight.load();
    if (hardwareBase == HW_BASE_TARN) {
        mColorConverter.reset(new (std::nothrow) Rgb32ToYuv420(width, height));
        mPicture = alloc_picture_yuv420(width, height);
    } else {
        mColorConverter.reset(new (std::nothrow) Bgr32ToNV12(width, height));
        mPicture = alloc_picture_nv12(width, height);
    }
}

void omxMpegVideoEncoder::dropConversion() {
    mSendBuffer.reset();
    mPaddedSource.reset();
    mPaddedSize = 0;
    mColorConverter.reset();
    dealloc_picture(mPicture);
    delete mPicture;
    mPicture = nullptr;
}

int omxMpegVideoEncoder::encode(uint8_t* /*out*/, int outSize, const uint8_t* in, int inStride) {
    const int left = zem::countDown(gEncodeInCnt);
    if (left >= 0) {
        LOGI("j/enc: size:%d [%d]", outSize, left);
    }
    for (int i = 0; i < kBusyPolls; ++i) {
        if (zem::inputIsPending(mHandle)) {
            zem::sleepMillis(kPaceMillis);
        }
    }
    int sent = 0;
    const int result = omx_send_data(in, &sent, inStride);
    zem::sleepMillis(kPaceMillis);
    if (result == kStopped) {
        mDeinitFlag.store(true);
        close(true);
    }
    return result;
}

int omxMpegVideoEncoder::omx_send_data(const uint8_t* in, int* sent, int inStride) {
    *sent = 0;
    const int width = mWidth.load();
    const int height = mHeight.load();
    const int frameSize = yuvFrameSize(width, height);
    if (!makeSendBuffer(frameSize)) {
        LOGI("omxMpegVideoEncoder::omx_send_data: Fail to alloc mem~ ");
        return -1;
    }
    const int packed = fillSendBuffer(in, inStride, frameSize);
    if (packed < 0) {
        return -1;
    }
    if (packed != frameSize) {
        LOGE("omxt_encode_loop : Incorrect buff size");
        return -1;
    }
    const int result =
        SendDataToEncoder(mHandle, mSendBuffer.get(), frameSize, &mReservedBuffer, &mReservedData,
                          &mTimestamp, width, height, mFrameRate, sent, getHardwareBase());
    if (result == OMX_RESULT_TIMED_OUT) {
        return kStopped;
    }
    return result == OMX_RESULT_OK ? 0 : -1;
}

bool omxMpegVideoEncoder::makeSendBuffer(int size) {
    if (mSendBuffer == nullptr) {
        mSendBuffer.reset(new (std::nothrow) uint8_t[static_cast<size_t>(size)]);
    }
    return mSendBuffer != nullptr;
}

// The bytes packed into the send buffer, or -1.
int omxMpegVideoEncoder::fillSendBuffer(const uint8_t* in, int inStride, int frameSize) {
    if (!mSkipConversion.load()) {
        return convertIntoSendBuffer(in, inStride);
    }
    LOGE("skip color converting : [w:%d, h:%d, size:%d]", mWidth.load(), mHeight.load(), frameSize);
    if (in == nullptr) {
        LOGE("omxMpegVideoEncoder::omx_send_data: no picture");
        return -1;
    }
    memcpy(mSendBuffer.get(), in, static_cast<size_t>(frameSize));
    return frameSize;
}

int omxMpegVideoEncoder::convertIntoSendBuffer(const uint8_t* in, int inStride) {
    if (mColorConverter == nullptr || mPicture == nullptr) {
        LOGE("%s, YUV input is not supported yet !!!!", kSendDataSignature);
        return -1;
    }
    const int width = mWidth.load();
    // Strides come in pixels; one that is too large for that is taken for bytes.
    const int64_t lineSize = static_cast<int64_t>(kBytesPerPixel) *
                             (static_cast<int64_t>(width) * 3 < inStride ? width : inStride);
    if (in == nullptr || inStride < width || lineSize * mHeight.load() > INT_MAX) {
        LOGE("omxMpegVideoEncoder::omx_send_data: picture %p of stride %d is refused",
             static_cast<const void*>(in), inStride);
        return -1;
    }
    const uint8_t* source[kPlanes] = {readableSource(in, static_cast<int>(lineSize))};
    int sourceLines[kPlanes] = {static_cast<int>(lineSize)};
    if (source[0] == nullptr) {
        return -1;
    }
    OmxAVFrame packed{};
    const int packedSize = packedPlanes(&packed);
    OmxAVFrame* const target = packedSize > 0 ? &packed : mPicture;
    const int result = mColorConverter->convert(target->data, target->size, source, sourceLines);
    if (result != 0) {
        LOGE("%s : mColorConverter->convert (2) failed, ret=%d", kSendDataSignature, result);
        return -1;
    }
    return packedSize > 0 ? packedSize
                          : copyConvColorToBuffer(this, mPicture, mSendBuffer.get(), width, mHeight.load());
}

// Converters write the planes of even sizes just as they are sent: such a picture is made in the send buffer,
// which spares a copy. Points `planes` there and returns their bytes; 0 for odd sizes, whose planes are
// longer.
int omxMpegVideoEncoder::packedPlanes(OmxAVFrame* planes) {
    if ((mWidth.load() | mHeight.load()) % 2 != 0) {
        return 0;
    }
    int bytes = 0;
    for (int plane = 0; plane < kPlanes && mPicture->size[plane] >= 1; ++plane) {
        planes->data[plane] = mSendBuffer.get() + bytes;
        planes->size[plane] = mPicture->size[plane];
        bytes += mPicture->size[plane];
    }
    return bytes;
}

// The converters walk odd sizes a little past the picture's end: such a picture is copied to where they
// may. Even sizes are read where they are.
const uint8_t* omxMpegVideoEncoder::readableSource(const uint8_t* in, int lineSize) {
    const size_t given = static_cast<size_t>(lineSize) * static_cast<size_t>(mHeight.load());
    const auto needed = static_cast<size_t>(zem::yuvWalkSourceBytes(mWidth.load(), mHeight.load(), lineSize));
    if (needed <= given) {
        return in;
    }
    if (mPaddedSize < needed) {
        mPaddedSource.reset(new (std::nothrow) uint8_t[needed]());
        mPaddedSize = mPaddedSource != nullptr ? needed : 0;
    }
    if (mPaddedSource == nullptr) {
        LOGE("omxMpegVideoEncoder::omx_send_data: no memory for a padded picture");
        return nullptr;
    }
    memcpy(mPaddedSource.get(), in, given);
    return mPaddedSource.get();
}

void omxMpegVideoEncoder::setCloseType(bool force) {
    const int hardwareBase = getHardwareBase();
    if (hardwareBase == HW_BASE_EXYNOS || hardwareBase == HW_BASE_QCOM_8974) {
        LOGI("omxMpegVideoEncoder: deinit set force(%d).", force);
        mForceFlag.store(force);
    }
}

void omxMpegVideoEncoder::setSkipConversion(bool skip) {
    mSkipConversion.store(skip);
}

int omxMpegVideoEncoder::getHardwareBase() const {
    return mUserData != nullptr ? mUserData->hardwareBase.load() : HW_BASE_UNKNOWN;
}

int omxMpegVideoEncoder::getWidth() {
    return mWidth.load();
}

int omxMpegVideoEncoder::getHeight() {
    return mHeight.load();
}

void omxMpegVideoEncoder::omx_send_final_data() {
    if (g_finalEncoderBuffer.id.load() == 0) {
        mDeinitFlag.store(true);
        LOGI("omxMpegVideoEncoder::omx_send_final_data (m_omxTimeStampLfile == 0)");
        return;
    }
    LOGI("omxMpegVideoEncoder::omx_send_final_data + ");
    omxt_encode_send_final_data(mHandle, &g_finalEncoderBuffer, mTimestamp);
    LOGI("omxMpegVideoEncoder::omx_send_final_data -");
}

// The reserved buffer was the component's: forgotten with it.
int omxMpegVideoEncoder::omx_deinit() {
    const int result = omxt_encode_deinit(mHandle, mDeinitFlag.load(), mForceFlag.load());
    mHandle = nullptr;
    mReservedBuffer = nullptr;
    mReservedData = nullptr;
    return result;
}

void omxMpegVideoEncoder::close(bool skipFinal) {
    g_encodedSendCnt.store(0);
    if (mUserData == nullptr) {
        return;
    }
    GetUsedSize();
    if (mUserData->openResult.load() == 0) {
        omxCodecCommon::close();
        return;
    }
    LOGI("omxMpegVideoEncoder::close : omx_send_final_data (f:%d)", skipFinal);
    if (!skipFinal) {
        omx_send_final_data();
    }
    zem::sleepMillis(kCloseMillis);
    LOGI("omxMpegVideoEncoder::close : omx_deinit");
    omx_deinit();
    // Only now has the output thread ended: what it delivered meanwhile moved the state on, and it may
    // have been using the record's second buffer.
    g_encodedSendCnt.store(0);
    omxCodecCommon::close();
    LOGI("omxMpegVideoEncoder::close : end");
    zem::sleepMillis(kCloseMillis);
    mUserData->openResult.store(0);
}

int copyConvColorToBuffer(omxMpegVideoEncoder* encoder, OmxAVFrame* picture, unsigned char* dest, int width,
                          int height) {
    if (width < 1 || height < 1) {
        return 0;
    }
    const bool planar = encoder->getHardwareBase() == HW_BASE_TARN;
    const int luma = width * height;
    const int chroma = planar ? luma / 4 : luma / 2;
    int written = 0;
    for (int plane = 0; plane < kPlanes && picture->size[plane] >= 1; ++plane) {
        const int bytes = plane == 0 ? luma : chroma;
        memcpy(dest + written, picture->data[plane], static_cast<size_t>(bytes));
        written += bytes;
    }
    return written;
}
