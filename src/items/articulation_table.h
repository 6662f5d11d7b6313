// The articulation parameters: their numbers, kinds, units, ranges and names, and how the values that an
// instrument, its layer and its region set combine to the values that a voice plays.
#pragma once

#include <array>
#include <cstdint>

namespace velor {

// How a value is edited and shown.
enum class ParameterKind : std::uint8_t {
    Separator = 0,
    Amount = 2,  // signed modulation depth or adjustment
    Frequency = 3,
    Time = 5,      // time, rate or time factor
    Fraction = 6,  // -1..1
    Level = 8,     // 0..1, linear amplitude
    LfoShape = 15,
    ReleaseMode = 16,
    FilterType = 17,
    EqMode = 18,
};

enum class ParameterUnit : std::uint8_t {
    None = 0,
    Decibel = 1,
    Semitone = 2,
    Factor = 3,
    Percent = 4,  // a fraction shown as a percentage
    Hertz = 5,
    Second = 6,
};

struct ArticulationParameter {
    std::uint16_t number;
    ParameterKind kind;
    ParameterUnit unit;
    std::uint8_t flags;    // 4: a setting of its own, never an amount on top of another
    std::uint16_t textId;  // the same for corresponding rows of the four envelopes
    float defaultValue;
    float minimum;
    float maximum;
    const char* name;  // empty on separators
    const char* help;  // nullptr when there is none
};

inline constexpr std::uint16_t kArticulationParameters = 189;

// The row of a parameter, nullptr for numbers above 188.
const ArticulationParameter* articulationParameter(std::uint16_t number);

// The values that apply where nothing is set, by number.
using ArticulationValues = std::array<float, kArticulationParameters>;
const ArticulationValues& defaultArticulation();

// A value brought into the parameter's range. Release modes are sets of bits and stay as they are, like
// values of numbers above 188.
float limitedToRange(std::uint16_t number, float value);

// How the levels of an instrument combine. The values of instrument, layer and region are added when the
// parameter is an adjustment or a modulation depth whose neutral value is 0 (kinds Amount and Fraction,
// flags 0, default 0: tuning, volume, pan, every routing that is off by default). Everything else (filter,
// equaliser, LFO and envelope settings, and depths with a default of their own such as the pitch-bend range)
// takes the value of the lowest level that sets it. The result is limited to the parameter's range.
enum class Combination : std::uint8_t { Sum, Override };
Combination combination(std::uint16_t number);

// Parameter numbers.
namespace parameter {

enum Number : std::uint16_t {
    MasterTuning = 0,
    KeyToPitch = 1,
    BendToPitch = 2,
    PLfoToPitch = 3,
    WheelToPLfoToPitch = 4,
    PressureToPLfoToPitch = 5,
    VelocityToPLfoToPitch = 6,
    XLfoToPitch = 7,
    WheelToXLfoToPitch = 8,
    PressureToXLfoToPitch = 9,
    VelocityToXLfoToPitch = 10,
    PEnvToPitch = 11,
    VelocityToPEnvToPitch = 12,
    RandomToPitch = 13,
    MasterVolume = 14,
    VelocityToVolume = 15,
    KeyToVolume = 16,
    WheelToVolume = 17,
    PressureToVolume = 18,
    VLfoToVolume = 19,
    WheelToVLfoToVolume = 20,
    PressureToVLfoToVolume = 21,
    VelocityToVLfoToVolume = 22,
    FilterTypeCode = 23,
    Cutoff = 24,
    VelocityToCutoff = 25,
    KeyToCutoff = 26,
    WheelToCutoff = 27,
    PressureToCutoff = 28,
    FLfoToCutoff = 29,
    WheelToFLfoToCutoff = 30,
    PressureToFLfoToCutoff = 31,
    VelocityToFLfoToCutoff = 32,
    FEnvToCutoff = 33,
    VelocityToFEnvToCutoff = 34,
    Resonance = 35,
    VelocityToResonance = 36,
    WheelToResonance = 37,
    PressureToResonance = 38,
    Eq1Mode = 39,  // three bands of four: mode, frequency, gain, Q
    PanPosition = 51,
    Cc10ToPan = 52,
    KeyToPan = 53,
    XLfoToPan = 54,
    XEnvToPan = 55,
    RandomToPan = 56,
    Send1 = 57,  // reverb; four sends of two: own level, controller to level
    Cc91ToSend1 = 58,
    Send2 = 59,
    Cc92ToSend2 = 60,
    Send3 = 61,  // chorus
    Cc93ToSend3 = 62,
    Send4 = 63,
    Cc94ToSend4 = 64,
    PLfo = 65,  // four LFOs of four: shape, frequency, delay, fade-in
    VLfo = 69,
    FLfo = 73,
    XLfo = 77,
    VEnvelope = 81,  // start of the envelope blocks, rows by EnvelopeRow
    PEnvelope = 108,
    FEnvelope = 135,
    XEnvelope = 162,
};

// Rows of one LFO, counted from its start.
namespace lfo {
inline constexpr std::uint16_t Shape = 0, Frequency = 1, Delay = 2, FadeIn = 3;
}

// Rows of one equaliser band, counted from its mode.
namespace eq {
inline constexpr std::uint16_t Mode = 0, Frequency = 1, Gain = 2, Q = 3, Rows = 4;
}

// Rows of one envelope, counted from its start. Each of the first four times is followed by its velocity
// factor and its key factor.
namespace envelope {
inline constexpr std::uint16_t InitialLevel = 0;
inline constexpr std::uint16_t Attack1Time = 1, Attack1Level = 4;
inline constexpr std::uint16_t Attack2Time = 5, Attack2Level = 8;
inline constexpr std::uint16_t Decay1Time = 9, Decay1Level = 12;
inline constexpr std::uint16_t Decay2Time = 13, SustainLevel = 16;
inline constexpr std::uint16_t Release1Rate = 17, Release1Level = 18;
inline constexpr std::uint16_t Release2Time = 19, Release2Level = 20;
inline constexpr std::uint16_t Release3Time = 21, Release3Level = 22;
inline constexpr std::uint16_t VelocityToRelease = 23, KeyToRelease = 24;
inline constexpr std::uint16_t ReleaseMode = 25;
inline constexpr std::uint16_t ShutdownRate = 26;  // of the volume envelope only
inline constexpr std::uint16_t Rows = 27;
}  // namespace envelope

}  // namespace parameter

enum class LfoShape : std::uint8_t { Sine, Triangle, Square, SawDown, SawUp, Random };

// Low-pass, high-pass, band-pass and notch with their slopes (dB per octave, for the band-pass per side), a
// resonant peak, and an all-pass mixed with its input.
enum class FilterType : std::uint8_t {
    Off,
    LowPass6,
    LowPass12,
    LowPass24,
    HighPass6,
    HighPass12,
    HighPass24,
    BandPass6,
    BandPass12,
    Notch,
    DoubleNotch,
    Peak,
    Phaser,
};

enum class EqMode : std::uint8_t { Peak, LowShelf, HighShelf };

// Bits of an envelope's release mode.
enum ReleaseModeBit : std::uint8_t {
    kIgnoreNoteOff = 1,  // holds its sustain level whatever the key does
    kOneShot = 2,        // runs through all its segments without stopping at the sustain level
};

}  // namespace velor
