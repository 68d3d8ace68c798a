// Proves which chip family each identification text stands for. Would catch a test on the wrong
// character, a case rule dropped, or a source that is asked in the wrong order.
#include "codec/hardware_detection.h"

#include <gtest/gtest.h>

#include "tests/codec/fake_identification.h"

using zem::test::setIdentification;

namespace {

TEST(HardwareDetection, BuildIdTable) {
    struct Case {
        const char* buildId;
        unsigned base;
    };
    for (const Case& c :
         {Case{"8974", 0x2002}, Case{"8960", 0x2001}, Case{"8660", 0x2001}, Case{"8x26", 0x2004},
          Case{"8X26", 0x2100}, Case{"8x25", 0x2100}, Case{"8930", 0x2003}, Case{"8975", 0x2003},
          Case{"8964", 0x2003}, Case{"8064", 0x2100}, Case{"8x64", 0x2100}, Case{"8974A-more", 0x2002},
          Case{"7x30", 0}, Case{"897", 0}, Case{"", 0}, Case{nullptr, 0}}) {
        setIdentification(c.buildId, "Hardware : tarn");
        EXPECT_EQ(getQualcommHardwareBase(), c.base) << (c.buildId != nullptr ? c.buildId : "no file");
        EXPECT_EQ(GetHardwareBase(), c.base != 0 ? static_cast<int>(c.base) : 0x4001);
    }
}

TEST(HardwareDetection, CpuInfoTable) {
    struct Case {
        const char* cpuInfo;
        int base;
    };
    const std::string far = std::string(5000, 'x') + "\nHardware : msm8960\n";
    for (const Case& c : {Case{"Hardware : Qualcomm MSM 8974\n", 0x2002},
                          Case{"processor : 0\nHardware : Qualcomm MSM 8960\n", 0x2001},
                          Case{"Hardware : Qualcomm MSM 8226\n", 0x2004}, Case{"Hardware : msm8X26", 0x2004},
                          Case{"Hardware : Qualcomm MSM8660\n", 0x2002}, Case{"Hardware : 8960\n", 0},
                          Case{"Hardware : TARN board\n", 0x4001}, Case{"Hardware : else\n", 0},
                          Case{"hardware : msm8974\nHardware : tarn\n", 0x4001},
                          Case{"Hardware : else\nHardware : tarn\n", 0}, Case{"cpu : msm8974\n", 0},
                          Case{far.c_str(), 0x2001}, Case{"", 0}, Case{nullptr, 0}}) {
        setIdentification("7x30", c.cpuInfo);  // no chip: the second source decides
        EXPECT_EQ(GetHardwareBase(), c.base) << (c.cpuInfo != nullptr ? c.cpuInfo : "no file");
    }
}

TEST(HardwareDetection, AssumedFromNameTable) {
    struct Case {
        const char* name;
        int base;
    };
    for (const Case& c :
         {Case{"OMX.SEC.avc.enc", 0x1001}, Case{"OMX.sec.avc.enc", 0x1002},
          Case{"OMX.Exynos.avc.enc", 0x1002}, Case{"OMX.qcom.video.encoder.avc", 0x2002},
          Case{"OMX.QCOM.avc", 0x2002}, Case{"OMX.other.avc", 0}, Case{"", 0}, Case{nullptr, 0}}) {
        EXPECT_EQ(AssumeHardwareBase(c.name), c.base) << (c.name != nullptr ? c.name : "null");
    }
}

}  // namespace
