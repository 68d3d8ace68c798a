// Measures the pixel converters: case NAME/WIDTHxHEIGHT/warm or ring/INSTRUCTION SET.
//
// bench_converters [--quick] [options of Google Benchmark]
#include <hwy/targets.h>
#include <libyuv/cpu_id.h>

#include <cstring>

#include "bench/contest.h"
#include "bench/frame_ring.h"
#include "bench/rivals.h"

namespace zem::bench {

namespace {

struct Target {
    int64_t highway;
    const char* name;
    int libyuv;   // what libyuv may use beside it
    bool isBest;  // the table and swscale, which have no targets to choose, are measured beside this one
};

constexpr int64_t kTableTargets = HWY_SCALAR | HWY_EMU128;

int libyuvFlags([[maybe_unused]] int64_t target) {
#if HWY_ARCH_ARM
    return libyuv::kCpuInitialized | libyuv::kCpuHasARM | libyuv::kCpuHasNEON;
#else
    int without = 0;
    if (target >= HWY_AVX2 && target < kTableTargets) {
        without |= libyuv::kCpuHasAVX512BW | libyuv::kCpuHasAVX512VL | libyuv::kCpuHasAVX512VNNI |
                   libyuv::kCpuHasAVX512VBMI | libyuv::kCpuHasAVX512VBMI2 | libyuv::kCpuHasAVX512VBITALG |
                   libyuv::kCpuHasAVX512VPOPCNTDQ | libyuv::kCpuHasGFNI;
    }
    if (target == HWY_SSE4 || target == HWY_SSSE3) {
        without |= libyuv::kCpuHasAVX | libyuv::kCpuHasAVX2 | libyuv::kCpuHasFMA3 | libyuv::kCpuHasF16C;
    }
    if (target == HWY_SSSE3) {
        without |= libyuv::kCpuHasSSE41 | libyuv::kCpuHasSSE42;
    }
    return ~without;
#endif
}

// libyuv asks the kernel what an ARM processor can do, and the kernel under an emulator is another machine's.
void allowLibyuv(int flags) {
#if HWY_ARCH_ARM
    libyuv::SetCpuFlags(flags);
#else
    libyuv::MaskCpuFlags(flags);
#endif
}

// The machine's, the best first. Where the build has only one, Highway is not asked: a library for 32-bit
// ARM may have been built without NEON.
std::vector<Target> targets() {
    std::vector<Target> found;
    int64_t left = HWY_SUPPORTED_TARGETS & HWY_TARGETS & ~kTableTargets;
    for (; left != 0; left &= left - 1) {
        const int64_t target = left & -left;  // lower bits are better
        found.push_back({target, hwy::TargetName(target), libyuvFlags(target), found.empty()});
    }
    return found;
}

bool sameBytes(const Conversion& conversion, const Target& target) {
    FrameRing frame(conversion.sourceBytes, conversion.targetBytes, true);
    conversion.table(frame.source(0), frame.target(0));
    const std::vector<uint8_t> expected(frame.target(0), frame.target(0) + conversion.targetBytes);
    memset(frame.target(0), 0, conversion.targetBytes);
    hwy::SetSupportedTargetsForTest(target.highway);
    conversion.engine(frame.source(0), frame.target(0));
    return memcmp(expected.data(), frame.target(0), expected.size()) == 0;
}

struct Case {
    Subject subject;
    int width;
    int height;
    bool warm;
    Target target;
    double sampleSeconds;
};

void measure(benchmark::State& state, const Case& what) {
    const Conversion conversion = what.subject.make(what.width, what.height);
    if (!sameBytes(conversion, what.target)) {
        state.SkipWithError("the vectors do not give the table's bytes");
        return;
    }
    const FrameRing ring(conversion.sourceBytes, conversion.targetBytes, what.warm);
    std::vector<Rival> rivals;
    const auto add = [&](const char* name, const Convert& convert) {
        const Target& target = what.target;
        rivals.push_back({name,
                          [target] {
                              hwy::SetSupportedTargetsForTest(target.highway);
                              allowLibyuv(target.libyuv);
                          },
                          [convert, &ring](size_t number) {
                              convert(ring.source(number), ring.target(number));
                              benchmark::ClobberMemory();
                          }});
    };
    add("engine", conversion.engine);
    add("libyuv", conversion.libyuv);
    add("limit", conversion.limit);
    if (what.target.isBest) {
        add("table", conversion.table);
    }
    if (what.target.isBest && conversion.swscale) {
        add("swscale", conversion.swscale);
    }
    contest(state, rivals, what.sampleSeconds);
    hwy::SetSupportedTargetsForTest(0);
}

void registerCases(bool quick) {
    struct Size {
        int width;
        int height;
    };
    const std::vector<Size> sizes =
        quick ? std::vector<Size>{{1280, 720}}
              : std::vector<Size>{{640, 360}, {1280, 720}, {1920, 1080}, {3840, 2160}};
    for (const Subject& subject : subjects()) {
        for (const Size& size : sizes) {
            for (const bool warm : {true, false}) {
                for (const Target& target : targets()) {
                    if (quick && !warm && !target.isBest) {
                        continue;
                    }
                    const Case what{subject, size.width, size.height, warm, target, 0.001};
                    const std::string name = std::string(subject.name) + "/" + std::to_string(size.width) +
                                             "x" + std::to_string(size.height) +
                                             (warm ? "/warm/" : "/ring/") + target.name;
                    benchmark::RegisterBenchmark(name.c_str(),
                                                 [what](benchmark::State& state) { measure(state, what); })
                        ->Iterations(quick ? 11 : 25)
                        ->UseManualTime();
                }
            }
        }
    }
}

}  // namespace

}  // namespace zem::bench

int main(int argc, char** argv) {
    const bool quick = argc > 1 && strcmp(argv[1], "--quick") == 0;
    if (quick) {
        argv[1] = argv[0];
    }
    zem::bench::registerCases(quick);
    return zem::bench::runCases(argc - (quick ? 1 : 0), argv + (quick ? 1 : 0), "converters");
}
