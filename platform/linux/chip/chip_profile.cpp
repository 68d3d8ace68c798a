#include "platform/linux/chip/chip_profile.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "base/log.h"

namespace zem {
namespace {

// The software components stand first, as on devices whose list is sorted by name: whoever takes the
// first H.264 name of the list instead of the chip's own gets the wrong one.
constexpr ChipComponent kQcomComponents[] = {
    {"OMX.google.avc.encoder", ComponentRole::AvcEncoder, false},
    {"OMX.google.avc.decoder", ComponentRole::AvcDecoder, false},
    {"OMX.qcom.video.encoder.avc", ComponentRole::AvcEncoder, true},
    {"OMX.qcom.video.decoder.avc", ComponentRole::AvcDecoder, true},
};

constexpr ChipComponent kSecComponents[] = {
    {"OMX.google.avc.encoder", ComponentRole::AvcEncoder, false},
    {"OMX.google.avc.decoder", ComponentRole::AvcDecoder, false},
    {"OMX.SEC.avc.sw.enc", ComponentRole::AvcEncoder, false},
    {"OMX.SEC.avc.sw.dec", ComponentRole::AvcDecoder, false},
    {"OMX.SEC.avc.enc", ComponentRole::AvcEncoder, true},
    {"OMX.SEC.avc.dec", ComponentRole::AvcDecoder, true},
};

constexpr ChipComponent kExynosComponents[] = {
    {"OMX.google.avc.encoder", ComponentRole::AvcEncoder, false},
    {"OMX.google.avc.decoder", ComponentRole::AvcDecoder, false},
    {"OMX.Exynos.avc.sw.enc", ComponentRole::AvcEncoder, false},
    {"OMX.Exynos.avc.sw.dec", ComponentRole::AvcDecoder, false},
    {"OMX.Exynos.avc.enc", ComponentRole::AvcEncoder, true},
    {"OMX.Exynos.avc.dec", ComponentRole::AvcDecoder, true},
};

constexpr ChipComponent kTarnComponents[] = {
    {"OMX.Google.Soft.avc.encoder", ComponentRole::AvcEncoder, false},
    {"OMX.Google.Soft.avc.decoder", ComponentRole::AvcDecoder, false},
    {"OMX.tarn.soft.avc.encoder", ComponentRole::AvcEncoder, false},
    {"OMX.tarn.soft.avc.decoder", ComponentRole::AvcDecoder, false},
    {"OMX.tarn.video.encoder.avc", ComponentRole::AvcEncoder, true},
    {"OMX.tarn.video.decoder.avc", ComponentRole::AvcDecoder, true},
};

// One core's block of /proc/cpuinfo with the chip's line at its end, as 32-bit ARM kernels print it.
#define ZEM_CPUINFO(processor, hardware)                                  \
    "Processor\t: " processor                                             \
    "\n"                                                                  \
    "processor\t: 0\n"                                                    \
    "BogoMIPS\t: 38.40\n"                                                 \
    "\n"                                                                  \
    "Features\t: swp half thumb fastmult vfp edsp neon vfpv3 tls vfpv4\n" \
    "CPU architecture: 7\n"                                               \
    "\n"                                                                  \
    "Hardware\t: " hardware                                               \
    "\n"                                                                  \
    "Revision\t: 0000\n"                                                  \
    "Serial\t\t: 0000000000000000\n"

constexpr ChipProfile kProfiles[] = {
    {"qcom", EncoderInput::Nv12ChromaAt2048, DecoderOutput::Nv12RowsOf64, true, "8974A-AAAANAZA-40000500\n",
     ZEM_CPUINFO("ARMv7 Processor rev 0 (v7l)", "Qualcomm MSM 8974 (Flattened Device Tree)"), kQcomComponents,
     std::size(kQcomComponents)},
    {"qcom-tiled", EncoderInput::Nv12ChromaAt2048, DecoderOutput::Nv12Tiles, true,
     "8960A-AAAANAZA-13500700\n", ZEM_CPUINFO("ARMv7 Processor rev 4 (v7l)", "Qualcomm MSM8960"),
     kQcomComponents, std::size(kQcomComponents)},
    // Neither of the two Samsung chips is known by its line: only the component names tell.
    {"sec", EncoderInput::Nv12, DecoderOutput::I420, false, nullptr,
     ZEM_CPUINFO("ARMv7 Processor rev 2 (v7l)", "SMDK4210"), kSecComponents, std::size(kSecComponents)},
    {"exynos", EncoderInput::Nv12, DecoderOutput::I420, false, nullptr,
     ZEM_CPUINFO("ARMv7 Processor rev 3 (v7l)", "UNIVERSAL5420"), kExynosComponents,
     std::size(kExynosComponents)},
    {"tarn", EncoderInput::I420, DecoderOutput::I420, false, nullptr,
     ZEM_CPUINFO("ARMv7 Processor rev 5 (v7l)", "Tarn (Flattened Device Tree)"), kTarnComponents,
     std::size(kTarnComponents)},
};

#undef ZEM_CPUINFO

const ChipProfile* find(const char* name) {
    for (const ChipProfile& profile : kProfiles) {
        if (strcmp(profile.name, name) == 0) {
            return &profile;
        }
    }
    return nullptr;
}

std::atomic<const ChipProfile*>& current() {
    static std::atomic<const ChipProfile*> profile(&chipProfileOrDefault(getenv("ZEM_CHIP_PROFILE")));
    return profile;
}

}  // namespace

const ChipProfile& chipProfileOrDefault(const char* name) {
    if (name == nullptr || *name == '\0') {
        return kProfiles[0];
    }
    if (const ChipProfile* profile = find(name)) {
        return *profile;
    }
    std::string known;
    for (const ChipProfile& profile : kProfiles) {
        known.append(known.empty() ? "" : ", ").append(profile.name);
    }
    LOGE("ZEM_CHIP_PROFILE: no chip profile \"%s\" (known: %s), using %s", name, known.c_str(),
         kProfiles[0].name);
    return kProfiles[0];
}

const ChipProfile& currentChipProfile() {
    return *current().load();
}

bool setChipProfile(const char* name) {
    const ChipProfile* profile = name != nullptr ? find(name) : nullptr;
    if (profile == nullptr) {
        return false;
    }
    current().store(profile);
    return true;
}

EncoderInput encoderInputOf(const ChipProfile& profile, const ChipComponent& component) {
    return component.hardware ? profile.encoderInput : EncoderInput::I420;
}

DecoderOutput decoderOutputOf(const ChipProfile& profile, const ChipComponent& component) {
    return component.hardware ? profile.decoderOutput : DecoderOutput::I420;
}

}  // namespace zem
