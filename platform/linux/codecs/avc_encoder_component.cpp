#include "platform/linux/codecs/avc_encoder_component.h"

#include "base/log.h"

namespace zem {

using android::OK;
using android::status_t;

status_t AvcEncoderComponent::setConfig(OMX_INDEXTYPE index, const void* params, size_t size) {
    const status_t result = mParameters.setConfig(index, params, size);
    if (result == OK && index == OMX_IndexConfigVideoBitrate && mEncoder != nullptr) {
        mEncoder->setBitRate(mParameters.settings().bitRate);
    }
    return result;
}

bool AvcEncoderComponent::open() {
    mEncoder = H264Encoder::open(mParameters.settings());
    return mEncoder != nullptr;
}

void AvcEncoderComponent::close() {
    mPicture.reset();
    mEncoder.reset();
    mResynchronise = false;
}

void AvcEncoderComponent::take(BufferIo& /*io*/, const LentBuffer& input) {
    if (input.size < mEncoder->layout().frameSize) {
        LOGE("AVC encoder: a frame of %zu bytes is dropped, its layout takes %u", input.size,
             mEncoder->layout().frameSize);
        return;
    }
    const bool asKey = mParameters.takeKeyFrameRequest() || mResynchronise;
    EncodedPicture picture;
    mResynchronise = !mEncoder->encode(input.data, asKey, &picture);
    if (!mResynchronise && picture.unit.size() > 0) {
        mPicture = picture;
        mTimestamp = input.timestamp;
    }
}

std::optional<CodecComponent::Block> AvcEncoderComponent::next(BufferIo& /*io*/) {
    if (!mPicture.has_value()) {
        return std::nullopt;
    }
    const OMX_U32 key = mPicture->key ? OMX_BUFFERFLAG_SYNCFRAME : 0;
    return Block{mPicture->unit.size(), OMX_BUFFERFLAG_ENDOFFRAME | key, mTimestamp};
}

void AvcEncoderComponent::drop(bool lost) {
    mPicture.reset();
    mResynchronise = mResynchronise || lost;
}

}  // namespace zem
