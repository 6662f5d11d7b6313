// Stored samples to floats and back, for the encodings that most files use.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "formats/framework/sample_conversion.h"

namespace velor {
namespace {

constexpr std::size_t kSamples = 1 << 16;  // what fits a level 2 cache, so the conversion is measured

struct Prepared {
    explicit Prepared(const benchmark::State& state)
        : layout{static_cast<SampleEncoding>(state.range(0)),
                 state.range(1) ? ByteOrder::Big : ByteOrder::Little, false},
          samples(kSamples),
          bytes(storedSize(layout.encoding, kSamples)) {
        for (std::size_t i = 0; i < kSamples; ++i)
            samples[i] = 0.9f * std::sin(0.01f * static_cast<float>(i));
        encodeSamples(layout, samples, bytes);
    }
    void finish(benchmark::State& state) const {
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kSamples));
        state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
        state.SetLabel(std::string(encodingName(layout.encoding)) +
                       (layout.order == ByteOrder::Big ? " big-endian" : ""));
    }
    SampleLayout layout;
    std::vector<float> samples;
    std::vector<Byte> bytes;
};

void decode(benchmark::State& state) {
    Prepared data(state);
    for (auto _ : state) {
        decodeSamples(data.layout, data.bytes, data.samples);
        benchmark::DoNotOptimize(data.samples.data());
        benchmark::ClobberMemory();
    }
    data.finish(state);
}

void encode(benchmark::State& state) {
    Prepared data(state);
    for (auto _ : state) {
        encodeSamples(data.layout, data.samples, data.bytes);
        benchmark::DoNotOptimize(data.bytes.data());
        benchmark::ClobberMemory();
    }
    data.finish(state);
}

void encodings(benchmark::internal::Benchmark* b) {
    for (const auto encoding : {SampleEncoding::Pcm8, SampleEncoding::Pcm16, SampleEncoding::Pcm24,
                                SampleEncoding::Pcm32, SampleEncoding::Float32, SampleEncoding::MuLaw})
        b->Args({static_cast<int>(encoding), 0});
    b->Args({static_cast<int>(SampleEncoding::Pcm16), 1});
    b->Args({static_cast<int>(SampleEncoding::Pcm24), 1});
}
BENCHMARK(decode)->Apply(encodings);
BENCHMARK(encode)->Apply(encodings);

}  // namespace
}  // namespace velor
