// Runs a test with each of the machine's instruction sets in turn, from the best to none.
#pragma once

#include <gtest/gtest.h>

#if ZEM_SIMD
#include <hwy/targets.h>
#endif

namespace zem::test {

/// Calls `test` once for each target that the pixel loops are compiled for and this machine has, and
/// once more for those loops without vectors. Then the best one is in use again.
template <typename Test>
void onEverySimdTarget(Test test) {
#if ZEM_SIMD
    const auto targets = hwy::SupportedAndGeneratedTargets();
    ASSERT_FALSE(targets.empty());
    for (const int64_t target : targets) {
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
