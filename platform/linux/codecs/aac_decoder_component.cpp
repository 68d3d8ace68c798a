#include "platform/linux/codecs/aac_decoder_component.h"

#include <cstring>

namespace zem {

bool AacDecoderComponent::open() {
    mDecoder = AacDecoder::open(mParameters.format());
    return mDecoder != nullptr;
}

void AacDecoderComponent::close() {
    mSamples.reset();
    mDecoder.reset();
    mBegun = false;
}

void AacDecoderComponent::forget() {
    mSamples.reset();
    mDecoder->flush();
    mBegun = false;
}

void AacDecoderComponent::take(BufferIo& /*io*/, const LentBuffer& input) {
    size_t configuration = 0;
    if ((input.flags & OMX_BUFFERFLAG_CODECCONFIG) != 0) {
        configuration = input.size;
    } else if (!mBegun) {
        configuration = leadingConfigurationSize(input.data, input.size);
    }
    mBegun = mBegun || input.size > 0;
    if (configuration > 0) {
        mDecoder->configure(input.data, configuration);
    }
    mDecoder->send(input.data + configuration, input.size - configuration, input.timestamp);
}

std::optional<CodecComponent::Block> AacDecoderComponent::next(BufferIo& io) {
    if (!mSamples.has_value()) {
        mSamples = mDecoder->receive(&mFormat);
    }
    if (!mSamples.has_value()) {
        return std::nullopt;
    }
    if (!(mFormat == mParameters.format())) {
        mParameters.setFormat(mFormat);
        announceChange(io);
    }
    return Block{mSamples->size, OMX_BUFFERFLAG_ENDOFFRAME, mSamples->timestamp};
}

void AacDecoderComponent::write(uint8_t* to) {
    memcpy(to, mSamples->data, mSamples->size);
}

}  // namespace zem
