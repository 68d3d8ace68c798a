// Proves that each chip profile shows the marks by which its chip is told apart, and lists components that an
// H.264 search must refuse before those that it must find. Would catch a build id on a chip that has none, a
// Samsung profile whose cpuinfo names a known chip, a software component behind the hardware one.
#include "platform/linux/chip/chip_profile.h"

#include <gtest/gtest.h>
#include <strings.h>

#include <cstring>
#include <string>

#include "codec/identification_file.h"
#include "tests/support/log_capture.h"

namespace zem {
namespace {

constexpr char kBuildId[] = "/sys/devices/system/soc/soc0/build_id";
constexpr char kCpuInfo[] = "/proc/cpuinfo";

// The file's content; "-" when there is none.
std::string content(const char* path) {
    FILE* file = openIdentificationFile(path);
    if (file == nullptr) {
        return "-";
    }
    char bytes[4096];
    const size_t length = fread(bytes, 1, sizeof(bytes), file);
    fclose(file);
    return {bytes, length};
}

std::string hardwareLine() {
    const std::string text = content(kCpuInfo);
    const size_t start = text.find("Hardware");
    return start == std::string::npos ? "" : text.substr(start, text.find('\n', start) - start);
}

bool has(const std::string& text, const char* part) {
    return strcasestr(text.c_str(), part) != nullptr;
}

// The first name with both parts and no mark of a software component, as the engine searches.
std::string found(const char* part1, const char* part2, int* refused) {
    for (const ChipComponent& component : currentChipProfile()) {
        std::string name = component.name;
        if (!has(name, part1) || !has(name, part2)) {
            continue;
        }
        if (!has(name, ".google") && !has(name, ".soft") && !has(name, ".sw")) {
            return name;
        }
        EXPECT_FALSE(component.hardware) << name;
        ++*refused;
    }
    return "";
}

TEST(ChipProfile, EachShowsItsMarks) {
    const struct {
        const char* profile;
        const char* buildId;  // its first four bytes; "-" for no file
        const char* chip;     // in the hardware line; null: no known chip
        const char* encoder;
        const char* decoder;
    } cases[] = {
        {"qcom", "8974", "msm", "OMX.qcom.video.encoder.avc", "OMX.qcom.video.decoder.avc"},
        {"qcom-tiled", "8960", "msm", "OMX.qcom.video.encoder.avc", "OMX.qcom.video.decoder.avc"},
        {"sec", "-", nullptr, "OMX.SEC.avc.enc", "OMX.SEC.avc.dec"},
        {"exynos", "-", nullptr, "OMX.Exynos.avc.enc", "OMX.Exynos.avc.dec"},
        {"tarn", "-", "tarn", "OMX.tarn.video.encoder.avc", "OMX.tarn.video.decoder.avc"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.profile);
        ASSERT_TRUE(setChipProfile(c.profile));
        EXPECT_EQ(content(kBuildId).substr(0, 4), c.buildId);
        const std::string line = hardwareLine();
        ASSERT_FALSE(line.empty());
        for (const char* chip : {"msm", "tarn"}) {
            EXPECT_EQ(has(line, chip), c.chip != nullptr && strcmp(c.chip, chip) == 0) << line;
        }
        int refused = 0;
        EXPECT_EQ(found(".avc", "enc", &refused), c.encoder);
        EXPECT_EQ(found(".avc", "dec", &refused), c.decoder);
        EXPECT_GE(refused, 2);
    }
    EXPECT_EQ(openIdentificationFile("/etc/hostname"), nullptr);
    EXPECT_EQ(openIdentificationFile(nullptr), nullptr);
}

TEST(ChipProfile, UnknownNamesChangeNothing) {
    ASSERT_TRUE(setChipProfile("tarn"));
    for (const char* name : {"", "QCOM", "qcom ", static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(setChipProfile(name));
        EXPECT_STREQ(currentChipProfile().name, "tarn");
    }
}

TEST(ChipProfile, UnknownNameIsLoggedAndTheDefaultTaken) {
    const struct {
        const char* name;
        const char* profile;
        int lines;
    } cases[] = {{nullptr, "qcom", 0}, {"", "qcom", 0}, {"exynos", "exynos", 0}, {"mtk", "qcom", 1}};
    for (const auto& c : cases) {
        test::forgetLog();
        EXPECT_STREQ(chipProfileOrDefault(c.name).name, c.profile);
        EXPECT_EQ(test::loggedCount("ZEM_CHIP_PROFILE"), c.lines);
    }
    EXPECT_TRUE(test::logged(6,
                             "ZEM_CHIP_PROFILE: no chip profile \"mtk\" (known: qcom, qcom-tiled, sec, "
                             "exynos, tarn), using qcom"));
}

}  // namespace
}  // namespace zem
