// Small instruments for the synthesizer's tests, and measurements of what it plays.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

#include "base/error.h"
#include "items/collection.h"
#include "items/region_parameters.h"
#include "synth/engine.h"

namespace velor {

inline constexpr std::uint32_t kTestRate = 48000;

// A collection with waveforms and instruments made on the spot.
struct SynthFixture {
    Collection collection;

    // A looped sine of whole periods: 100 frames each, 480 Hz at 48000 Hz, amplitude 0.5.
    Waveform& sine(int rootKey = 60) {
        Waveform& wave = *collection.create<Waveform>("sine");
        wave.sampleRate = kTestRate;
        wave.channels = 1;
        wave.bits = 32;
        wave.format = SampleFormat::Float32;
        wave.rootKey = static_cast<std::uint8_t>(rootKey);
        fill(wave, 4800, [](int i) { return 0.5 * std::sin(2 * std::numbers::pi * i / 100); });
        wave.setLoop(LoopMode::Forward, 0, 4800);
        return wave;
    }
    template <typename Signal>
    static void fill(Waveform& wave, std::uint32_t frames, Signal signal) {
        wave.frames = frames;
        float* samples = wave.allocateSamples();
        for (std::uint32_t i = 0; i < frames; ++i)
            samples[i] = static_cast<float>(signal(static_cast<int>(i)));
    }
    Instrument& instrument(PatchNumber patch = {}) {
        Instrument& made = *collection.create<Instrument>("instrument");
        made.patch = patch;
        Layer& layer = *collection.create<Layer>("layer");
        made.links.add(layer.id());
        return made;
    }
    Region& region(Instrument& of, Waveform& wave) {
        Region& made = *collection.create<Region>("region");
        made.links.add(wave.id());
        collection.find<Layer>(of.links[0])->links.add(made.id());
        return made;
    }
};

// One instrument of one looped sine over all keys, on channel 0.
struct OneSine : testing::Test {
    SynthFixture items;
    Instrument& instrument = items.instrument();
    Waveform& wave = items.sine();
    Region& region = items.region(instrument, wave);
    SynthOptions options{1, false, false};

    std::unique_ptr<SynthEngine> engine(std::uint32_t polyphony = 32, std::uint32_t channels = 16) {
        auto made = std::make_unique<SynthEngine>(channels, polyphony, kTestRate, 1.0f, options);
        EXPECT_TRUE(made->loadInstrument(instrument, false)) << LastErrorText;
        return made;
    }
};

// Seconds of interleaved stereo sound.
inline std::vector<float> play(SynthEngine& engine, double seconds) {
    std::vector<float> out(2 * static_cast<std::size_t>(seconds * engine.sampleRate()));
    engine.render(out.data(), static_cast<std::uint32_t>(out.size() / 2), 2);
    return out;
}

inline void send(SynthEngine& engine, unsigned status, unsigned data1, unsigned data2 = 0,
                 unsigned port = 0) {
    engine.queueEvent(MidiMessage(status, data1, data2, port), 0);
}

inline double rms(const std::vector<float>& stereo, int side, std::size_t from = 0) {
    double sum = 0;
    std::size_t count = 0;
    for (std::size_t i = 2 * from + static_cast<std::size_t>(side); i < stereo.size(); i += 2, ++count)
        sum += double{stereo[i]} * stereo[i];
    return count ? std::sqrt(sum / static_cast<double>(count)) : 0;
}

inline double decibels(double gain) {
    return 20 * std::log10(std::max(gain, 1e-12));
}

// Frequency of a sine in Hz, by its rising zero crossings from `from` on.
inline double frequency(const std::vector<float>& stereo, std::size_t from = 2400, double rate = kTestRate) {
    double first = -1;
    double last = -1;
    int periods = -1;
    for (std::size_t i = from; i + 1 < stereo.size() / 2; ++i) {
        const double a = stereo[2 * i];
        const double b = stereo[2 * i + 2];
        if (!(a < 0 && b >= 0))
            continue;
        last = static_cast<double>(i) - a / (b - a);
        if (first < 0)
            first = last;
        ++periods;
    }
    return periods > 0 ? periods * rate / (last - first) : 0;
}

inline double semitones(double ratio) {
    return 12 * std::log2(ratio);
}

}  // namespace velor
