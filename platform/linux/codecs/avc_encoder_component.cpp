#include "platform/linux/codecs/avc_encoder_component.h"

#include <cstring>

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

status_t AvcEncoderComponent::start() {
    mEncoder = H264Encoder::open(mParameters.settings());
    return mEncoder != nullptr ? OK : android::NO_INIT;
}

void AvcEncoderComponent::stop() {
    mEncoder.reset();
    mConfigurationSent = false;
    mResynchronise = false;
    mInput = nullptr;
    mOutput = nullptr;
}

void AvcEncoderComponent::flush(OMX_U32 port) {
    (port == kInputPort ? mInput : mOutput) = nullptr;
}

void AvcEncoderComponent::process(BufferIo& io) {
    while (mEncoder != nullptr) {
        if (mInput == nullptr) {
            mInput = io.takeInput();
        }
        if (mInput != nullptr && mOutput == nullptr) {
            mOutput = io.takeOutput();
        }
        if (mInput == nullptr || mOutput == nullptr) {
            return;
        }
        if (mConfigurationSent) {
            putOutInput(io);
        } else {
            putOutConfiguration(io);
        }
    }
}

// Keeps the input, which the next output buffer is for.
void AvcEncoderComponent::putOutConfiguration(BufferIo& io) {
    const std::vector<uint8_t>& configuration = mEncoder->configuration();
    mConfigurationSent = true;
    if (configuration.size() > mOutput->size) {
        LOGE("AVC encoder: an output buffer of %zu bytes cannot hold the configuration", mOutput->size);
        return;
    }
    memcpy(mOutput->data, configuration.data(), configuration.size());
    returnOutput(io, configuration.size(), OMX_BUFFERFLAG_CODECCONFIG, mInput->timestamp);
}

// The output buffer stays for the next frame when this one gives nothing.
void AvcEncoderComponent::putOutInput(BufferIo& io) {
    const LentBuffer& input = *mInput;
    const OMX_U32 endOfStream = input.flags & OMX_BUFFERFLAG_EOS;
    const OMX_TICKS timestamp = input.timestamp;
    OMX_U32 flags = endOfStream;
    size_t length = 0;
    if (input.size > 0 || endOfStream == 0) {
        length = encode(input, &flags);
    }
    io.returnInput(mInput);
    mInput = nullptr;
    if (length > 0 || endOfStream != 0) {
        returnOutput(io, length, flags, timestamp);
    }
}

// Returns the bytes of the unit in the output buffer, 0 when there is none.
size_t AvcEncoderComponent::encode(const LentBuffer& input, OMX_U32* flags) {
    if (input.size < mEncoder->layout().frameSize) {
        LOGE("AVC encoder: a frame of %zu bytes is dropped, its layout takes %u", input.size,
             mEncoder->layout().frameSize);
        return 0;
    }
    const bool asKey = mParameters.takeKeyFrameRequest() || mResynchronise;
    EncodedPicture picture;
    mResynchronise = !mEncoder->encode(input.data, asKey, &picture);
    if (mResynchronise) {
        return 0;
    }
    if (picture.unit.size() > mOutput->size) {
        LOGE("AVC encoder: a unit of %zu bytes is dropped, the output buffer holds %zu", picture.unit.size(),
             mOutput->size);
        mResynchronise = true;
        return 0;
    }
    picture.unit.copyTo(mOutput->data);
    *flags |= OMX_BUFFERFLAG_ENDOFFRAME;
    *flags |= picture.key ? OMX_BUFFERFLAG_SYNCFRAME : 0;
    return picture.unit.size();
}

void AvcEncoderComponent::returnOutput(BufferIo& io, size_t length, OMX_U32 flags, OMX_TICKS timestamp) {
    io.returnOutput(mOutput, length, flags, timestamp);
    mOutput = nullptr;
}

}  // namespace zem
