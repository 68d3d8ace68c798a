// How tests wait: longer than any slow machine takes, so that only a hang ends it.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <thread>

namespace zem::test {

inline constexpr auto kSoon = std::chrono::seconds(60);

/// Polls until `condition` holds; false when it never does.
inline bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + kSoon;
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return condition();
}

/// What `work` gives. Ends the program, which cannot join the thread, when it hangs.
template <typename Result>
Result expectEnd(std::future<Result> work) {
    if (work.wait_for(kSoon) != std::future_status::ready) {
        ADD_FAILURE() << "hangs";
        abort();
    }
    return work.get();
}
inline void expectEnds(const std::function<void()>& work) {
    expectEnd(std::async(std::launch::async, work));
}

}  // namespace zem::test
