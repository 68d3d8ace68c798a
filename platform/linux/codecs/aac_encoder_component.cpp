#include "platform/linux/codecs/aac_encoder_component.h"

#include <cstring>

namespace zem {

bool AacEncoderComponent::open() {
    mEncoder = AacEncoder::open(mParameters.format(), mParameters.bitRate());
    return mEncoder != nullptr;
}

void AacEncoderComponent::close() {
    mUnit.reset();
    mEncoder.reset();
}

void AacEncoderComponent::forget() {
    mUnit.reset();
    mEncoder->flush();
}

void AacEncoderComponent::take(BufferIo& /*io*/, const LentBuffer& input) {
    mEncoder->send(input.data, input.size, input.timestamp);
}

std::optional<CodecComponent::Block> AacEncoderComponent::next(BufferIo& /*io*/) {
    if (!mUnit.has_value()) {
        mUnit = mEncoder->receive();
    }
    if (!mUnit.has_value()) {
        return std::nullopt;
    }
    return Block{mUnit->size, OMX_BUFFERFLAG_ENDOFFRAME | OMX_BUFFERFLAG_SYNCFRAME, mUnit->timestamp};
}

void AacEncoderComponent::write(uint8_t* to) {
    memcpy(to, mUnit->data, mUnit->size);
}

}  // namespace zem
