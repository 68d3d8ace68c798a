// Proves what becomes of names and paths that no chip profile knows (that each chip is told by its marks, the
// sessions show end to end). Would catch a wrong name that changes the chip, and a file of the machine's own
// let through.
#include "platform/linux/chip/chip_profile.h"

#include <gtest/gtest.h>

#include "codec/identification_file.h"
#include "tests/support/log_capture.h"

namespace zem {
namespace {

TEST(ChipProfile, UnknownNameChangesNothingAndIsLogged) {
    ASSERT_TRUE(setChipProfile("tarn"));
    EXPECT_FALSE(setChipProfile("QCOM"));
    EXPECT_FALSE(setChipProfile(nullptr));
    EXPECT_STREQ(currentChipProfile().name, "tarn");
    EXPECT_EQ(openIdentificationFile("/etc/hostname"), nullptr);
    EXPECT_EQ(openIdentificationFile(nullptr), nullptr);
    test::forgetLog();
    EXPECT_STREQ(chipProfileOrDefault(nullptr).name, "qcom");
    EXPECT_EQ(test::loggedCount("ZEM_CHIP_PROFILE"), 0);
    EXPECT_STREQ(chipProfileOrDefault("mtk").name, "qcom");
    EXPECT_EQ(test::loggedCount("no chip profile \"mtk\""), 1);
}

}  // namespace
}  // namespace zem
