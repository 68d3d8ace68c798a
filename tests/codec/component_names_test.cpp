// Proves which component each chip's codec is. Would catch a wrong or swapped name, a software
// component taken for the hardware's, and a name that runs over its buffer.
#include "codec/component_names.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/codec/fake_identification.h"
#include "tests/support/log_capture.h"
#include "tests/support/omx_proxy.h"
#include "tests/support/serve_omx.h"

using zem::test::FakeOmx;
using zem::test::serveOmx;

namespace {

constexpr const char* kQualcomm[] = {"OMX.qcom.video.encoder.avc", "OMX.qcom.video.decoder.avc"};
constexpr const char* kSec[] = {"OMX.SEC.avc.enc", "OMX.SEC.avc.dec"};
constexpr const char* kExynos[] = {"OMX.Exynos.avc.enc", "OMX.Exynos.avc.dec"};

TEST(ComponentNames, FixedNameTable) {
    struct Case {
        int base;
        const char* const* names;
    };
    for (const Case& c :
         {Case{0x2001, kQualcomm}, Case{0x2002, kQualcomm}, Case{0x2003, kQualcomm}, Case{0x2004, kQualcomm},
          Case{0x2100, kQualcomm}, Case{0x1001, kSec}, Case{0x1002, kExynos}, Case{0x4001, nullptr},
          Case{0x1000, nullptr}, Case{0, nullptr}}) {
        for (const bool encoder : {true, false}) {
            char name[kComponentNameSize] = "untouched";
            EXPECT_EQ(setCodecString(c.base, name, encoder), c.names != nullptr ? 1 : 0) << c.base;
            EXPECT_STREQ(name, c.names != nullptr ? c.names[encoder ? 0 : 1] : "untouched") << c.base;
        }
    }
    EXPECT_EQ(setCodecString(0x2002, nullptr, true), 0);
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
        zem::test::forgetLog();
        char name[kComponentNameSize] = "untouched";
        EXPECT_EQ(searchForOmxComponent(".avc", "enc", name), c.result);
        EXPECT_EQ(name, c.found);
        EXPECT_EQ(zem::test::logged(6, "searchForOmxComponent: CODEC NOT FOUND"), c.result == 6);
    }
    serveOmx(nullptr);
    char name[kComponentNameSize] = "untouched";
    EXPECT_EQ(searchForOmxComponent(".avc", "enc", name), 3);
    EXPECT_STREQ(name, "untouched");
}

// The steps of both wrappers, on a device that tells nothing, one that does, and one with a chip whose
// components have no fixed name.
TEST(ComponentNames, DetectThenName) {
    struct Case {
        const char* buildId;
        const char* cpuInfo;
        std::vector<std::string> listed;
        int base;
        std::string name;
    };
    for (const Case& c : {Case{"8930", nullptr, {}, 0x2003, kQualcomm[0]},
                          Case{nullptr, "Hardware : tarn", {"OMX.t.avc.enc"}, 0x4001, "OMX.t.avc.enc"},
                          Case{nullptr, "Hardware : tarn", {}, 0x4001, ""},
                          Case{nullptr, nullptr, {kSec[0]}, 0x1001, kSec[0]},
                          Case{nullptr, "Hardware : ?", {kExynos[0]}, 0x1002, kExynos[0]},
                          Case{nullptr, nullptr, {"OMX.other.avc.enc"}, 0x2002, "OMX.other.avc.enc"},
                          Case{nullptr, nullptr, {"OMX.other.avc.dec"}, 0, ""}}) {
        zem::test::setIdentification(c.buildId, c.cpuInfo);
        serveOmx(new FakeOmx(c.listed));
        char name[kComponentNameSize] = {};
        EXPECT_EQ(zem::detectHardwareAndName(true, name), c.base) << c.name;
        EXPECT_EQ(name, c.name);
    }
}

TEST(ComponentNames, AvailabilityIsOfTheExactName) {
    serveOmx(new FakeOmx({"OMX.SEC.avc.enc"}));
    EXPECT_TRUE(omx_component_is_available("OMX.SEC.avc.enc"));
    EXPECT_FALSE(omx_component_is_available("OMX.sec.avc.enc"));
    EXPECT_FALSE(omx_component_is_available(nullptr));
}

}  // namespace
