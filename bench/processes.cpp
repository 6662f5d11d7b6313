// Every audio process with its defaults on ten minutes of stereo: how long it takes, and how long a user who
// wants to end it has to wait at worst. Loops and a selection are there, so that all processes have something
// to do.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <random>

#include "app/processing/catalogue.h"
#include "app/processing/runner.h"

namespace velor {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kRate = 44100;
constexpr std::uint32_t kFrames = 600 * kRate;

// Notes that begin and die away over noise, each channel a little different.
Waveform* addTenMinutes(Collection& collection) {
    auto* waveform = collection.create<Waveform>("ten minutes C3");
    waveform->channels = 2;
    waveform->sampleRate = kRate;
    waveform->frames = kFrames;
    float* to = waveform->allocateSamples();
    std::minstd_rand random(1);
    double phase = 0;
    double level = 0;
    for (std::uint32_t i = 0; i < kFrames; ++i) {
        if (i % (kRate / 2) == 0)
            level = 0.8;
        level *= 0.9999;
        phase += 0.02 + 0.001 * (i / kRate % 13);
        const double noise = 0.01 * (static_cast<double>(random()) / 1073741824.0 - 1);
        to[2 * i] = static_cast<float>(level * std::sin(phase) + noise);
        to[2 * i + 1] = static_cast<float>(0.7 * level * std::sin(phase + 0.3) - noise);
    }
    waveform->setLoop(LoopMode::Forward, kFrames / 3, 2 * (kFrames / 3));
    return waveform;
}

// Never ends anything; keeps the longest time between two questions whether to end.
class Watch : public UserInterface {
  public:
    bool aborted() override {
        const auto now = Clock::now();
        longest = std::max(longest, std::chrono::duration<double>(now - last).count());
        last = now;
        return false;
    }
    double longest = 0;
    Clock::time_point last = Clock::now();
};

void runOnTenMinutes(benchmark::State& state, const ProcessRow& row) {
    static Collection material;
    static const Waveform* source = addTenMinutes(material);
    Watch watch;
    for (auto _ : state) {
        state.PauseTiming();
        Collection collection;
        Waveform* waveform = collection.create<Waveform>(source->name());
        waveform->copyContentFrom(*source);
        ProcessContext context;
        context.collection = &collection;
        context.items = {waveform->id()};
        context.selection = FrameSelection{kFrames / 10, kFrames - kFrames / 10};
        ProcessSettings settings(row.process->parameters);
        for (const ProcessParameter& parameter : row.process->parameters) {
            if (parameter.kind == ProcessValueKind::Wave)
                settings.set(parameter.key, "#1");
            // What does nothing unless told to.
            for (const auto& [key, value] :
                 {std::pair{"gain", "-3"}, {"rate", "48000"}, {"ratio", "125"}, {"semitones", "3"}}) {
                if (parameter.key == std::string_view(key))
                    settings.set(key, value);
            }
        }
        state.ResumeTiming();
        watch.last = Clock::now();
        const ProcessRun run = runProcess(row, context, settings, watch);
        watch.aborted();
        state.PauseTiming();
        if (run.failed > 0)
            state.SetLabel(run.items.at(0).error);
        else
            state.SetLabel(run.changed > 0 ? "changed" : "unchanged");
        collection.clear();
        state.ResumeTiming();
    }
    state.counters["longest_wait_ms"] = 1000 * watch.longest;
}

const bool registered = [] {
    for (const ProcessRow& row : processCatalogue(ProcessFlavour::Audio)) {
        if (processBuilt(row))
            benchmark::RegisterBenchmark(processWord(row).c_str(),
                                         [&row](benchmark::State& state) { runOnTenMinutes(state, row); })
                ->Iterations(1)
                ->Unit(benchmark::kMillisecond)
                ->MeasureProcessCPUTime()
                ->UseRealTime();
    }
    return true;
}();

}  // namespace
}  // namespace velor
