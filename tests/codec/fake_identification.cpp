#include "tests/codec/fake_identification.h"

#include <gtest/gtest.h>

#include "codec/identification_file.h"

namespace {

const char* gBuildId = nullptr;
const char* gCpuInfo = nullptr;

}  // namespace

namespace zem::test {

void setIdentification(const char* buildId, const char* cpuInfo) {
    gBuildId = buildId;
    gCpuInfo = cpuInfo;
}

}  // namespace zem::test

FILE* openIdentificationFile(const char* path) {
    const std::string name = path;
    const bool isBuildId = name == "/sys/devices/system/soc/soc0/build_id";
    EXPECT_TRUE(isBuildId || name == "/proc/cpuinfo") << name;
    const char* const content = isBuildId ? gBuildId : gCpuInfo;
    FILE* const file = content != nullptr ? tmpfile() : nullptr;
    if (file != nullptr) {
        fputs(content, file);
        rewind(file);
    }
    return file;
}
