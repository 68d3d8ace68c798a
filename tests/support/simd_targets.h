// Runs a test with each of the machine's instruction sets in turn, the best one first.
#pragma once

#include <gtest/gtest.h>

#if ZEM_SIMD
#include <hwy/targets.h>
#endif

namespace zem::test {

/// Calls `test` once for each target that the pixel loops are compiled for and this machine has; where
/// they choose as they run, the one without vectors is among them. Then the best one is in use again.
template <typename Test>
void onEverySimdTarget(Test test) {
#if ZEM_SIMD
    int64_t targets = HWY_SUPPORTED_TARGETS & HWY_TARGETS;
    ASSERT_NE(targets, 0);
    for (; targets != 0; targets &= targets - 1) {
        const int64_t target = targets & -targets;  // lower bits are better
        SCOPED_TRACE(hwy::TargetName(target));
        hwy::SetSupportedTargetsForTest(target);
        test();
    }
    hwy::SetSupportedTargetsForTest(0);
#else
    test();
#endif
}

}  // namespace zem::test
