// GSM 06.10: one minute of 8000 Hz, encoded and decoded.
#include "formats/core/codecs/gsm610.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace velor::gsm610 {
namespace {

constexpr std::size_t kFrames = 60 * kSampleRate / kFrameSamples;

// Roughly speech: pulses of changing pitch through two resonances, with breath and pauses.
std::vector<std::int16_t> speech() {
    std::mt19937 random(1);
    std::vector<std::int16_t> samples(kFrames * kFrameSamples);
    double a1 = 0, a2 = 0, b1 = 0, b2 = 0, phase = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double t = static_cast<double>(i) / kSampleRate;
        const double loud = std::max(0.0, std::sin(2 * t) + 0.4);
        phase += (110 + 30 * std::sin(5 * t)) / kSampleRate;
        double drive = loud * 0.02 * (static_cast<double>(random() % 2001) / 1000 - 1);
        if (phase >= 1) {
            phase -= 1;
            drive += loud;
        }
        const double a = drive + (1.7 + 0.1 * std::sin(11 * t)) * a1 - 0.9 * a2;
        const double b = a + 0.6 * b1 - 0.8 * b2;
        a2 = std::exchange(a1, a);
        b2 = std::exchange(b1, b);
        samples[i] = static_cast<std::int16_t>(std::clamp(b * 2500, -32768.0, 32767.0));
    }
    return samples;
}

void finish(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kFrames * kFrameSamples));
}

void encode(benchmark::State& state) {
    const auto samples = speech();
    std::vector<Byte> bytes(kFrames * kFrameBytes);
    for (auto _ : state) {
        Encoder encoder;
        for (std::size_t i = 0; i < kFrames; ++i)
            encoder.encodeFrame(std::span(samples).subspan(i * kFrameSamples).first<kFrameSamples>(),
                                std::span(bytes).subspan(i * kFrameBytes).first<kFrameBytes>());
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
    finish(state);
}

void decode(benchmark::State& state) {
    const auto samples = speech();
    std::vector<Byte> bytes(kFrames * kFrameBytes);
    Encoder encoder;
    for (std::size_t i = 0; i < kFrames; ++i)
        encoder.encodeFrame(std::span(samples).subspan(i * kFrameSamples).first<kFrameSamples>(),
                            std::span(bytes).subspan(i * kFrameBytes).first<kFrameBytes>());
    std::vector<std::int16_t> decoded(samples.size());
    for (auto _ : state) {
        FramesDecoder().decode(bytes, decoded);
        benchmark::DoNotOptimize(decoded.data());
        benchmark::ClobberMemory();
    }
    finish(state);
}

BENCHMARK(encode)->Unit(benchmark::kMillisecond);
BENCHMARK(decode)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velor::gsm610
