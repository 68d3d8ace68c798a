// Proves which chip family each identification text stands for, and which component each chip's codec is.
// Would catch a test on the wrong character, a case rule dropped, a source asked in the wrong order, a
// software component taken for the hardware's, and a name that runs over its buffer.
#include "codec/hardware_detection.h"

#include <gtest/gtest.h>

#include "codec/component_names.h"
#include "tests/codec/fake_identification.h"
#include "tests/support/omx_proxy.h"

using namespace zem::test;

namespace {

using Table = std::vector<std::pair<const char*, int>>;

TEST(HardwareDetection, EachTextHasItsChip) {
    for (const auto& [buildId, base] : Table{{"8974", 0x2002},
                                             {"8960", 0x2001},
                                             {"8660", 0x2001},
                                             {"8x26", 0x2004},
                                             {"8X26", 0x2100},
                                             {"8x25", 0x2100},
                                             {"8930", 0x2003},
                                             {"8975", 0x2003},
                                             {"8964", 0x2003},
                                             {"8064", 0x2100},
                                             {"8x64", 0x2100},
                                             {"8974A-more", 0x2002},
                                             {"7x30", 0},
                                             {"897", 0},
                                             {"", 0},
                                             {nullptr, 0}}) {
        SCOPED_TRACE(buildId != nullptr ? buildId : "no file");
        setIdentification(buildId, "Hardware : tarn");
        EXPECT_EQ(getQualcommHardwareBase(), static_cast<unsigned>(base));
        EXPECT_EQ(GetHardwareBase(), base != 0 ? base : 0x4001);
    }
    const std::string far = std::string(5000, 'x') + "\nHardware : msm8960\n";
    for (const auto& [cpuInfo, base] : Table{{"Hardware : Qualcomm MSM 8974\n", 0x2002},
                                             {"processor : 0\nHardware : Qualcomm MSM 8960\n", 0x2001},
                                             {"Hardware : Qualcomm MSM 8226\n", 0x2004},
                                             {"Hardware : msm8X26", 0x2004},
                                             {"Hardware : Qualcomm MSM8660\n", 0x2002},
                                             {"Hardware : 8960\n", 0},
                                             {"Hardware : TARN board\n", 0x4001},
                                             {"Hardware : else\n", 0},
                                             {"hardware : msm8974\nHardware : tarn\n", 0x4001},
                                             {"Hardware : else\nHardware : tarn\n", 0},
                                             {"cpu : msm8974\n", 0},
                                             {far.c_str(), 0x2001},
                                             {"", 0},
                                             {nullptr, 0}}) {
        setIdentification("7x30", cpuInfo);  // no chip: the second source decides
        EXPECT_EQ(GetHardwareBase(), base) << (cpuInfo != nullptr ? cpuInfo : "no file");
    }
    for (const auto& [name, base] : Table{{"OMX.SEC.avc.enc", 0x1001},
                                          {"OMX.sec.avc.enc", 0x1002},
                                          {"OMX.Exynos.avc.enc", 0x1002},
                                          {"OMX.qcom.video.encoder.avc", 0x2002},
                                          {"OMX.QCOM.avc", 0x2002},
                                          {"OMX.other.avc", 0},
                                          {"", 0},
                                          {nullptr, 0}}) {
        EXPECT_EQ(AssumeHardwareBase(name), base) << (name != nullptr ? name : "null");
    }
}

TEST(ComponentNames, SearchTakesTheFirstSuitableName) {
    const std::string longest = "OMX.x.avc.enc" + std::string(kComponentNameSize - 1 - 13, 'y');
    struct Case {
        std::vector<std::string> listed;
        int result;
        std::string found;
    };
    for (const Case& c :
         {Case{{"OMX.google.avc.enc", "OMX.a.SOFT.avc.enc", "OMX.b.avc.Sw.enc"}, 6, "untouched"},
          Case{{"OMX.a.hevc.enc", "OMX.a.avc.dec", "OMX.b.AVC.ENC", "OMX.c.avc.enc"}, 0, "OMX.b.AVC.ENC"},
          Case{{longest + "z", longest}, 0, longest}, Case{{}, 6, "untouched"}}) {
        serveOmx(new FakeOmx(c.listed));
        char name[kComponentNameSize] = "untouched";
        EXPECT_EQ(searchForOmxComponent(".avc", "enc", name), c.result);
        EXPECT_EQ(name, c.found);
    }
    serveOmx(nullptr);
    char name[kComponentNameSize] = "untouched";
    EXPECT_EQ(searchForOmxComponent(".avc", "enc", name), 3);
    EXPECT_STREQ(name, "untouched");
}

// What the wrappers' own tests, which go through all chips, do not meet.
TEST(ComponentNames, AChipWithoutAFixedNameHasNoneWhenNoneIsListed) {
    for (const int base : {0x4001, 0}) {
        setIdentification(nullptr, base != 0 ? "Hardware : tarn" : nullptr);
        serveOmx(new FakeOmx({"OMX.other.avc.dec"}));
        char name[kComponentNameSize] = {};
        EXPECT_EQ(zem::detectHardwareAndName(true, name), base);
        EXPECT_STREQ(name, "");
    }
}

}  // namespace
