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
    mSizeAnnounced = false;
}

// No buffer is kept from one process() to the next, and a picture that waits outlives the output buffers.
void AvcDecoderComponent::flush(OMX_U32 port) {
    if (port == kInputPort && mDecoder != nullptr) {
        mPicture.reset();
        mEnd.reset();
        mDecoder->flush();
    }
}

void AvcDecoderComponent::process(BufferIo& io) {
    bool more = mDecoder != nullptr;
    while (more) {
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
    mDecoder->send(input->data, input->size, input->timestamp);
    if ((input->flags & OMX_BUFFERFLAG_EOS) != 0) {
        mEnd = input->timestamp;
    }
    io.returnInput(input);
    return true;
}

void AvcDecoderComponent::announceSize(BufferIo& io) {
    const PlanarPicture& picture = mPicture->planes;
    const bool first = mParameters.output() != DecoderOutput::Nv12RowsOf64 && !mSizeAnnounced;
    if (first || !mParameters.outputHasSize(picture.width, picture.height)) {
        mParameters.setOutputSize(picture.width, picture.height);
        mSizeAnnounced = true;
        io.portSettingsChanged();
    }
}

bool AvcDecoderComponent::putOutPicture(BufferIo& io) {
    announceSize(io);
    const LentBuffer* output = io.takeOutput();
    if (output == nullptr) {
        return false;
    }
    const PlanarPicture& picture = mPicture->planes;
    const DecodedLayout layout(mParameters.output(), picture.width, picture.height);
    if (layout.size() > output->size) {
        LOGE("AVC decoder: a picture of %ux%u does not fit %zu bytes and is dropped", picture.width,
             picture.height, output->size);
        io.returnOutput(output, 0, 0, mPicture->timestamp);
    } else {
        layout.write(picture, output->data);
        io.returnOutput(output, layout.size(), OMX_BUFFERFLAG_ENDOFFRAME, mPicture->timestamp);
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
    const LentBuffer* output = io.takeOutput();
    if (output == nullptr) {
        return false;
    }
    io.returnOutput(output, 0, OMX_BUFFERFLAG_EOS, *mEnd);
    mEnd.reset();
    return true;
}

}  // namespace zem
