#include "platform/linux/codecs/avc_decoder_component.h"

namespace zem {

bool AvcDecoderComponent::open() {
    mDecoder = H264Decoder::open();
    return mDecoder != nullptr;
}

void AvcDecoderComponent::close() {
    mPicture.reset();
    mDecoder.reset();
    mSizeAnnounced = false;
}

void AvcDecoderComponent::forget() {
    mPicture.reset();
    mDecoder->flush();
}

void AvcDecoderComponent::take(BufferIo& io, const LentBuffer& input) {
    if (const auto told = mDecoder->send(input.data, input.size, input.timestamp)) {
        learnSize(io, told->width, told->height);
    }
}

std::optional<CodecComponent::Block> AvcDecoderComponent::next(BufferIo& io) {
    if (!mPicture.has_value()) {
        mPicture = mDecoder->receive();
    }
    if (!mPicture.has_value()) {
        return std::nullopt;
    }
    learnSize(io, mPicture->planes.width, mPicture->planes.height);
    return Block{layout().size(), OMX_BUFFERFLAG_ENDOFFRAME, mPicture->timestamp};
}

void AvcDecoderComponent::write(uint8_t* to) {
    layout().write(mPicture->planes, to);
}

DecodedLayout AvcDecoderComponent::layout() const {
    return DecodedLayout(mParameters.output(), mPicture->planes.width, mPicture->planes.height);
}

void AvcDecoderComponent::learnSize(BufferIo& io, uint32_t width, uint32_t height) {
    const bool first = mParameters.output() != DecoderOutput::Nv12RowsOf64 && !mSizeAnnounced;
    if (first || !mParameters.outputHasSize(width, height)) {
        mParameters.setOutputSize(width, height);
        mSizeAnnounced = true;
        announceChange(io);
    }
}

}  // namespace zem
