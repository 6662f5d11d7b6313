// What an instrument plays, key by key and velocity by velocity, as a listener would tell it apart: which
// samples on which side, how loud, at which pitch, with which articulation and loop. To compare before and
// after an operation that must not be heard, however it rearranges layers and regions.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <unordered_map>

#include "base/hash.h"
#include "items/instrument_levels.h"
#include "items/region_loop.h"
#include "items/region_parameters.h"

namespace velor::test {

// One waveform on one side.
struct SideSound {
    std::uint64_t what = 0;  // samples, side, articulation, loop and triggers
    double cents = 0;        // pitch, from one sample rate to all others
    double level = 0;        // dB
    auto operator<=>(const SideSound&) const = default;
};

class Listener {
  public:
    // Told apart by their samples, or merely by where they come from, which does not decode large banks.
    explicit Listener(bool bySamples = true) : bySamples_(bySamples) {}

    static constexpr std::array<int, 12> kVelocities = {1, 10, 30, 50, 63, 64, 65, 80, 90, 100, 115, 127};
    using Sound = std::vector<std::vector<SideSound>>;  // by key and velocity

    Sound listen(const std::vector<const Instrument*>& instruments) {
        Sound sound(128 * kVelocities.size());
        for (const Instrument* instrument : instruments) {
            for (const Layer* layer : linkedItems<Layer>(*instrument)) {
                for (const Region* region : linkedItems<Region>(*layer))
                    add(*instrument, *layer, *region, sound);
            }
        }
        for (auto& each : sound)
            std::sort(each.begin(), each.end());
        return sound;
    }
    Sound listen(const Instrument& instrument) { return listen(std::vector<const Instrument*>{&instrument}); }
    // Everything at once.
    Sound listen(const Collection& collection) {
        const auto all = collection.all<Instrument>();
        return listen({all.begin(), all.end()});
    }
    // Instrument by instrument.
    std::vector<Sound> listenToEach(const Collection& collection) {
        std::vector<Sound> sounds;
        for (const Instrument* instrument : collection.all<Instrument>())
            sounds.push_back(listen(*instrument));
        return sounds;
    }

    static std::size_t voices(const Sound& sound) {
        std::size_t count = 0;
        for (const auto& each : sound)
            count += each.size();
        return count;
    }

  private:
    void add(const Instrument& instrument, const Layer& layer, const Region& region, Sound& sound) {
        Waveform* waveform = region.waveform();
        if (!waveform || waveform->frames == 0)
            return;
        const ArticulationValues values =
            resolveArticulation(&instrument.articulation, &layer.articulation, &region.articulation);
        const std::uint64_t articulation = hashOf(instrument, layer, region, values, *waveform);
        const double tuning =
            region.overrides.has(RegionOverrides::Tuning) ? region.overrides.tuning : waveform->tuningCents();
        const double volume = static_cast<double>(values[parameter::MasterVolume] + waveform->gain);
        const double angle = (static_cast<double>(values[parameter::PanPosition]) + 1) * std::numbers::pi / 4;
        for (int channel = 0; channel < waveform->channels; ++channel) {
            const std::uint64_t content = mix(articulation, samplesOf(*waveform, channel));
            for (int side = 0; side < 2; ++side) {
                double gain = side == 0 ? std::cos(angle) : std::sin(angle);
                if (waveform->channels == 2)
                    gain = channel == side ? std::min(1.0, gain * std::numbers::sqrt2) : 0;
                // The silent half of something panned to the other side; -96 dB is what regions can say.
                if (gain < 1e-4 || volume + 20 * std::log10(gain) < -80)
                    continue;
                for (int key = region.keys.low; key <= region.keys.high && key < 128; ++key) {
                    const double cents = 100.0 * (key - region.rootKey()) *
                                             static_cast<double>(values[parameter::KeyToPitch]) +
                                         100.0 * static_cast<double>(values[parameter::MasterTuning]) +
                                         tuning + 1200 * std::log2(std::max(1u, waveform->sampleRate));
                    for (std::size_t v = 0; v < kVelocities.size(); ++v) {
                        if (region.velocities.contains(kVelocities[v]))
                            sound[static_cast<std::size_t>(key) * kVelocities.size() + v].push_back(
                                {mix(content, static_cast<std::uint64_t>(side)), cents,
                                 volume + 20 * std::log10(gain)});
                    }
                }
            }
        }
    }

