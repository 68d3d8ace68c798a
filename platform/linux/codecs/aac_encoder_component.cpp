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
    mConfigurationDue = mBegun = false;
}

void AacEncoderComponent::forget() {
    mUnit.reset();
    mEncoder->flush();
}

void AacEncoderComponent::take(BufferIo& /*io*/, const LentBuffer& input) {
    if (!mBegun) {
        mFirstTime = input.timestamp;
        mConfigurationDue = mBegun = true;
    }
    mEncoder->send(input.data, input.size, input.timestamp);
}

std::optional<CodecComponent::Block> AacEncoderComponent::next(BufferIo& /*io*/) {
    if (mConfigurationDue) {
        return Block{mEncoder->configuration().size(), OMX_BUFFERFLAG_CODECCONFIG, mFirstTime};
    }
    if (!mUnit.has_value()) {
        mUnit = mEncoder->receive();
    }
    if (!mUnit.has_value()) {
        return std::nullopt;
    }
    return Block{mUnit->size, OMX_BUFFERFLAG_ENDOFFRAME | OMX_BUFFERFLAG_SYNCFRAME, mUnit->timestamp};
}

void AacEncoderComponent::write(uint8_t* to) {
    if (mConfigurationDue) {
        memcpy(to, mEncoder->configuration().data(), mEncoder->configuration().size());
    } else {
        memcpy(to, mUnit->data, mUnit->size);
    }
}

void AacEncoderComponent::drop(bool /*lost*/) {
    if (!mConfigurationDue) {
        mUnit.reset();
    }
    mConfigurationDue = false;
}

}  // namespace zem
