// The entry of the codec plug-in: the components of the chip profile in force.
#include "platform/linux/chip/chip_profile.h"
#include "platform/linux/codecs/aac_decoder_component.h"
#include "platform/linux/codecs/aac_encoder_component.h"
#include "platform/linux/codecs/av_log.h"
#include "platform/linux/codecs/avc_decoder_component.h"
#include "platform/linux/codecs/avc_encoder_component.h"
#include "platform/linux/omx_host/component.h"

namespace zem {
namespace {

ComponentFactory videoEncoder(const char* name, EncoderInput input, bool vendorIndices) {
    return {name, {"video_encoder.avc"}, [input, vendorIndices] {
                return std::make_unique<AvcEncoderComponent>(input, vendorIndices);
            }};
}

ComponentFactory videoDecoder(const char* name, DecoderOutput output, bool vendorIndices) {
    return {name, {"video_decoder.avc"}, [output, vendorIndices] {
                return std::make_unique<AvcDecoderComponent>(output, vendorIndices);
            }};
}

}  // namespace
}  // namespace zem

extern "C" __attribute__((visibility("default"))) void zemRegisterComponents(
    zem::ComponentRegistry& registry) {
    zem::sendAvMessagesToLog();
    const zem::ChipProfile& profile = zem::currentChipProfile();
    for (const zem::ChipComponent& component : profile) {
        const bool vendorIndices = component.hardware && profile.vendorIndices;
        const bool encodes = component.role == zem::ComponentRole::AvcEncoder;
        registry.add(
            encodes
                ? zem::videoEncoder(component.name, zem::encoderInputOf(profile, component), vendorIndices)
                : zem::videoDecoder(component.name, zem::decoderOutputOf(profile, component), vendorIndices));
    }
    // Clients ask for audio by these names whatever the chip is.
    registry.add({"OMX.qcom.audio.encoder.aac", {"audio_encoder.aac"}, [] {
                      return std::make_unique<zem::AacEncoderComponent>();
                  }});
    registry.add({"OMX.qcom.audio.decoder.aac", {"audio_decoder.aac"}, [] {
                      return std::make_unique<zem::AacDecoderComponent>();
                  }});
}
