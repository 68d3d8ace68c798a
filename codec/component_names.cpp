#include "codec/component_names.h"

#include <media/IOMX.h>
#include <utils/List.h>

#include <cstring>

#include "base/log.h"
#include "codec/hardware_detection.h"
#include "omx/hardware_base.h"
#include "omx/qcom_omx_interface.h"
#include "omx/result_codes.h"

namespace {

// What marks a component as software, in any case.
constexpr const char* kSoftwareMarks[] = {".google", ".soft", ".sw"};

const char* fixedNameOf(int hardwareBase, bool encoder) {
    if ((hardwareBase & HW_FAMILY_QCOM) != 0) {
        return encoder ? "OMX.qcom.video.encoder.avc" : "OMX.qcom.video.decoder.avc";
    }
    if (hardwareBase == HW_BASE_SEC) {
        return encoder ? "OMX.SEC.avc.enc" : "OMX.SEC.avc.dec";
    }
    if (hardwareBase == HW_BASE_EXYNOS) {
        return encoder ? "OMX.Exynos.avc.enc" : "OMX.Exynos.avc.dec";
    }
    return nullptr;
}

bool contains(const char* name, const char* part) {
    return strcasestr(name, part) != nullptr;
}

bool isSuitable(const char* name, const char* needle1, const char* needle2) {
    for (const char* mark : kSoftwareMarks) {
        if (contains(name, mark)) {
            return false;
        }
    }
    return contains(name, needle1) && contains(name, needle2) && strlen(name) < kComponentNameSize;
}

}  // namespace

int setCodecString(int hardwareBase, char* out, bool encoder) {
    const char* const name = fixedNameOf(hardwareBase, encoder);
    if (out == nullptr || name == nullptr) {
        return 0;
    }
    memcpy(out, name, strlen(name) + 1);
    return 1;
}

int searchForOmxComponent(const char* needle1, const char* needle2, char* out) {
    QcomOmxInterface driver;
    if (driver.acquireOmxFromMediaPlayer() != OMX_RESULT_OK) {
        return OMX_RESULT_NO_IOMX;
    }
    android::List<android::IOMX::ComponentInfo> components;
    driver.omx()->listNodes(&components);
    for (const android::IOMX::ComponentInfo& component : components) {
        const char* const name = component.mName.string();
        if (isSuitable(name, needle1, needle2)) {
            memcpy(out, name, strlen(name) + 1);
            return OMX_RESULT_OK;
        }
    }
    LOGE("searchForOmxComponent: CODEC NOT FOUND");
    return OMX_RESULT_NO_COMPONENT;
}

bool omx_component_is_available(const char* componentName) {
    return QcomOmxInterface::OmxComponentCanBeAcquired(componentName);
}

namespace zem {

int detectHardwareAndName(bool encoder, char* name) {
    const char* const kind = encoder ? "enc" : "dec";
    const int base = GetHardwareBase();
    if (base != HW_BASE_UNKNOWN) {
        if (setCodecString(base, name, encoder) == 0) {
            searchForOmxComponent(".avc", kind, name);
        }
        return base;
    }
    if (searchForOmxComponent(".avc", kind, name) != OMX_RESULT_OK) {
        return HW_BASE_UNKNOWN;
    }
    const int assumed = AssumeHardwareBase(name);
    return assumed != HW_BASE_UNKNOWN ? assumed : HW_BASE_QCOM_8974;
}

}  // namespace zem
