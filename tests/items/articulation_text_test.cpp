#include "items/articulation_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "base/error.h"
#include "base/text.h"
#include "items/region_parameters.h"

namespace velor {
namespace {

namespace p = parameter;

TEST(ArticulationText, ShowsWhatASampleEditorShows) {
    const struct {
        std::uint16_t number;
        double value;
        const char* text;
    } cases[] = {
        {p::MasterVolume, 3, "+3.0 dB"},
        {p::MasterVolume, 0, "0.0 dB"},
        {p::MasterVolume, -0.001, "0.0 dB"},
        {p::MasterVolume, 0.375, "+0.38 dB"},
        {p::MasterTuning, 1, "+1 semitone"},
        {p::MasterTuning, -0.25, "-0.25 semitones"},
        {p::Cutoff, 8000, "8000 Hz"},
        {p::Cutoff, 440.123, "440.12 Hz"},
        {p::PLfo + p::lfo::Delay, 1.5, "1.5 s"},
        {p::VEnvelope + p::envelope::ShutdownRate, 0.015f, "15 ms"},
        {p::VEnvelope + p::envelope::Attack1Time, 0.9999999, "1 s"},
        {p::Eq1Mode + p::eq::Q, 0.71f, "x 0.71"},
        {p::PanPosition, -1, "-100.0 %"},
        {p::Send1, 0.5, "50.0 %"},
        {p::VEnvelope, 0.5, "-6.02 dB"},
        {p::VEnvelope, 0, "-inf dB"},
        {p::PEnvelope, -0.5, "-50.0 %"},
        {p::PLfo, 200, "shape 200"},
        {p::VEnvelope + p::envelope::ReleaseMode, 3, "ignore note-off + one-shot mode"},
        {p::Trigger, 17, "round-robin group 15"},
        {p::ExclusiveClass, 0, "none"},
        {p::RootKey, 60, "C4"},
        {p::Tuning, -12.5, "-12.5 cents"},
        {p::Looped, 1, "yes"},
        {p::LoopStart, 4294967295.0, "4294967295 frames"},
        {p::LoopEnd, 1, "1 frame"},
    };
    for (const auto& each : cases)
        EXPECT_EQ(parameterText(each.number, each.value), each.text) << each.number;
    EXPECT_EQ(parameterText(p::RootKey, 60, {true, 3}), "C3");
    EXPECT_EQ(parameterText(p::Cutoff, std::nan("")), "undefined");
}

TEST(ArticulationText, TakesWhatPeopleType) {
    const struct {
        std::uint16_t number;
        const char* text;
        double value;
    } cases[] = {
        {p::MasterVolume, "-6DB", -6},
        {p::MasterTuning, "+50 cents", 0.5},
        {p::MasterTuning, "7 st", 7},
        {p::Cutoff, "2.5 kHz", 2500},
        {p::PLfo + p::lfo::Delay, "0.25", 0.25},
        {p::PLfo + p::lfo::Delay, "250ms", 0.25},
        {p::Eq1Mode + p::eq::Q, "2x", 2},
        {p::PanPosition, "-100.0%", -1},
        {p::VEnvelope, "-inf", 0},
        {p::VEnvelope, "-20", 0.1},
        {p::FilterTypeCode, "LOW-PASS 24 db/oct", 3},
        {p::PLfo, "shape 4", 4},
        {p::VEnvelope + p::envelope::ReleaseMode, "One-shot mode | Ignore note-off", 3},
        {p::VEnvelope + p::envelope::ReleaseMode, "one-shot", 2},
        {p::RootKey, "f#-1", 6},
        {p::RootKey, "Bb3", 58},
        {p::RootKey, "Cb4", 59},
        {p::Looped, "true", 1},
        {p::Tuning, "2 semitones", 200},
        {p::LoopEnd, "16777217", 16777217},  // a float has no room for it
    };
    for (const auto& each : cases) {
        double value = -999;
        EXPECT_TRUE(parseParameter(each.number, each.text, value)) << each.text << ": " << LastErrorText;
        EXPECT_NEAR(value, each.value, 1e-12) << each.text;
    }
    const std::pair<std::uint16_t, const char*> wrong[] = {
        {p::MasterVolume, ""},
        {p::MasterVolume, "1,5"},
        {p::MasterVolume, "nan"},
        {p::MasterVolume, "-inf"},
        {p::MasterVolume, "+-3"},
        {p::MasterVolume, "1e999"},
        {p::VEnvelope, "inf"},
        {p::VEnvelope, "1e9"},
        {p::FilterTypeCode, "13"},
        {p::PLfo, "256"},
        {p::RootKey, "H3"},
        {p::RootKey, "128"},
        {p::LoopStart, "-1"},
        {p::ExclusiveClass, "128"},
        {p::VEnvelope + 25, "sustain"},
        {p::VEnvelope + 25, "4"},
        {134, "0"},
        {195, "0"},
    };
    for (const auto& [number, text] : wrong) {
        double value = -999;
        EXPECT_FALSE(parseParameter(number, text, value)) << number << ' ' << text;
        EXPECT_EQ(value, -999) << text;
        EXPECT_FALSE(LastErrorText.empty());
    }
}

// The largest difference between a value and what its text says, from the precision of its unit.
double allowedError(std::uint16_t number, double value) {
    const std::string_view unit = parameterUnit(number);
    if (unit == "code" || unit == "frames")
        return 0;
    if (unit == "dB" || unit == "semitones" || unit == "cents")
        return 0.00501;
    if (unit == "fraction")
        return 0.0000501;
    if (unit == "amplitude")
        return value * (std::pow(10, 0.00501 / 20) - 1);
    return std::max(1e-12, std::abs(value) * 0.0000501);
}

TEST(ArticulationText, EveryTextReadsBack) {
    std::mt19937 random(7);
    int checked = 0;
    for (std::uint16_t number = 0; number < 210; ++number) {
        if (!parameterExists(number))
            continue;
        double low = 0, high = 0;
        if (const ArticulationParameter* row = articulationParameter(number)) {
            low = static_cast<double>(row->minimum);
            high = row->kind == ParameterKind::ReleaseMode ? 3 : static_cast<double>(row->maximum);
        } else {
            low = regionParameterRow(number)->minimum;
            high = regionParameterRow(number)->maximum;
        }
        const bool whole = parameterUnit(number) == "code" || parameterUnit(number) == "frames";
        std::vector<double> values = {low, high};
        for (int i = 0; i < 200; ++i) {
            // Even over the range, and crowded around zero.
            const double share = std::uniform_real_distribution(0.0, 1.0)(random);
            const double value = i % 2 ? low + share * (high - low) : high * std::pow(share, 8);
            values.push_back(whole ? std::floor(value) : value);
        }
        for (const double value : values) {
            const std::string text = parameterText(number, value);
            double read = 0;
            ASSERT_TRUE(parseParameter(number, text, read)) << number << ": " << LastErrorText;
            EXPECT_NEAR(read, value, allowedError(number, value)) << number << ": " << text;
            EXPECT_EQ(parameterText(number, read), text) << number;
            // A choice's name may end in a unit's name; amounts read alike without theirs.
            if (const std::size_t blank = text.find(' ');
                !whole && !text.starts_with("x ") && !text.ends_with(" ms")) {
                double plain = 0;
                ASSERT_TRUE(parseParameter(number, text.substr(0, blank), plain)) << text;
                EXPECT_EQ(plain, read) << text;
            }
            ++checked;
        }
    }
    EXPECT_EQ(checked, (189 - 3 + 9) * 202);
}

TEST(ArticulationText, NamesFindTheirParameters) {
    int named = 0;
    for (int i = 0; i <= 65535; ++i) {
        const auto number = static_cast<std::uint16_t>(i);
        if (!parameterExists(number))
            continue;
        ++named;
        const std::string unique = uniqueParameterName(number);
        EXPECT_EQ(findParameter(unique), number) << unique;
        EXPECT_EQ(findParameter("#" + std::to_string(number)), number);
        const auto first = findParameter(lowerAscii(parameterName(number)));
        ASSERT_TRUE(first.has_value());
        EXPECT_LE(*first, number);
        EXPECT_EQ(*first == number, unique == parameterName(number)) << unique;
    }
    EXPECT_EQ(named, 189 - 3 + 9);
    EXPECT_EQ(findParameter("f-lfo WAVE shape"), 73);
    EXPECT_EQ(uniqueParameterName(73), "F-LFO Wave Shape");
    EXPECT_EQ(uniqueParameterName(77), "F-LFO Wave Shape #77");
    EXPECT_EQ(uniqueParameterName(63), "Send channel 3 level #63");
    EXPECT_EQ(uniqueParameterName(195), "#195");
    for (const char* wrong : {"", "#", "#134", "#195", "#208", "#65613", "#-1", "Volume", "Pan position #14"})
        EXPECT_FALSE(findParameter(wrong).has_value()) << wrong;
}

}  // namespace
}  // namespace velor
