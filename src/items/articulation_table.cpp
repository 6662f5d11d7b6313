#include "items/articulation_table.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace velor {

namespace {

using enum ParameterKind;
using enum ParameterUnit;

// clang-format off
// Pitch, volume, filter, equaliser, pan, sends and LFOs. The fourth LFO and the fourth send carry the names of
// the third ones: texts and files outside know them so.
constexpr ArticulationParameter kGeneral[] = {
    {0, Amount, Semitone, 0, 0, 0, -48, 48, "Master tuning Pitch adjustment", nullptr},
    {1, Amount, Semitone, 0, 0, 1, -12, 12, "Key to Pitch", "Semitones per key, centered on Root key"},
    {2, Amount, Semitone, 0, 0, 2, -96, 96, "Pitch bender to Pitch", nullptr},
    {3, Amount, Semitone, 0, 0, 0, -96, 96, "P-LFO to Pitch", nullptr},
    {4, Amount, Semitone, 0, 0, 0, -96, 96, "Mod wheel to P-LFO to Pitch", nullptr},
    {5, Amount, Semitone, 0, 0, 0, -96, 96, "Aftertouch to P-LFO to Pitch", nullptr},
    {6, Amount, Semitone, 0, 0, 0, -96, 96, "Velocity to P-LFO to Pitch", "Bipolar source"},
    {7, Amount, Semitone, 0, 0, 0, -96, 96, "X-LFO to Pitch", nullptr},
    {8, Amount, Semitone, 0, 0, 0, -96, 96, "Mod wheel to X-LFO to Pitch", nullptr},
    {9, Amount, Semitone, 0, 0, 0, -96, 96, "Aftertouch to X-LFO to Pitch", nullptr},
    {10, Amount, Semitone, 0, 0, 0, -96, 96, "Velocity to X-LFO to Pitch", "Bipolar source"},
    {11, Amount, Semitone, 0, 0, 0, -96, 96, "P-ENV to Pitch", nullptr},
    {12, Amount, Semitone, 0, 0, 0, -96, 96, "Velocity to P-ENV to Pitch", "Bipolar source"},
    {13, Amount, Semitone, 0, 0, 0, 0, 96, "Random to Pitch", "Bipolar source"},
    {14, Amount, Decibel, 0, 0, 0, -96, 96, "Master Volume adjustment", nullptr},
    {15, Amount, Decibel, 0, 0, 96, -96, 96, "Velocity to Volume", "Special transform, negative inverts range"},
    {16, Amount, Decibel, 0, 0, 0, -24, 24, "Key to Volume", "dB per octave, centered on mid-C"},
    {17, Amount, Decibel, 0, 0, 0, -96, 96, "Mod wheel to Volume", nullptr},
    {18, Amount, Decibel, 0, 0, 0, -96, 96, "Aftertouch to Volume", nullptr},
    {19, Amount, Decibel, 0, 0, 0, -96, 96, "V-LFO to Volume", nullptr},
    {20, Amount, Decibel, 0, 0, 0, -96, 96, "Mod wheel to V-LFO to Volume", nullptr},
    {21, Amount, Decibel, 0, 0, 0, -96, 96, "Aftertrouch to V-LFO to Volume", nullptr},
    {22, Amount, Decibel, 0, 0, 0, -96, 96, "Velocity to V-LFO to Volume", "Bipolar source"},
    {23, FilterType, None, 6, 0, 0, 0, 12, "Filter type", nullptr},
    {24, Frequency, Hertz, 4, 0, 8000, 8, 24000, "Filter Cutoff frequency", nullptr},
    {25, Amount, Semitone, 0, 0, 0, -128, 128, "Velocity to Filter Cutoff", "Bipolar source"},
    {26, Amount, Semitone, 0, 0, 0, -128, 128, "Key number to Filter Cutoff", "Centered on mid-C"},
    {27, Amount, Semitone, 0, 0, 0, -128, 128, "Mod wheel to Filter Cutoff", nullptr},
    {28, Amount, Semitone, 0, 0, 0, -128, 128, "Aftertouch to Filter Cutoff", nullptr},
    {29, Amount, Semitone, 0, 0, 0, -128, 128, "F-LFO to Filter Cutoff", nullptr},
    {30, Amount, Semitone, 0, 0, 0, -128, 128, "Mod wheel to F-LFO to Filter Cutoff", nullptr},
    {31, Amount, Semitone, 0, 0, 0, -128, 128, "Aftertouch to F-LFO to Filter Cutoff", nullptr},
    {32, Amount, Semitone, 0, 0, 0, -128, 128, "Velocity to F-LFO to Filter Cutoff", "Bipolar source"},
    {33, Amount, Semitone, 0, 0, 0, -128, 128, "F-ENV to Filter Cutoff", nullptr},
    {34, Amount, Semitone, 0, 0, 0, -128, 128, "Velocity to F-ENV to Filter Cutoff", "Bipolar source"},
    {35, Amount, Decibel, 4, 0, 0, -6, 96, "Filter Resonance peak height", nullptr},
    {36, Amount, Decibel, 0, 0, 0, -96, 96, "Velocity to Filter Resonance", nullptr},
    {37, Amount, Decibel, 0, 0, 0, -96, 96, "Mod wheel to Filter Resonance", nullptr},
    {38, Amount, Decibel, 0, 0, 0, -96, 96, "Aftertouch to Filter Resonance", nullptr},
    {39, EqMode, None, 4, 0, 0, 0, 2, "EQ 1 Mode", nullptr},
    {40, Frequency, Hertz, 4, 0, 120, 16, 24000, "EQ 1 center Frequency", nullptr},
    {41, Amount, Decibel, 4, 0, 0, -24, 24, "EQ 1 Gain", nullptr},
    {42, Amount, Factor, 4, 0, 0.71f, 0.01f, 10, "EQ 1 Q-value", "Band-width is a function of Center frequency / Q"},
    {43, EqMode, None, 4, 0, 0, 0, 2, "EQ 2 Mode", nullptr},
    {44, Frequency, Hertz, 4, 0, 800, 16, 24000, "EQ 2 center Frequency", nullptr},
    {45, Amount, Decibel, 4, 0, 0, -24, 24, "EQ 2 Gain", nullptr},
    {46, Amount, Factor, 4, 0, 0.71f, 0.01f, 10, "EQ 2 Q-value", "Band-width is a function of Center frequency / Q"},
    {47, EqMode, None, 4, 0, 0, 0, 2, "EQ 3 Mode", nullptr},
    {48, Frequency, Hertz, 4, 0, 5000, 16, 24000, "EQ 3 center Frequency", nullptr},
    {49, Amount, Decibel, 4, 0, 0, -24, 24, "EQ 3 Gain", nullptr},
    {50, Amount, Factor, 4, 0, 0.71f, 0.01f, 10, "EQ 3 Q-value", "Band-width is a function of Center frequency / Q"},
    {51, Fraction, Percent, 0, 0, 0, -1, 1, "Pan position", "-100.0% is full left | 0.0% is centered | +100.0% is full right"},
    {52, Fraction, Percent, 0, 0, 1, -1, 1, "CC10 to Pan position", nullptr},
    {53, Fraction, Percent, 0, 0, 0, -1, 1, "Key number to Pan position", "Per octave, centered on mid-C"},
    {54, Fraction, Percent, 0, 0, 0, -1, 1, "X-LFO to Pan position", nullptr},
    {55, Fraction, Percent, 0, 0, 0, -1, 1, "X-ENV to Pan position", nullptr},
    {56, Fraction, Percent, 0, 0, 0, 0, 1, "Random to Pan position", "Bipolar source"},
    {57, Fraction, Percent, 0, 0, 0, 0, 1, "Send channel 1 level", nullptr},
    {58, Fraction, Percent, 0, 0, 1, 0, 1, "CC91 to Send channel 1 level", nullptr},
    {59, Fraction, Percent, 0, 0, 0, 0, 1, "Send channel 2 level", nullptr},
    {60, Fraction, Percent, 0, 0, 1, 0, 1, "CC92 to Send channel 2 level", nullptr},
    {61, Fraction, Percent, 0, 0, 0, 0, 1, "Send channel 3 level", nullptr},
    {62, Fraction, Percent, 0, 0, 1, 0, 1, "CC93 to Send channel 3 level", nullptr},
    {63, Fraction, Percent, 0, 0, 0, 0, 1, "Send channel 3 level", nullptr},
    {64, Fraction, Percent, 0, 0, 1, 0, 1, "CC94 to Send channel 3 level", nullptr},
    {65, LfoShape, None, 4, 0, 0, 0, 255, "P-LFO Wave Shape", nullptr},
    {66, Time, Hertz, 0, 0, 5, 0.01f, 20, "P-LFO Frequency", nullptr},
    {67, Time, Second, 0, 0, 0, 0, 10, "P-LFO Delay Time", nullptr},
    {68, Time, Second, 0, 0, 0, 0, 100, "P-LFO Ramp/fade-in Time", nullptr},
    {69, LfoShape, None, 4, 0, 0, 0, 255, "V-LFO Wave Shape", nullptr},
    {70, Time, Hertz, 0, 0, 5, 0.01f, 20, "V-LFO Frequency", nullptr},
    {71, Time, Second, 0, 0, 0, 0, 10, "V-LFO Delay Time", nullptr},
    {72, Time, Second, 0, 0, 0, 0, 100, "V-LFO Ramp/fade-in Time", nullptr},
    {73, LfoShape, None, 4, 0, 0, 0, 255, "F-LFO Wave Shape", nullptr},
    {74, Time, Hertz, 0, 0, 5, 0.01f, 20, "F-LFO Frequency", nullptr},
    {75, Time, Second, 0, 0, 0, 0, 10, "F-LFO Delay Time", nullptr},
    {76, Time, Second, 0, 0, 0, 0, 100, "F-LFO Ramp/fade-in Time", nullptr},
    {77, LfoShape, None, 4, 0, 0, 0, 255, "F-LFO Wave Shape", nullptr},
    {78, Time, Hertz, 0, 0, 5, 0.01f, 20, "F-LFO Frequency", nullptr},
    {79, Time, Second, 0, 0, 0, 0, 10, "F-LFO Delay Time", nullptr},
    {80, Time, Second, 0, 0, 0, 0, 100, "F-LFO Ramp/fade-in Time", nullptr},
};

// The volume envelope without its prefix, numbered from its start. The other three have the same rows but for
// their levels, which are fractions from -1 to 1, and the last one.
constexpr ArticulationParameter kEnvelope[] = {
    {0, Level, Decibel, 12, 4004, 0, 0, 1, "Initial Level", nullptr},
    {1, Time, Second, 12, 4005, 0, 0, 100, "Attack 1 Time", nullptr},
    {2, Time, Factor, 8, 4020, 1, 0.015625f, 64, "Velocity to Attack 1 Time", "Time-quotient max/min velocity"},
    {3, Time, Factor, 8, 4026, 1, 0.25f, 4, "Key number to Attack 1 Time", "Time-multiplier per octave"},
    {4, Level, Decibel, 12, 4006, 0, 0, 1, "Attack 1 Level", nullptr},
    {5, Time, Second, 12, 4007, 0, 0, 100, "Attack 2 Time", nullptr},
    {6, Time, Factor, 8, 4021, 1, 0.015625f, 64, "Velocity to Attack 2 Time", "Time-quotient max/min velocity"},
    {7, Time, Factor, 8, 4027, 1, 0.25f, 4, "Key number to Attack 2 Time", "Time-multiplier per octave"},
    {8, Level, Decibel, 12, 4008, 1, 0, 1, "Attack 2 Level", nullptr},
    {9, Time, Second, 12, 4009, 0, 0, 100, "Decay 1 Time", nullptr},
    {10, Time, Factor, 8, 4022, 1, 0.015625f, 64, "Velocity to Decay 1 Time", "Time-quotient max/min velocity"},
    {11, Time, Factor, 8, 4028, 1, 0.25f, 4, "Key number to Decay 1 Time", "Time-multiplier per octave"},
    {12, Level, Decibel, 12, 4010, 1, 0, 1, "Decay 1 Level", nullptr},
    {13, Time, Second, 12, 4011, 0, 0, 100, "Decay 2 Time", nullptr},
    {14, Time, Factor, 8, 4023, 1, 0.015625f, 64, "Velocity to Decay 2 Time", "Time-quotient max/min velocity"},
    {15, Time, Factor, 8, 4029, 1, 0.25f, 4, "Key number to Decay 2 Time", "Time-multiplier per octave"},
    {16, Level, Decibel, 12, 4012, 1, 0, 1, "Sustain", "Decay 2 Level"},
    {17, Time, Second, 12, 4013, 0, 0, 100, "Release 1 Rate", "Note: Time = Rate * Delta-Level"},
    {18, Level, Decibel, 12, 4014, 0, 0, 1, "Release 1 Level", nullptr},
    {19, Time, Second, 12, 4015, 0, 0, 100, "Release 2 Time", nullptr},
    {20, Level, Decibel, 12, 4016, 0, 0, 1, "Release 2 Level", nullptr},
    {21, Time, Second, 12, 4017, 0, 0, 100, "Release 3 Time", nullptr},
    {22, Level, Decibel, 12, 4018, 0, 0, 1, "Release 3 Level", nullptr},
    {23, Time, Factor, 8, 4024, 1, 0.015625f, 64, "Velocity to total Release Time", "Time-quotient max/min velocity"},
    {24, Time, Factor, 8, 4030, 1, 0.25f, 4, "Key number to total Release Time", "Time-multiplier per octave"},
    {25, ReleaseMode, None, 14, 4032, 0, 0, 1, "Release Mode", "Ignore note-off | One-shot mode"},
    {26, Time, Second, 8, 0, 0.015f, 0, 100, "Shutdown Rate", "On note or key-exclusion, time from full volume to silent"},
};
// clang-format on

static_assert(std::size(kGeneral) == parameter::VEnvelope);
static_assert(std::size(kEnvelope) == parameter::envelope::Rows);

struct Table {
    std::array<ArticulationParameter, kArticulationParameters> rows{};
    std::array<std::string, 4 * parameter::envelope::Rows> names;
    ArticulationValues defaults{};

