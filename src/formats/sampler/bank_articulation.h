// The synthesis model that SoundFont 2 and DLS share, and how its values become articulation parameters.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "items/articulation.h"

namespace velor {

// The generators of SoundFont 2.04, section 8.1.2, which DLS has under other numbers.
namespace generator {

enum Number : std::uint8_t {
    StartOffset = 0,
    EndOffset = 1,
    LoopStartOffset = 2,
    LoopEndOffset = 3,
    StartCoarseOffset = 4,
    ModLfoToPitch = 5,
    VibLfoToPitch = 6,
    ModEnvToPitch = 7,
    Cutoff = 8,
    Resonance = 9,
    ModLfoToCutoff = 10,
    ModEnvToCutoff = 11,
    EndCoarseOffset = 12,
    ModLfoToVolume = 13,
    Chorus = 15,
    Reverb = 16,
    Pan = 17,
    ModLfoDelay = 21,
    ModLfoFrequency = 22,
    VibLfoDelay = 23,
    VibLfoFrequency = 24,
    ModEnvDelay = 25,  // six stages: delay, attack, hold, decay, sustain, release
    ModEnvAttack = 26,
    ModEnvHold = 27,
    ModEnvDecay = 28,
    ModEnvSustain = 29,
    ModEnvRelease = 30,
    KeyToModEnvHold = 31,
    KeyToModEnvDecay = 32,
    VolEnvDelay = 33,
    VolEnvAttack = 34,
    VolEnvHold = 35,
    VolEnvDecay = 36,
    VolEnvSustain = 37,
    VolEnvRelease = 38,
    KeyToVolEnvHold = 39,
    KeyToVolEnvDecay = 40,
    Instrument = 41,
    KeyRange = 43,
    VelocityRange = 44,
    LoopStartCoarseOffset = 45,
    ForcedKey = 46,
    ForcedVelocity = 47,
    Attenuation = 48,
    LoopEndCoarseOffset = 50,
    CoarseTune = 51,
    FineTune = 52,
    SampleId = 53,
    SampleModes = 54,
    ScaleTuning = 56,
    ExclusiveClass = 57,
    RootKey = 58,
};
inline constexpr std::size_t kCount = 61;

}  // namespace generator

// By generator, in the units of SoundFont 2: cents, centibels, timecents, tenths of a percent.
using GeneratorValues = std::array<double, generator::kCount>;

enum class BankSource : std::uint8_t {
    Constant,  // always 1
    Velocity,
    Key,
    ChannelPressure,
    PolyPressure,
    Wheel,
    Bend,           // amount: cents at a full bend
    BendOverRange,  // amount: cents at a full bend when the bend range were 127 semitones
    Volume,
    Expression,
    Pan,
    Reverb,
    Chorus,
    Other,
};

enum class SourceCurve : std::uint8_t { Linear, Concave, Convex, Switch };

// A controller that moves a generator.
struct BankModulation {
    BankSource source = BankSource::Other;
    SourceCurve curve = SourceCurve::Linear;
    bool falling = false;   // from 1 down to 0 as the controller goes up
    bool bipolar = false;   // -1..1 instead of 0..1
    bool absolute = false;  // the product without its sign
    std::uint8_t generator = 0;
    double amount = 0;  // in the generator's unit
};

// How well a parameter stands for a modulation.
enum class ModulationFit : std::uint8_t {
    Same,
    Straightened,  // its curve becomes a straight line
    None,
};
ModulationFit modulationFit(const BankModulation& modulation);

// One region of a bank.
struct BankVoice {
    GeneratorValues values{};
    double attenuationShare = 1;  // how much of the attenuation generator counts
    double envelopeRange = 100;   // dB that the decay and release times of the volume envelope stand for
    int rootKey = 60;
    double gain = 0;       // dB
    double shutdown = -1;  // seconds from full volume to silence when cut off; negative: the default
};

// Brings a tuning beyond the parameter's 4 octaves back into them by moving the root key, where the keys are
// tuned apart so that this comes to the same. Cymbals that are a sample five octaves down are made that way.
void foldTuning(BankVoice& voice);

// How often each parameter would have gone beyond its range.
using LimitedValues = std::array<std::uint32_t, kArticulationParameters>;
// "3 values are out of range and limited: P-LFO Frequency, …"; empty when there were none.
std::string limitedValuesText(const LimitedValues& limited);

// Sets what differs from the default articulation, limited to the parameters' ranges.
void setBankArticulation(const BankVoice& voice, std::span<const BankModulation> modulations,
                         Articulation& to, LimitedValues& limited);

// 2^(timecents / 1200) seconds; 0 from -12000 (a millisecond, the shortest that either standard means) down.
double secondsFromTimecents(double timecents);
// 0 cents is MIDI key 0, 8.1758 Hz.
double hertzFromCents(double cents);

}  // namespace velor
