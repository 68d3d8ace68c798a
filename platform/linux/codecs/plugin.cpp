// The entry of the codec plug-in: the components of the chip profile in force.
#include "platform/linux/chip/chip_profile.h"
#include "platform/linux/codecs/av_log.h"
#include "platform/linux/codecs/avc_decoder_component.h"
#include "platform/linux/codecs/avc_encoder_component.h"
#include "platform/linux/omx_host/component.h"

namespace zem {
namespace {

ComponentFactory encoder(const char* name, EncoderInput input, bool vendorIndices) {
    return {name, {"video_encoder.avc"}, [input, vendorIndices] {
                return std::make_unique<AvcEncoderComponent>(input, vendorIndices);
            }};
}

ComponentFactory decoder(const char* name, DecoderOutput output, bool vendorIndices) {
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
            encodes ? zem::encoder(component.name, zem::encoderInputOf(profile, component), vendorIndices)
                    : zem::decoder(component.name, zem::decoderOutputOf(profile, component), vendorIndices));
    }
}
