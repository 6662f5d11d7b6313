// One minute of speech through the ITU-T codecs.
#include "formats/core/codecs/g72x.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "formats/core/codecs/g722.h"

namespace velor {
namespace {

// A gliding tone with noise: both keep the adaptation busy.
std::vector<std::int16_t> minute(std::size_t rate) {
    std::mt19937 random(1);
    std::vector<std::int16_t> samples(60 * rate);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double t = static_cast<double>(i) / static_cast<double>(rate);
        samples[i] = static_cast<std::int16_t>(9000 * std::sin(t * (1200 + 90 * t)) +
                                               static_cast<double>(random() % 4000) - 2000);
    }
    return samples;
}

template <typename Encoder>
std::vector<Byte> encoded(const std::vector<std::int16_t>& samples, std::size_t codes, int width) {
    std::vector<Byte> bytes(static_cast<std::size_t>(packedSize(codes, width)));
    Encoder(width, CodePacking::HighBitsFirst).encode(samples, bytes);
    return bytes;
}

template <typename Decoder, typename Encoder, std::size_t perCode>
void decode(benchmark::State& state) {
    const auto width = static_cast<int>(state.range(0));
    auto samples = minute(8000 * perCode);
    const auto bytes = encoded<Encoder>(samples, samples.size() / perCode, width);
    for (auto _ : state) {
        Decoder(width, CodePacking::HighBitsFirst).decode(bytes, samples);
        benchmark::DoNotOptimize(samples.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples.size()));
}

template <typename Encoder, std::size_t perCode>
void encode(benchmark::State& state) {
    const auto width = static_cast<int>(state.range(0));
    const auto samples = minute(8000 * perCode);
    for (auto _ : state)
        benchmark::DoNotOptimize(encoded<Encoder>(samples, samples.size() / perCode, width).data());
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples.size()));
}

BENCHMARK(decode<G72xDecoder, G72xEncoder, 1>)
    ->Name("G.726 decode")
    ->DenseRange(2, 5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(encode<G72xEncoder, 1>)->Name("G.726 encode")->DenseRange(2, 5)->Unit(benchmark::kMillisecond);
BENCHMARK(decode<G722Decoder, G722Encoder, 2>)
    ->Name("G.722 decode")
    ->DenseRange(6, 8)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(encode<G722Encoder, 2>)->Name("G.722 encode")->DenseRange(6, 8)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velor
