// Proves which component each chip's codec is. Would catch a wrong or swapped name, a software
// component taken for the hardware's, and a name that runs over its buffer.
#include "codec/component_names.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/codec/fake_identification.h"
#include "tests/support/omx_proxy.h"
#include "tests/support/serve_omx.h"

using zem::test::FakeOmx;
using zem::test::serveOmx;

namespace {

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

// The steps of both wrappers, on a device that tells nothing, one that does, and one with a chip whose
// components have no fixed name. The encoder's half for all chips: video_encoder_picture_test.cpp.
TEST(ComponentNames, DetectThenName) {
    struct Case {
        const char* buildId;
        const char* cpuInfo;
        std::string listed;
        bool encoder;
        int base;
        std::string name;
    };
    for (const Case& c :
         {Case{"8930", nullptr, "", true, 0x2003, "OMX.qcom.video.encoder.avc"},
          Case{"8930", nullptr, "", false, 0x2003, "OMX.qcom.video.decoder.avc"},
          Case{nullptr, nullptr, "OMX.SEC.avc.dec", false, 0x1001, "OMX.SEC.avc.dec"},
          Case{nullptr, "Hardware : ?", "OMX.Exynos.avc.dec", false, 0x1002, "OMX.Exynos.avc.dec"},
          Case{nullptr, "Hardware : tarn", "", true, 0x4001, ""},
          Case{nullptr, nullptr, "OMX.other.avc.dec", true, 0, ""}}) {
        zem::test::setIdentification(c.buildId, c.cpuInfo);
        serveOmx(new FakeOmx({c.listed}));
        char name[kComponentNameSize] = {};
        EXPECT_EQ(zem::detectHardwareAndName(c.encoder, name), c.base) << c.name;
        EXPECT_EQ(name, c.name);
    }
}

}  // namespace
