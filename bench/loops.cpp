// The pitch detector and the loop finder on waveforms of a minute and of ten, and how long they keep the user
// waiting who stops them.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <random>

#include "dsp/loop_finder.h"
#include "dsp/pitch.h"
#include "items/collection.h"

namespace velor {
namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point then) {
    return std::chrono::duration<double>(Clock::now() - then).count();
}

enum Kind { Tone, Noise };

Waveform& make(Collection& collection, int kind, double seconds) {
    Waveform& waveform = *collection.create<Waveform>("bench");
    waveform.channels = 2;
    waveform.frames = static_cast<std::uint32_t>(seconds * waveform.sampleRate);
    waveform.allocateSamples();
    std::mt19937 random(1);
    for (std::size_t i = 0; i < waveform.samples().size(); ++i) {
        const double turn = 0.03 * static_cast<double>(i / 2);
        waveform.samples()[i] = kind == Noise
                                    ? static_cast<float>(random() % 20001) / 20000 - 0.5f
                                    : static_cast<float>(0.3 * std::sin(turn) +
                                                         0.2 * std::sin(2 * turn + 1 + 1e-6 * turn * turn));
    }
    return waveform;
}

void pitch(benchmark::State& state) {
    Collection collection;
    Waveform& waveform = make(collection, Tone, static_cast<double>(state.range(0)));
    for (auto _ : state) {
        DetectedPitch found;
        benchmark::DoNotOptimize(detectPitch(waveform, found));
    }
}
BENCHMARK(pitch)->Arg(1)->Arg(60)->Unit(benchmark::kMillisecond);

// Says yes after some seconds, and measures how long the finder takes to notice.
class Impatient : public UserInterface {
  public:
    explicit Impatient(double patience) : patience_(patience) {}
    bool aborted() override {
        const double now = secondsSince(start_);
        longestWait = std::max(longestWait, now - last_);
        last_ = now;
        return now > patience_;
    }
    double atReturn() const { return std::max(longestWait, secondsSince(start_) - last_); }
    double longestWait = 0;

  private:
    Clock::time_point start_ = Clock::now();
    double patience_;
    double last_ = 0;
};

void findLoops(benchmark::State& state) {
    Collection collection;
    Waveform& waveform =
        make(collection, static_cast<int>(state.range(0)), static_cast<double>(state.range(1)));
    const SampleBufferRef samples = waveform.buffer();
    double wait = 0;
    for (auto _ : state) {
        Impatient user(20);
        findLoop(waveform, {.highPass = true, .crossfade = true, .cutAfterEnd = true}, user);
        wait = std::max(wait, user.atReturn());
        state.PauseTiming();
        waveform.installBuffer(samples);
        state.ResumeTiming();
    }
    state.counters["longest_wait_s"] = wait;
}
BENCHMARK(findLoops)
    ->ArgsProduct({{Tone, Noise}, {10, 600}})
    ->ArgNames({"noise", "seconds"})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velor
