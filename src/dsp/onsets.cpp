#include "dsp/onsets.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "dsp/fft.h"
#include "dsp/stretch_frames.h"

namespace velor {

namespace {

constexpr double kWindowSeconds = 0.016;  // about as long as the ear needs to tell two attacks apart
constexpr double kApartSeconds = 0.045;   // closer attacks are one
constexpr double kMedianSeconds = 0.15;   // on each side
// Of the spectrum; noise reaches some 0.25 by chance and steady tones next to nothing.
constexpr float kLeastFlux = 0.3f;
constexpr float kAboveMedian = 0.12f;
// What the level must rise by within some milliseconds: 3.5 dB.
constexpr double kLeastRise = 2.25;
// An attack is also louder than all that shortly preceded it, by 1.8 dB: so are neither the periods of a low
// note nor the beats of a chord.
constexpr double kLeastAbove = 1.5;
constexpr double kMemorySeconds = 0.045;
constexpr double kEndSeconds = 0.005;
// Rates above say nothing about time, and windows must not grow without bounds.
constexpr std::uint32_t kHighestRate = 1000000;

struct Flux {
    std::vector<float> values;  // one for each hop
    std::int64_t window = 0;
    std::int64_t hop = 0;
};

bool fluxOf(std::span<const float> frames, unsigned channels, std::uint32_t rate, UserInterface& ui,
            Flux& flux) {
    const auto wished = static_cast<std::uint64_t>(std::clamp(kWindowSeconds * rate, 64.0, 65536.0));
    flux.window = static_cast<std::int64_t>(std::bit_floor(wished));
    flux.hop = flux.window / 2;
    const auto size = static_cast<std::size_t>(flux.window);
    RealFft fft(size);
    std::vector<float> window(size), samples(size);
    for (std::size_t i = 0; i < size; ++i)
        window[i] =
            static_cast<float>(0.5 - 0.5 * std::cos(2 * 3.14159265358979324 * (static_cast<double>(i) + 0.5) /
                                                    static_cast<double>(size)));
    std::vector<RealFft::Complex> spectrum(fft.bins());
    std::vector<float> power(fft.bins()), now(fft.bins()), before(fft.bins());
    const auto count = static_cast<std::int64_t>(frames.size() / channels);
    for (std::int64_t at = -flux.window; at < count; at += flux.hop) {
        if (flux.values.size() % 32 == 0 && ui.aborted())
            return false;
        std::ranges::fill(power, 0.0f);
        for (unsigned channel = 0; channel < channels; ++channel) {
            readChannel(frames, channels, channel, at, samples);
            for (std::size_t i = 0; i < size; ++i)
                samples[i] *= window[i];
            fft.forward(samples, spectrum);
            for (std::size_t bin = 0; bin < power.size(); ++bin)
                power[bin] += std::norm(spectrum[bin]);
        }
        float sum = 0, rise = 0;
        for (std::size_t bin = 0; bin < power.size(); ++bin) {
            now[bin] = std::sqrt(std::sqrt(power[bin]));
            sum += now[bin];
            rise += std::max(0.0f, now[bin] - before[bin]);
        }
        // Windows of less than -100 dB hold no attack.
        const float floor = 1e-5f * static_cast<float>(size);
        flux.values.push_back(sum > std::sqrt(1e-5f) * floor ? rise / sum : 0.0f);
        now.swap(before);
    }
    return true;
}

// The energy of the differentiated samples, which shows attacks above loud low notes, frame by frame.
std::vector<double> sharpEnergy(std::span<const float> frames, unsigned channels, std::int64_t first,
                                std::size_t count) {
    std::vector<double> energy(count);
    std::vector<float> samples(count + 1);
    for (unsigned channel = 0; channel < channels; ++channel) {
        readChannel(frames, channels, channel, first - 1, samples);
        for (std::size_t i = 0; i < count; ++i) {
            const double step = double{samples[i + 1]} - double{samples[i]};
            energy[i] += step * step;
        }
    }
    return energy;
}

// Where within [first, first + count) the level rises most; false when it nowhere does as attacks do.
bool placeOnset(std::span<const float> frames, unsigned channels, std::uint32_t rate, std::int64_t first,
                std::size_t count, std::int64_t& place) {
    const auto before = std::max<std::size_t>(8, static_cast<std::size_t>(0.010 * rate));
    const auto after = std::max<std::size_t>(8, static_cast<std::size_t>(0.003 * rate));
    const auto memory = std::max(before, static_cast<std::size_t>(kMemorySeconds * rate));
    const auto start = first - static_cast<std::int64_t>(memory);
    const std::vector<double> energy = sharpEnergy(frames, channels, start, memory + count + after);
    std::vector<double> sums(energy.size() + 1);
    for (std::size_t i = 0; i < energy.size(); ++i)
        sums[i + 1] = sums[i] + energy[i];
    // Level of the `length` frames from or up to frame first + i.
    const auto from = [&](std::size_t i, std::size_t length) {
        return (sums[i + memory + length] - sums[i + memory]) / static_cast<double>(length);
    };
    const auto upTo = [&](std::size_t i, std::size_t length) {
        return (sums[i + memory] - sums[i + memory - length]) / static_cast<double>(length);
    };
    double loudest = 0;
    for (std::size_t i = 0; i < count; ++i)
        loudest = std::max(loudest, from(i, after));
    if (!(loudest > 0))
        return false;
    const auto riseAt = [&](std::size_t i) {
        const double now = from(i, after);
        return now < 0.25 * loudest ? 0.0 : now / (upTo(i, before) + 1e-4 * loudest);
    };
    double best = 0;
    std::size_t at = 0;
    for (std::size_t i = 0; i < count; ++i)
        best = std::max(best, riseAt(i));
    // The last of equally good places: where the window behind it begins with the attack.
    for (std::size_t i = 0; i < count; ++i) {
        if (riseAt(i) > 0.9 * best) {
            at = i;
            place = first + static_cast<std::int64_t>(i);
        }
    }
    double loudestBefore = 0;
    for (std::size_t i = after; i + after <= memory; ++i)
        loudestBefore =
            std::max(loudestBefore, (sums[at + i] - sums[at + i - after]) / static_cast<double>(after));
    double loudestBehind = 0;
    for (std::size_t i = at; i < count; ++i)
        loudestBehind = std::max(loudestBehind, from(i, after));
    return best >= kLeastRise && loudestBehind >= kLeastAbove * loudestBefore;
}

}  // namespace

bool findOnsets(std::span<const float> frames, unsigned channels, std::uint32_t rate, UserInterface& ui,
                std::vector<Onset>& onsets) {
    onsets.clear();
    const auto count = static_cast<std::int64_t>(frames.size() / channels);
    if (count == 0 || rate == 0)
        return true;
    rate = std::min(rate, kHighestRate);
    Flux flux;
    if (!fluxOf(frames, channels, rate, ui, flux))
        return false;
    const std::vector<float>& values = flux.values;
    const auto reach = std::max<std::size_t>(
        2, static_cast<std::size_t>(kMedianSeconds * rate / static_cast<double>(flux.hop)));
    const auto apart = static_cast<std::int64_t>(kApartSeconds * rate);
    std::vector<float> near;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i % 256 == 0 && ui.aborted())
            return false;
        const float value = values[i];
        if (value < kLeastFlux || (i > 0 && values[i - 1] > value) ||
            (i + 1 < values.size() && values[i + 1] >= value))
            continue;
        const std::size_t from = i > reach ? i - reach : 0;
        near.assign(values.begin() + static_cast<std::ptrdiff_t>(from),
                    values.begin() + static_cast<std::ptrdiff_t>(std::min(values.size(), i + reach + 1)));
        std::ranges::nth_element(near, near.begin() + static_cast<std::ptrdiff_t>(near.size() / 2));
        if (value < near[near.size() / 2] + kAboveMedian)
            continue;
        // The attack lies in what this window has and the one before has not or hardly.
        const std::int64_t first = static_cast<std::int64_t>(i) * flux.hop - flux.window + flux.hop / 2;
        Onset onset{0, value};
        if (!placeOnset(frames, channels, rate, first, static_cast<std::size_t>(flux.window), onset.frame))
            continue;
        // A little early: an attack must not lose its first half wave.
        onset.frame =
            std::clamp<std::int64_t>(onset.frame - static_cast<std::int64_t>(0.0005 * rate), 0, count);
        // A sound that is cut off is no attack.
        if (count - onset.frame < static_cast<std::int64_t>(kEndSeconds * rate))
            continue;
        if (!onsets.empty() && onset.frame - onsets.back().frame < apart) {
            if (onset.strength > onsets.back().strength)
                onsets.back() = onset;
            continue;
        }
        onsets.push_back(onset);
    }
    return true;
}

}  // namespace velor
