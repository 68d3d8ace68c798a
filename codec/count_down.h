// Counters that run down to 0: lines still to be logged, outputs still to come.
#pragma once

#include <atomic>

namespace zem {

/// Lowers `counter` by one while it is above 0. Returns what is left, or -1 when it was not above 0.
inline int countDown(std::atomic<int>& counter) {
    int value = counter.load();
    while (value > 0 && !counter.compare_exchange_weak(value, value - 1)) {
    }
    return value > 0 ? value - 1 : -1;
}

}  // namespace zem
