// Transforms of the sizes that the pitch detector uses.
#include "dsp/fft.h"

#include <benchmark/benchmark.h>

namespace velor {
namespace {

void complexFft(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    Fft fft(size);
    std::vector<Fft::Complex> data(size);
    for (std::size_t i = 0; i < size; ++i)
        data[i] = {static_cast<float>(i % 7) - 3, static_cast<float>(i % 5) - 2};
    for (auto _ : state) {
        fft.forward(data);
        fft.inverse(data);  // so that the values neither grow nor fade
        benchmark::DoNotOptimize(data.data());
    }
    state.SetItemsProcessed(2 * state.iterations() * state.range(0));
}
BENCHMARK(complexFft)->RangeMultiplier(4)->Range(256, 1 << 20);

void realFft(benchmark::State& state) {
    RealFft fft(static_cast<std::size_t>(state.range(0)));
    std::vector<float> samples(fft.size());
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<float>(i % 7) - 3;
    std::vector<RealFft::Complex> spectrum(fft.bins());
    for (auto _ : state) {
        fft.forward(samples, spectrum);
        benchmark::DoNotOptimize(spectrum.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(realFft)->RangeMultiplier(4)->Range(256, 1 << 20);

}  // namespace
}  // namespace velor