    Table() {
        std::uint16_t number = 0;
        for (const ArticulationParameter& row : kGeneral)
            rows[number++] = row;
        addEnvelope(number, "V-ENV ");
        addEnvelope(number, "P-ENV ");
        addEnvelope(number, "F-ENV ");
        addEnvelope(number, "X-ENV ");
        // The auxiliary envelope names both meanings of its sustain level and needs no help text.
        rows[parameter::XEnvelope + parameter::envelope::SustainLevel].name = "X-ENV Sustain | Decay 2 Level";
        rows[parameter::XEnvelope + parameter::envelope::SustainLevel].help = nullptr;
        for (const ArticulationParameter& row : rows)
            defaults[row.number] = row.defaultValue;
    }

    void addEnvelope(std::uint16_t& number, const char* prefix) {
        const bool volume = number == parameter::VEnvelope;
        for (const ArticulationParameter& model : kEnvelope) {
            ArticulationParameter& row = rows[number];
            if (volume || model.number != parameter::envelope::ShutdownRate) {
                row = model;
                std::string& name = names[number - parameter::VEnvelope];
                name = std::string(prefix) + model.name;
                row.name = name.c_str();
                if (!volume && row.kind == Level) {
                    row.kind = Fraction;
                    row.unit = Percent;
                    row.minimum = -1;
                }
            } else {
                row = {number, Separator, None, 0, 0, 0, 0, 0, "", nullptr};
            }
            row.number = number++;
        }
    }
};

const Table& table() {
    static const Table instance;
    return instance;
}

}  // namespace

const ArticulationParameter* articulationParameter(std::uint16_t number) {
    return number < kArticulationParameters ? &table().rows[number] : nullptr;
}

const ArticulationValues& defaultArticulation() {
    return table().defaults;
}

float limitedToRange(std::uint16_t number, float value) {
    const ArticulationParameter* row = articulationParameter(number);
    // The range of a release mode names one of its bits.
    if (!row || row->kind == ReleaseMode || row->kind == Separator)
        return value;
    return std::clamp(value, row->minimum, row->maximum);
}

Combination combination(std::uint16_t number) {
    const ArticulationParameter* row = articulationParameter(number);
    const bool depth = row && (row->kind == Amount || row->kind == Fraction);
    return depth && row->flags == 0 && row->defaultValue == 0 ? Combination::Sum : Combination::Override;
}

}  // namespace velor
