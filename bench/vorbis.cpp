// Measures the Vorbis codecs beside the library called directly: microseconds for one second of stereo.
//
// bench_vorbis [--quick] [options of Google Benchmark]
#include <algorithm>
#include <cmath>
#include <cstring>

#include "audio/vorbis_decoder.h"
#include "audio/vorbis_encoder.h"
#include "bench/contest.h"
#include "bench/plain_vorbis.h"

namespace zem::bench {

namespace {

constexpr int kRate = 44100;
constexpr int kChannels = 2;
constexpr int kBlockFrames = kRate / 50;  // 20 ms, about what the sound server gives at a time
constexpr size_t kBlocks = 50;            // one second
constexpr int kBlockBytes = kBlockFrames * 4;
constexpr size_t kStreamSeconds = 10;

// A chord that swells, with some noise.
std::vector<uint8_t> samples() {
    std::vector<uint8_t> bytes;
    uint32_t noise = 1;
    for (size_t i = 0; i < kBlocks * kBlockFrames; ++i) {
        const double t = static_cast<double>(i) / kRate;
        for (const double pitch : {1.0, 1.5}) {
            noise = noise * 1664525 + 1013904223;
            const double tone = std::sin(2764.6 * pitch * t) + std::sin(3455.8 * pitch * t);
            const double value = tone * (4000 + 3000 * std::sin(6.28 * t)) + (noise >> 24);
            const auto sample = static_cast<uint16_t>(static_cast<int16_t>(value));
            bytes.push_back(static_cast<uint8_t>(sample & 0xFF));
            bytes.push_back(static_cast<uint8_t>(sample >> 8));
        }
    }
    return bytes;
}

std::vector<uint8_t> gOut(1 << 20);

template <class Encoder>
std::vector<uint8_t> encodeSecond(Encoder& encoder, std::vector<uint8_t>& pcm) {
    std::vector<uint8_t> pages;
    for (size_t block = 0; block < kBlocks; ++block) {
        encoder.encode(pcm.data() + block * kBlockBytes, kBlockBytes);
        const int bytes = encoder.getData(gOut.data(), static_cast<int>(gOut.size()));
        pages.insert(pages.end(), gOut.data(), gOut.data() + bytes);
    }
    return pages;
}

// To the start of gOut; the bytes written.
template <class Decoder>
int decodeSecond(Decoder& decoder, std::vector<uint8_t>& pages) {
    int written = 0;
    for (size_t at = 0; at < pages.size(); at += 1024) {
        const size_t bytes = std::min<size_t>(1024, pages.size() - at);
        decoder.decode(pages.data() + at, static_cast<int>(bytes));
        written += decoder.getData(gOut.data() + written, static_cast<int>(gOut.size()) - written);
    }
    return written;
}

void encode(benchmark::State& state, double sampleSeconds) {
    std::vector<uint8_t> pcm = samples();
    VorbisEncoder engine;
    PlainVorbisEncoder plain(kChannels, kRate);
    engine.init(kChannels, kRate, 0);
    if (encodeSecond(engine, pcm) != encodeSecond(plain, pcm)) {
        state.SkipWithError("the two encoders do not write the same");
        return;
    }
    contest(state,
            {{"engine", {}, [&](size_t) { benchmark::DoNotOptimize(encodeSecond(engine, pcm)); }},
             {"libvorbis", {}, [&](size_t) { benchmark::DoNotOptimize(encodeSecond(plain, pcm)); }}},
            sampleSeconds);
}

void decode(benchmark::State& state, double sampleSeconds) {
    std::vector<uint8_t> pcm = samples();
    PlainVorbisEncoder encoder(kChannels, kRate);
    // A stream that begins anew at its end: its pages are numbered, but nobody minds a gap.
    std::vector<std::vector<uint8_t>> pages(kStreamSeconds);
    for (auto& second : pages) {
        second = encodeSecond(encoder, pcm);
    }
    VorbisDecoder engine;
    PlainVorbisDecoder plain(kChannels, kRate);
    engine.init(kChannels, kRate, 0);
    const int written = decodeSecond(engine, pages[0]);
    const std::vector<uint8_t> expected(gOut.data(), gOut.data() + written);
    if (written < kRate || decodeSecond(plain, pages[0]) != written ||
        !std::equal(expected.begin(), expected.end(), gOut.begin())) {
        state.SkipWithError("the two decoders do not write the same");
        return;
    }
    size_t at[2] = {1, 1};
    const auto next = [&](size_t rival) -> std::vector<uint8_t>& {
        return pages[at[rival]++ % pages.size()];
    };
    contest(state,
            {{"engine", {}, [&](size_t) { benchmark::DoNotOptimize(decodeSecond(engine, next(0))); }},
             {"libvorbis", {}, [&](size_t) { benchmark::DoNotOptimize(decodeSecond(plain, next(1))); }}},
            sampleSeconds);
}

}  // namespace

}  // namespace zem::bench

int main(int argc, char** argv) {
    const bool quick = argc > 1 && strcmp(argv[1], "--quick") == 0;
    if (quick) {
        argv[1] = argv[0];
    }
    const int rounds = quick ? 9 : 41;
    const double seconds = quick ? 0.01 : 0.05;
    const auto add = [&](const char* name, void (*measure)(benchmark::State&, double)) {
        benchmark::RegisterBenchmark(name, [=](benchmark::State& state) { measure(state, seconds); })
            ->Iterations(rounds)
            ->UseManualTime();
    };
    add("Vorbis encode, 1 s of stereo", zem::bench::encode);
    add("Vorbis decode, 1 s of stereo", zem::bench::decode);
    return zem::bench::runCases(argc - (quick ? 1 : 0), argv + (quick ? 1 : 0), "vorbis");
}
