#include "formats/sampler/soundfont_zones.h"

#include <algorithm>
#include <cmath>

namespace velor {

namespace {

namespace gen = generator;

// More modulators than this in one zone are damage, not music; the rest is dropped.
constexpr std::size_t kMostModulators = 128;

// SoundFont 2.04, section 8.1.3. `inPresets`: presets may add to it.
struct Limits {
    int minimum = INT16_MIN;
    int maximum = INT16_MAX;
    int standard = 0;
    bool inPresets = false;
};

constexpr std::array<Limits, gen::kCount> makeLimits() {
    std::array<Limits, gen::kCount> limits{};
    const auto each = [&](std::initializer_list<int> numbers, Limits value) {
        for (const int number : numbers)
            limits[static_cast<std::size_t>(number)] = value;
    };
    each({gen::ModLfoToPitch, gen::VibLfoToPitch, gen::ModEnvToPitch, gen::ModLfoToCutoff,
          gen::ModEnvToCutoff},
         {-12000, 12000, 0, true});
    each({gen::Cutoff}, {1500, 13500, 13500, true});
    each({gen::Resonance}, {0, 960, 0, true});
    each({gen::ModLfoToVolume}, {-960, 960, 0, true});
    each({gen::Chorus, gen::Reverb}, {0, 1000, 0, true});
    each({gen::Pan}, {-500, 500, 0, true});
    each({gen::ModLfoDelay, gen::VibLfoDelay, gen::ModEnvDelay, gen::ModEnvHold, gen::VolEnvDelay,
          gen::VolEnvHold},
         {-12000, 5000, -12000, true});
    each({gen::ModEnvAttack, gen::ModEnvDecay, gen::ModEnvRelease, gen::VolEnvAttack, gen::VolEnvDecay,
          gen::VolEnvRelease},
         {-12000, 8000, -12000, true});
    each({gen::ModLfoFrequency, gen::VibLfoFrequency}, {-16000, 4500, 0, true});
    each({gen::ModEnvSustain}, {0, 1000, 0, true});
    each({gen::VolEnvSustain}, {0, 1440, 0, true});
    each({gen::KeyToModEnvHold, gen::KeyToModEnvDecay, gen::KeyToVolEnvHold, gen::KeyToVolEnvDecay},
         {-1200, 1200, 0, true});
    each({gen::ForcedKey, gen::ForcedVelocity, gen::RootKey}, {-1, 127, -1, false});
    each({gen::Attenuation}, {0, 1440, 0, true});
    each({gen::CoarseTune}, {-120, 120, 0, true});
    each({gen::FineTune}, {-99, 99, 0, true});
    each({gen::ScaleTuning}, {0, 1200, 100, true});
    each({gen::ExclusiveClass}, {0, 127, 0, false});
    return limits;
}
constexpr auto kLimits = makeLimits();

// Section 8.4. Not among them is the second one, velocity to cutoff by -2400 cents: hardware and players
// leave it out unless a bank asks for it, and banks are made with that in the ear.
constexpr SoundFontModulator kDefaults[] = {
    {0x0502, gen::Attenuation, 960, 0, 0},   // velocity
    {0x000D, gen::VibLfoToPitch, 50, 0, 0},  // channel pressure
    {0x0081, gen::VibLfoToPitch, 50, 0, 0},  // modulation wheel
    {0x0587, gen::Attenuation, 960, 0, 0},   // volume
    {0x058B, gen::Attenuation, 960, 0, 0},   // expression
    {0x028A, gen::Pan, 500, 0, 0},
    {0x00DB, gen::Reverb, 200, 0, 0},
    {0x00DD, gen::Chorus, 200, 0, 0},
    {0x020E, gen::FineTune, 12700, 0x0010, 0},  // pitch wheel by its range
};

BankSource controllerSource(unsigned controller) {
    switch (controller) {
        case 1:
            return BankSource::Wheel;
        case 7:
            return BankSource::Volume;
        case 10:
            return BankSource::Pan;
        case 11:
            return BankSource::Expression;
        case 91:
            return BankSource::Reverb;
        case 93:
            return BankSource::Chorus;
        default:
            return BankSource::Other;
    }
}

BankSource generalSource(unsigned index) {
    switch (index) {
        case 0:
            return BankSource::Constant;
        case 2:
            return BankSource::Velocity;
        case 3:
            return BankSource::Key;
        case 10:
            return BankSource::PolyPressure;
        case 13:
            return BankSource::ChannelPressure;
        case 14:
            return BankSource::Bend;
        default:
            return BankSource::Other;
    }
}

BankModulation toModulation(const SoundFontModulator& modulator) {
    constexpr std::uint16_t kBendRange = 0x0010;
    BankModulation result;
    // A product with "no controller", which is 1, is the other factor.
    std::uint16_t source = modulator.source;
    std::uint16_t factor = modulator.amountSource;
    if ((source & 0xFF) == 0)
        std::swap(source, factor);
    result.curve = static_cast<SourceCurve>(source >> 10 & 3);
    result.falling = source & 0x100;
    result.bipolar = source & 0x200;
    result.absolute = modulator.transform == 2;
    result.amount = modulator.amount;
    result.generator =
        modulator.destination < gen::kCount ? static_cast<std::uint8_t>(modulator.destination) : 0xFF;
    const bool known = source >> 12 == 0 && (modulator.transform == 0 || modulator.transform == 2);
    if (!known)
        return result;
    result.source = source & 0x80 ? controllerSource(source & 0x7F) : generalSource(source & 0x7F);
    if (result.source == BankSource::Bend && factor == kBendRange)
        result.source = BankSource::BendOverRange;
    else if ((factor & 0xFF) != 0)
        result.source = BankSource::Other;
    // The text of the standard gives both numbers for the whole way of the pan controller.
    if (result.source == BankSource::Pan)
        result.amount = std::clamp(result.amount, -500.0, 500.0);
    return result;
}

void replaceOrAdd(std::vector<SoundFontModulator>& list, const SoundFontModulator& modulator) {
    const auto found = std::find_if(list.begin(), list.end(), [&](const SoundFontModulator& each) {
        return each.sameConnection(modulator);
    });
    if (found != list.end())
        found->amount = modulator.amount;
    else if (list.size() < kMostModulators)
        list.push_back(modulator);
}

}  // namespace

SoundFontZones::SoundFontZones(const SoundFontRecords& records) : presetLevel_(&records.presets) {
    SoundFontPart instrument;
    for (std::size_t number = 0; number < kLimits.size(); ++number)
        instrument.values[number] = static_cast<std::int16_t>(kLimits[number].standard);
    if (records.hasDefaultModulators) {
        for (const SoundFontModulator& each : records.defaultModulators)
            replaceOrAdd(instrument.modulators, each);
    } else {
        instrument.modulators.assign(std::begin(kDefaults), std::end(kDefaults));
    }
    readLevel(records.instruments, gen::SampleId, instrument, instruments_);
    readLevel(records.presets, gen::Instrument, SoundFontPart{}, presets_);
}

void SoundFontZones::addModulators(const SoundFontLevel& from, const SoundFontZone& zone,
                                   std::vector<SoundFontModulator>& to) {
    for (std::uint32_t i = zone.modulators.begin; i < zone.modulators.end; ++i) {
        const SoundFontModulator& modulator = from.modulators[i];
        replaceOrAdd(to, modulator);
        BankModulation meaning = toModulation(modulator);
        if (&from == presetLevel_)
            meaning.amount = std::fabs(meaning.amount);  // it may take away from the instrument's
        const ModulationFit fit = modulationFit(meaning);
        const bool builtIn = meaning.source == BankSource::Volume || meaning.source == BankSource::Expression;
        if (fit == ModulationFit::None && (modulator.amount != 0 || builtIn))
            ++unplayed_;
        else if (fit == ModulationFit::Straightened && modulator.amount != 0)
            ++straightened_;
    }
}

void SoundFontZones::readLevel(const SoundFontLevel& from, std::uint8_t targetGenerator,
                               const SoundFontPart& start, Level& to) {
    const bool presets = targetGenerator == gen::Instrument;
    to.owners.resize(from.headers.size());
    for (std::size_t owner = 0; owner < from.headers.size(); ++owner) {
        const SoundFontRange range = from.headers[owner].zones;
        SoundFontPart global = start;
        to.owners[owner].begin = static_cast<std::uint32_t>(to.parts.size());
        for (std::uint32_t index = range.begin; index < range.end; ++index) {
            const SoundFontZone& zone = from.zones[index];
            SoundFontPart part = global;
            bool complete = false;
            bool sounds = true;
            for (std::uint32_t i = zone.generators.begin; i < zone.generators.end && !complete; ++i) {
                const SoundFontGenerator& generator = from.generators[i];
                const auto range8 = [&] {
                    sounds = sounds && generator.low() <= generator.high() && generator.low() <= 127;
                    return MidiRange{generator.low(), std::min<std::uint8_t>(generator.high(), 127)};
                };
                if (generator.number == targetGenerator) {
                    part.target = generator.amount;
                    complete = true;  // what follows it does not count
                } else if (generator.number == gen::KeyRange) {
                    part.keys = range8();
                } else if (generator.number == gen::VelocityRange) {
                    part.velocities = range8();
                } else if (generator.number < gen::kCount &&
                           (!presets || kLimits[generator.number].inPresets)) {
                    part.values[generator.number] = generator.value();
                }
            }
            addModulators(from, zone, part.modulators);
            if (complete && sounds)
                to.parts.push_back(std::move(part));
            else if (!complete && index == range.begin)
                global = std::move(part);
        }
        to.owners[owner].end = static_cast<std::uint32_t>(to.parts.size());
    }
}

GeneratorValues joinedValues(const SoundFontPart& preset, const SoundFontPart& instrument) {
    GeneratorValues values;
    for (std::size_t number = 0; number < values.size(); ++number)
        values[number] = std::clamp(preset.values[number] + instrument.values[number],
                                    kLimits[number].minimum, kLimits[number].maximum);
    return values;
}

void joinModulators(const SoundFontPart& preset, const SoundFontPart& instrument,
                    std::vector<BankModulation>& joined) {
    joined.clear();
    std::vector<SoundFontModulator> all = instrument.modulators;
    for (const SoundFontModulator& modulator : preset.modulators) {
        const auto same = std::find_if(all.begin(), all.end(), [&](const SoundFontModulator& each) {
            return each.sameConnection(modulator);
        });
        if (same == all.end())
            all.push_back(modulator);
        else
            same->amount = static_cast<std::int16_t>(
                std::clamp<int>(same->amount + modulator.amount, INT16_MIN, INT16_MAX));
    }
    for (const SoundFontModulator& modulator : all)
        joined.push_back(toModulation(modulator));
}

}  // namespace velor
