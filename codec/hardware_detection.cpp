#include "codec/hardware_detection.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "base/log.h"
#include "codec/identification_file.h"
#include "omx/hardware_base.h"

// Exported from the library by this very name.
__attribute__((visibility("default"))) int32_t g_hwVersion = 0;

namespace {

constexpr const char* kBuildIdFile = "/sys/devices/system/soc/soc0/build_id";
constexpr const char* kCpuInfoFile = "/proc/cpuinfo";
constexpr int kBuildIdBytes = 4;
constexpr int kLineBytes = 2048;

struct CloseFile {
    void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

bool contains(const char* text, const char* part) {
    return strstr(text, part) != nullptr;
}

bool containsInAnyCase(const char* text, const char* part) {
    return strcasestr(text, part) != nullptr;
}

// Reads the build id into `id` (zeroed by the caller, one byte longer than the id); false when the file
// is missing or too short.
bool readBuildId(char* id) {
    const File file(openIdentificationFile(kBuildIdFile));
    return file != nullptr && fread(id, 1, kBuildIdBytes, file.get()) == kBuildIdBytes;
}

// The four characters of a build id, in the order of their tests. Case matters: an upper-case X is no
// 8x26.
unsigned baseOfBuildId(const char* id) {
    if (id[0] != '8') {
        return HW_BASE_UNKNOWN;
    }
    if (id[2] == '6') {
        if (id[3] == '0') {
            return HW_BASE_QCOM_8960;
        }
        return id[1] == '9' ? HW_BASE_QCOM_89XX : HW_BASE_QCOM_OTHER;
    }
    if (id[1] == '9') {
        return id[2] == '7' && id[3] == '4' ? HW_BASE_QCOM_8974 : HW_BASE_QCOM_89XX;
    }
    if (id[1] == 'x' && id[2] == '2') {
        return id[3] == '6' ? HW_BASE_QCOM_8X26 : HW_BASE_QCOM_OTHER;
    }
    return HW_BASE_QCOM_OTHER;
}

// Every msm chip that is not named here behaves like the 8974.
int baseOfHardwareLine(const char* line) {
    if (!containsInAnyCase(line, "msm")) {
        return containsInAnyCase(line, "tarn") ? HW_BASE_TARN : HW_BASE_UNKNOWN;
    }
    if (contains(line, "8974")) {
        return HW_BASE_QCOM_8974;
    }
    if (contains(line, "8960")) {
        return HW_BASE_QCOM_8960;
    }
    if (containsInAnyCase(line, "8x26") || contains(line, "8226")) {
        return HW_BASE_QCOM_8X26;
    }
    return HW_BASE_QCOM_8974;
}

int baseOfCpuInfo() {
    const File file(openIdentificationFile(kCpuInfoFile));
    char line[kLineBytes];
    while (file != nullptr && fgets(line, sizeof line, file.get()) != nullptr) {
        if (contains(line, "Hardware")) {
            LOGI("zem check hardware [%s]\n", line);
            return baseOfHardwareLine(line);
        }
    }
    return HW_BASE_UNKNOWN;
}

}  // namespace

unsigned getQualcommHardwareBase() {
    char id[kBuildIdBytes + 1] = {};
    if (!readBuildId(id)) {
        return HW_BASE_UNKNOWN;
    }
    if (id[0] != '\0') {
        LOGI("oxm codec checker: %s", id);
    } else {
        LOGI("oxm codec checker: not qualcomm");
    }
    return baseOfBuildId(id);
}

int GetHardwareBase() {
    int base = static_cast<int>(getQualcommHardwareBase());
    if (base == HW_BASE_UNKNOWN) {
        base = baseOfCpuInfo();
    }
    LOGI("zem check hardware base [0x%X]\n", static_cast<unsigned>(base));
    return base;
}

int AssumeHardwareBase(const char* componentName) {
    if (componentName == nullptr) {
        return HW_BASE_UNKNOWN;
    }
    if (containsInAnyCase(componentName, ".sec") || containsInAnyCase(componentName, ".exynos")) {
        return contains(componentName, ".SEC") ? HW_BASE_SEC : HW_BASE_EXYNOS;
    }
    return containsInAnyCase(componentName, ".qcom") ? HW_BASE_QCOM_8974 : HW_BASE_UNKNOWN;
}
