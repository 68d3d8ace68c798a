// One Google Benchmark case in which several ways to do the same take turns, round by round.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace zem::bench {

/// Who takes part. The first one of a contest is what the others are compared with.
struct Rival {
    std::string name;
    std::function<void()> prepare;     // before each of its turns, not timed; may be empty
    std::function<void(size_t)> call;  // the number of the call, counted over all rivals
};

/// Lets all rivals run in each of the case's iterations, each for about `sampleSeconds` of its thread's CPU
/// time, and sets the counters NAME_us (median microseconds a call) and FIRST/NAME (median of the quotients
/// of each round: what makes all of them slower for a while leaves these alone).
void contest(benchmark::State& state, const std::vector<Rival>& rivals, double sampleSeconds);

/// CPU seconds that the calling thread has used.
double threadSeconds();

/// Runs the registered cases and prints, as lines of five columns, each case's counters: what bench/report
/// reads. `group` is the first column. The program's status.
int runCases(int argc, char** argv, const std::string& group);

}  // namespace zem::bench
