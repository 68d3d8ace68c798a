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

// The machine's, the best first.
std::vector<Target> targets() {
    std::vector<Target> found;
    for (const int64_t target : hwy::SupportedAndGeneratedTargets()) {
        if ((target & kTableTargets) == 0) {
            found.push_back({target, hwy::TargetName(target), libyuvFlags(target), found.empty()});
        }
    }
    if (found.empty()) {  // the build has only one, and nothing to choose at run time
        found.push_back(
            {HWY_STATIC_TARGET, hwy::TargetName(HWY_STATIC_TARGET), libyuvFlags(HWY_STATIC_TARGET), true});
    }
    return found;
}

// Looked up once, while no target is forced; 0 when there is none.
int64_t tableTarget() {
    static const int64_t table = [] {
        for (const int64_t target : hwy::SupportedAndGeneratedTargets()) {
            if ((target & kTableTargets) != 0) {
                return target;
            }
        }
        return int64_t{0};
    }();
    return table;
}

bool sameBytes(const Conversion& conversion, const Target& target) {
    FrameRing frame(conversion.sourceBytes, conversion.targetBytes, true);
    hwy::SetSupportedTargetsForTest(tableTarget());
    conversion.engine(frame.source(0), frame.target(0));
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
    if (tableTarget() != 0 && !sameBytes(conversion, what.target)) {
        state.SkipWithError("the vectors do not give the table's bytes");
        return;
    }
    const FrameRing ring(conversion.sourceBytes, conversion.targetBytes, what.warm);
    std::vector<Rival> rivals;
    const auto add = [&](const char* name, const Convert& convert, int64_t highway) {
        const int libyuv = what.target.libyuv;
        rivals.push_back({name,
                          [=] {
                              hwy::SetSupportedTargetsForTest(highway);
                              allowLibyuv(libyuv);
                          },
                          [convert, &ring](size_t number) {
                              convert(ring.source(number), ring.target(number));
                              benchmark::ClobberMemory();
                          }});
    };
    add("engine", conversion.engine, what.target.highway);
    add("libyuv", conversion.libyuv, what.target.highway);
    add("limit", conversion.limit, what.target.highway);
    if (what.target.isBest && tableTarget() != 0) {
        add("table", conversion.engine, tableTarget());
    }
    if (what.target.isBest && conversion.swscale) {
        add("swscale", conversion.swscale, what.target.highway);
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
