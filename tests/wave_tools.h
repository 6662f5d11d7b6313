// Sounds to work on, made and real, and their samples to compare with.
#pragma once

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

// Benchmarks come here by real_notes.h, and have no include path to the tests.
#include "test_tools.h"

namespace velor::test {

inline std::vector<float> samplesOf(const Waveform& waveform) {
    return {waveform.samples().begin(), waveform.samples().end()};
}

inline std::vector<std::string> namesOf(const Collection& collection, ItemKind kind) {
    std::vector<std::string> names;
    for (const ItemId id : collection.list(kind))
        names.push_back(collection.find(id)->name());
    return names;
}

// The same sine on every channel; its period in frames.
inline std::vector<float> sine(std::size_t frames, double period, double level = 0.5, int channels = 1) {
    std::vector<float> samples;
    samples.reserve(frames * static_cast<std::size_t>(channels));
    for (std::size_t i = 0; i < frames; ++i) {
        const double value = level * std::sin(2 * std::numbers::pi * static_cast<double>(i) / period);
        samples.insert(samples.end(), static_cast<std::size_t>(channels), static_cast<float>(value));
    }
    return samples;
}

// White: every value between -level and level is as likely.
inline std::vector<float> noise(std::size_t count, unsigned seed, float level = 1) {
    std::mt19937 random(seed);
    std::vector<float> samples(count);
    for (float& sample : samples)
        sample = level * (static_cast<float>(random()) / 2147483648.0f - 1);
    return samples;
}

// A file as the program opens it, without a word. The current folder is kept, which opening moves.
inline bool openQuietly(Collection& collection, const std::filesystem::path& path) {
    const auto folder = std::filesystem::current_path();
    UserInterface quiet;
    PipelineServices services;
    services.ui = &quiet;
    const bool opened = std::filesystem::exists(path) && openFile(collection, path, false, services);
    std::filesystem::current_path(folder);
    return opened;
}
inline bool openBank(Collection& collection, const std::string& name) {
    return openQuietly(collection, std::filesystem::path("/usr/share/sounds/sf2") / name);
}
// The first waveform of a file, with its samples; nullptr when there is none.
inline Waveform* openWaveform(Collection& collection, const std::filesystem::path& path) {
    if (!openQuietly(collection, path) || collection.count(ItemKind::Waveform) == 0)
        return nullptr;
    Waveform* waveform = collection.all<Waveform>().front();
    return waveform->loadSamples() ? waveform : nullptr;
}

}  // namespace velor::test
