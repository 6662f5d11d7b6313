// Resampling 44.1 to 48 kHz, stereo, by every method: frames out of memory and into it, on one thread.
#include "dsp/resampler.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "dsp/resampler_blocks.h"

namespace velor {
namespace {

constexpr std::size_t kFrames = 44100 * 20;

void resample(benchmark::State& state, double ratio) {
    std::vector<float> source(2 * kFrames);
    for (std::size_t i = 0; i < source.size(); ++i)
        source[i] = 0.5f * std::sin(0.01f * static_cast<float>(i % 100000));
    std::vector<float> out(2 * static_cast<std::size_t>(kFrames * ratio));
    const auto method = static_cast<std::uint8_t>(state.range(0));
    for (auto _ : state) {
        resampleFrames({source, 2, method, firLevelOf(method, 16), ratio}, out, nullptr, 1);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(out.size() / 2));
    state.SetLabel(kResampleMethodTexts[method]);
}

void upwards(benchmark::State& state) {
    resample(state, 48000.0 / 44100);
}
void downwards(benchmark::State& state) {
    resample(state, 44100.0 / 48000);
}
void half(benchmark::State& state) {
    resample(state, 0.5);
}
void irrational(benchmark::State& state) {
    resample(state, std::sqrt(2.0));
}
BENCHMARK(upwards)->DenseRange(0, 7)->Unit(benchmark::kMillisecond);
BENCHMARK(downwards)->DenseRange(5, 7)->Unit(benchmark::kMillisecond);
BENCHMARK(half)->DenseRange(5, 7)->Unit(benchmark::kMillisecond);
BENCHMARK(irrational)->DenseRange(5, 7)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velor