    static std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
        return (a ^ (b + 0x9E3779B97F4A7C15u + (a << 6) + (a >> 2))) * 0x100000001b3u;
    }

    // All that is not compared with a tolerance.
    static std::uint64_t hashOf(const Instrument& instrument, const Layer& layer, const Region& region,
                                const ArticulationValues& values, const Waveform& waveform) {
        std::uint64_t hash = 1;
        for (std::uint16_t number = 0; number < kArticulationParameters; ++number) {
            if (number == parameter::MasterVolume || number == parameter::PanPosition ||
                number == parameter::MasterTuning || number == parameter::KeyToPitch)
                continue;
            // Sums may round; files have no more than three digits behind the point.
            hash =
                mix(hash, std::hash<double>{}(std::floor(static_cast<double>(values[number]) * 1000 + 0.25)));
        }
        for (const auto number : {parameter::Trigger, parameter::PedalCondition, parameter::ExclusiveClass})
            hash = mix(hash, static_cast<std::uint64_t>(regionSetting(&instrument, &layer, region, number)));
        const RegionLoop loop = regionLoop(waveform, region.overrides);
        for (const double value : {loop.on ? 1.0 : 0.0, loop.start, loop.end, static_cast<double>(loop.mode),
                                   loop.untilRelease ? 1.0 : 0.0})
            hash = mix(hash, std::hash<double>{}(std::floor(value * 256)));
        return hash;
    }

    std::uint64_t samplesOf(Waveform& waveform, int channel) {
        if (!bySamples_) {
            const void* where = waveform.source() ? static_cast<const void*>(waveform.source().get())
                                                  : static_cast<const void*>(waveform.buffer().get());
            return reinterpret_cast<std::uintptr_t>(where) + static_cast<std::uint64_t>(channel);
        }
        EXPECT_TRUE(waveform.loadSamples());
        auto& known = hashes_[waveform.buffer().get()];
        if (known.buffer.get() == nullptr) {
            known.buffer = waveform.buffer();  // keeps the address from being used again
            const auto samples = std::as_const(waveform).samples();
            for (std::size_t side = 0; side < waveform.channels; ++side) {
                std::vector<float> plane;
                for (std::size_t i = side; i < samples.size(); i += waveform.channels)
                    plane.push_back(samples[i]);
                known.hash[side] = fnv1a64(
                    std::span(reinterpret_cast<const Byte*>(plane.data()), plane.size() * sizeof(float)));
            }
        }
        return known.hash[channel];
    }

    struct Known {
        SampleBufferRef buffer;
        std::uint64_t hash[2] = {};
    };
    bool bySamples_;
    std::unordered_map<const SampleBuffer*, Known> hashes_;
};

// Equal but for a hundredth of a cent and of a decibel.
inline void expectSameSound(const Listener::Sound& before, const Listener::Sound& after,
                            const std::string& what) {
    for (std::size_t i = 0; i < before.size(); ++i) {
        const auto& was = before[i];
        const auto& is = after[i];
        const auto place = [&] {
            return what + ", key " + std::to_string(i / Listener::kVelocities.size()) + " velocity " +
                   std::to_string(Listener::kVelocities[i % Listener::kVelocities.size()]);
        };
        ASSERT_EQ(was.size(), is.size()) << place();
        for (std::size_t j = 0; j < was.size(); ++j) {
            ASSERT_EQ(was[j].what, is[j].what) << place();
            ASSERT_NEAR(was[j].cents, is[j].cents, 0.01) << place();
            ASSERT_NEAR(was[j].level, is[j].level, 0.01) << place();
        }
    }
}

}  // namespace velor::test
