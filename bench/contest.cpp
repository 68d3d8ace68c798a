#include "bench/contest.h"

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <random>

namespace zem::bench {

namespace {

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

/// Seconds a call, over `calls` calls.
double timeCalls(const Rival& rival, size_t calls, size_t& number) {
    if (rival.prepare) {
        rival.prepare();
    }
    // One that does not count: it finds the caches, and the vector units' clock, as others left them.
    rival.call(number++);
    const double start = threadSeconds();
    for (size_t i = 0; i < calls; ++i) {
        rival.call(number++);
    }
    return (threadSeconds() - start) / static_cast<double>(calls);
}

// How many calls fill a sample.
size_t callsFor(const Rival& rival, double sampleSeconds, size_t& number) {
    timeCalls(rival, 1, number);
    const double once = std::max(timeCalls(rival, 2, number), 1e-9);
    return static_cast<size_t>(std::clamp(sampleSeconds / once, 1.0, 1e6));
}

class LineReporter : public benchmark::BenchmarkReporter {
  public:
    explicit LineReporter(std::string group) : mGroup(std::move(group)) {}
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const std::string name = run.run_name.function_name;
            if (run.error_occurred) {
                fprintf(stderr, "error: %s: %s\n", name.c_str(), run.error_message.c_str());
                failed = true;
            }
            for (const auto& counter : run.counters) {
                const bool isTime =
                    counter.first.size() > 3 && counter.first.rfind("_us") == counter.first.size() - 3;
                printf("%s\t%s\t%s\t%.4g\t%s\n", mGroup.c_str(), name.c_str(), counter.first.c_str(),
                       counter.second.value, isTime ? "us" : "ratio");
            }
        }
        fflush(stdout);
    }

    bool failed = false;

  private:
    const std::string mGroup;
};

}  // namespace

double threadSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void contest(benchmark::State& state, const std::vector<Rival>& rivals, double sampleSeconds) {
    size_t number = 0;
    std::vector<size_t> calls;
    for (const Rival& rival : rivals) {
        calls.push_back(callsFor(rival, sampleSeconds, number));
    }
    std::vector<std::vector<double>> seconds(rivals.size());
    std::vector<size_t> order(rivals.size());
    std::iota(order.begin(), order.end(), 0);
    std::minstd_rand random(1);
    for (auto _ : state) {
        // Any order, so that nobody always follows the same.
        std::shuffle(order.begin(), order.end(), random);
        for (const size_t at : order) {
            seconds[at].push_back(timeCalls(rivals[at], calls[at], number));
        }
        state.SetIterationTime(seconds[0].back());
    }
    for (size_t i = 0; i < rivals.size() && !seconds[i].empty(); ++i) {
        state.counters[rivals[i].name + "_us"] = median(seconds[i]) * 1e6;
        std::vector<double> quotients;
        for (size_t round = 0; i > 0 && round < seconds[i].size(); ++round) {
            quotients.push_back(seconds[0][round] / seconds[i][round]);
        }
        if (i > 0) {
            state.counters[rivals[0].name + "/" + rivals[i].name] = median(quotients);
        }
    }
}

int runCases(int argc, char** argv, const std::string& group) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    LineReporter reporter(group);
    const bool ran = benchmark::RunSpecifiedBenchmarks(&reporter) > 0;
    return ran && !reporter.failed ? 0 : 1;
}

}  // namespace zem::bench
