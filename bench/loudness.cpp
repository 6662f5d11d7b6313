// Measuring levels and filtering one minute of stereo sound at 48 kHz, on one thread.
#include "dsp/loudness.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "dsp/filter_design.h"
#include "dsp/level.h"
#include "dsp/true_peak.h"
#include "dsp/waveform_filter.h"

namespace velor {
namespace {

constexpr std::size_t kFrames = 48000 * 60;

// A tone with noise: no passage is quiet enough to be passed over.
std::vector<float> sound() {
    std::vector<float> samples(2 * kFrames);
    std::uint32_t random = 1;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        random = random * 1664525u + 1013904223u;
        samples[i] = 0.4f * std::sin(0.03f * static_cast<float>(i / 2 % 100000)) +
                     0.2f * static_cast<float>(random >> 8) / 16777216.0f;
    }
    return samples;
}

template <typename Measure>
void measure(benchmark::State& state, Measure work) {
    std::vector<float> samples = sound();
    for (auto _ : state) {
        benchmark::DoNotOptimize(work(samples));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kFrames));
}

void peak(benchmark::State& state) {
    measure(state, [](std::vector<float>& samples) { return peakOf(samples); });
}
void truePeak(benchmark::State& state) {
    measure(state, [](std::vector<float>& samples) {
        UserInterface ui;
        float found = 0;
        measureTruePeak(samples, 2, ui, found);
        return found;
    });
}
void loudness(benchmark::State& state) {
    measure(state, [](std::vector<float>& samples) {
        LoudnessMeter meter(2, 48000);
        meter.add(samples);
        return meter.result().integrated;
    });
}
void butterworth(benchmark::State& state) {
    const WaveformFilter filter{.sections = designButterworth(
                                    FilterKind::LowPass, static_cast<unsigned>(state.range(0)), 8000, 48000),
                                .zeroPhase = state.range(1) != 0};
    measure(state, [&](std::vector<float>& samples) {
        UserInterface ui;
        return filterFrames(samples, 2, filter, ui);
    });
}
BENCHMARK(peak)->Unit(benchmark::kMillisecond);
BENCHMARK(truePeak)->Unit(benchmark::kMillisecond);
BENCHMARK(loudness)->Unit(benchmark::kMillisecond);
BENCHMARK(butterworth)
    ->ArgNames({"order", "zero phase"})
    ->Args({2, 0})
    ->Args({4, 0})
    ->Args({8, 0})
    ->Args({4, 1})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velor
