#include "platform/linux/codecs/avc_decoder_component.h"

#include "base/log.h"

namespace zem {

using android::OK;
using android::status_t;

status_t AvcDecoderComponent::start() {
    mDecoder = H264Decoder::open();
    return mDecoder != nullptr ? OK : android::NO_INIT;
}

void AvcDecoderComponent::stop() {
    mPicture.reset();
    mEnd.reset();
    mDecoder.reset();
    mOutput = nullptr;
    mSizeAnnounced = false;
    mAwaitsBuffers = false;
}

// A picture that waits outlives the output buffers.
void AvcDecoderComponent::flush(OMX_U32 port) {
    if (port == kOutputPort) {
        mOutput = nullptr;
    } else if (mDecoder != nullptr) {
        mPicture.reset();
        mEnd.reset();
        mDecoder->flush();
    }
}

void AvcDecoderComponent::process(BufferIo& io) {
    bool more = mDecoder != nullptr;
    while (more) {
        if (mAwaitsBuffers && !haveOutput(io)) {
            return;
        }
        mAwaitsBuffers = false;
        if (!mPicture.has_value()) {
            mPicture = mDecoder->receive();
        }
        if (mPicture.has_value()) {
            more = putOutPicture(io);
        } else {
            more = mEnd.has_value() ? putOutEnd(io) : takeUnit(io);
        }
    }
}

bool AvcDecoderComponent::takeUnit(BufferIo& io) {
    const LentBuffer* input = io.takeInput();
    if (input == nullptr) {
        return false;
    }
    const auto told = mDecoder->send(input->data, input->size, input->timestamp);
    if ((input->flags & OMX_BUFFERFLAG_EOS) != 0) {
        mEnd = input->timestamp;
    }
    io.returnInput(input);
    if (told.has_value()) {
        learnSize(io, told->width, told->height);
    }
    return true;
}

bool AvcDecoderComponent::haveOutput(BufferIo& io) {
    if (mOutput == nullptr) {
        mOutput = io.takeOutput();
    }
    return mOutput != nullptr;
}

void AvcDecoderComponent::returnOutput(BufferIo& io, size_t length, OMX_U32 flags, OMX_TICKS timestamp) {
    io.returnOutput(mOutput, length, flags, timestamp);
    mOutput = nullptr;
}

void AvcDecoderComponent::learnSize(BufferIo& io, uint32_t width, uint32_t height) {
    const bool first = mParameters.output() != DecoderOutput::Nv12RowsOf64 && !mSizeAnnounced;
    if (!first && mParameters.outputHasSize(width, height)) {
        return;
    }
    if (mOutput != nullptr) {
        returnOutput(io, 0, 0, 0);
    }
    mParameters.setOutputSize(width, height);
    mSizeAnnounced = true;
    mAwaitsBuffers = true;
    io.portSettingsChanged();
}

bool AvcDecoderComponent::putOutPicture(BufferIo& io) {
    const PlanarPicture& picture = mPicture->planes;
    learnSize(io, picture.width, picture.height);
    if (!haveOutput(io)) {
        return false;
    }
    const DecodedLayout layout(mParameters.output(), picture.width, picture.height);
    if (layout.size() > mOutput->size) {
        LOGE("AVC decoder: a picture of %ux%u does not fit %zu bytes and is dropped", picture.width,
             picture.height, mOutput->size);
        returnOutput(io, 0, 0, mPicture->timestamp);
    } else {
        layout.write(picture, mOutput->data);
        returnOutput(io, layout.size(), OMX_BUFFERFLAG_ENDOFFRAME, mPicture->timestamp);
    }
    mPicture.reset();
    return true;
}

bool AvcDecoderComponent::putOutEnd(BufferIo& io) {
    mDecoder->drain();
    mPicture = mDecoder->receive();
    if (mPicture.has_value()) {
        return true;
    }
    if (!haveOutput(io)) {
        return false;
    }
    returnOutput(io, 0, OMX_BUFFERFLAG_EOS, *mEnd);
    mEnd.reset();
    return true;
}

}  // namespace zem
