// Stretching 20 s of stereo at 44.1 kHz: notes with drums, on one thread. sox_tempo runs the peer as a
// program on the same sound, its start and files included.
#include "dsp/time_stretch.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace velor {
namespace {

constexpr std::uint32_t kFrames = 44100 * 20;

std::vector<float> music() {
    std::vector<float> sound(2 * kFrames);
    std::mt19937 random(1);
    for (std::size_t i = 0; i < kFrames; ++i) {
        const double t = static_cast<double>(i) / 44100;
        const double beat = std::fmod(t, 0.25);
        double sum = 0;
        for (const double partial : {110.0, 220.0, 277.5, 330.0, 441.25, 882.0, 1764.0})
            sum += 0.06 * std::sin(6.283185307 * partial * t);
        const double noise = (static_cast<double>(random() % 2000) / 1000 - 1) * 0.4 * std::exp(-beat * 40);
        sound[2 * i] = static_cast<float>(sum + noise);
        sound[2 * i + 1] = static_cast<float>(0.7 * sum - noise);
    }
    return sound;
}

void stretch(benchmark::State& state, StretchMode mode) {
    Collection collection;
    Waveform* waveform = collection.create<Waveform>("music");
    const std::vector<float> sound = music();
    waveform->channels = 2;
    waveform->frames = kFrames;
    waveform->allocateSamples();
    std::copy(sound.begin(), sound.end(), waveform->samples().begin());
    UserInterface ui;
    for (auto _ : state) {
        const StretchedSound result = stretched(
            collection, *waveform, {.ratio = static_cast<double>(state.range(0)) / 100, .mode = mode}, ui);
        benchmark::DoNotOptimize(result.buffer.get());
    }
    // Frames of the source.
    state.SetItemsProcessed(state.iterations() * kFrames);
}

void music_mode(benchmark::State& state) {
    stretch(state, StretchMode::Music);
}
void solo_mode(benchmark::State& state) {
    stretch(state, StretchMode::Solo);
}

void sox_tempo(benchmark::State& state) {
    namespace fs = std::filesystem;
    const fs::path in = fs::temp_directory_path() / "velor-bench-in.f32";
    const fs::path out = fs::temp_directory_path() / "velor-bench-out.f32";
    const std::vector<float> sound = music();
    std::ofstream(in, std::ios::binary)
        .write(reinterpret_cast<const char*>(sound.data()), static_cast<std::streamsize>(sound.size() * 4));
    const std::string raw = " -t raw -e float -b 32 -r 44100 -c 2 ";
    const std::string command = "sox -V1" + raw + in.string() + raw + out.string() + " tempo -m " +
                                std::to_string(100.0 / static_cast<double>(state.range(0)));
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("no sox");
            break;
        }
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
    fs::remove(in);
    fs::remove(out);
}

BENCHMARK(music_mode)->Arg(50)->Arg(150)->Arg(400)->Unit(benchmark::kMillisecond);
BENCHMARK(solo_mode)->Arg(50)->Arg(150)->Arg(400)->Unit(benchmark::kMillisecond);
BENCHMARK(sox_tempo)->Arg(50)->Arg(150)->Arg(400)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velor
