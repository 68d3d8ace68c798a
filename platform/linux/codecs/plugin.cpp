// The entry of the codec plug-in: the components of the chip profile in force.
#include "platform/linux/chip/chip_profile.h"
#include "platform/linux/codecs/av_log.h"
#include "platform/linux/codecs/avc_encoder_component.h"
#include "platform/linux/omx_host/component.h"

extern "C" __attribute__((visibility("default"))) void zemRegisterComponents(
    zem::ComponentRegistry& registry) {
    zem::sendAvMessagesToLog();
    const zem::ChipProfile& profile = zem::currentChipProfile();
    for (const zem::ChipComponent& component : profile) {
        if (component.role != zem::ComponentRole::AvcEncoder) {
            continue;  // no decoders yet
        }
        const zem::EncoderInput input = zem::encoderInputOf(profile, component);
        const bool vendorIndices = component.hardware && profile.vendorIndices;
        registry.add({component.name, {"video_encoder.avc"}, [input, vendorIndices] {
                          return std::make_unique<zem::AvcEncoderComponent>(input, vendorIndices);
                      }});
    }
}
