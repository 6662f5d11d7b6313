#include "items/articulation_table.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>

#include "items/articulation.h"

namespace velor {
namespace {

using enum ParameterKind;
namespace p = parameter;

constexpr std::uint16_t kEnvelopeStarts[] = {p::VEnvelope, p::PEnvelope, p::FEnvelope, p::XEnvelope};
constexpr const char* kPrefixes[] = {"V-ENV ", "P-ENV ", "F-ENV ", "X-ENV "};

TEST(ArticulationTable, EveryRowIsSound) {
    std::set<int> separators;
    for (std::uint16_t number = 0; number < kArticulationParameters; ++number) {
        const ArticulationParameter* row = articulationParameter(number);
        ASSERT_NE(row, nullptr);
        SCOPED_TRACE(testing::Message() << number << ' ' << row->name);
        EXPECT_EQ(row->number, number);
        EXPECT_EQ(defaultArticulation()[number], row->defaultValue);
        EXPECT_TRUE(std::set<int>({0, 4, 6, 8, 12, 14}).contains(row->flags));
        if (row->kind == Separator) {
            separators.insert(number);
            EXPECT_STREQ(row->name, "");
            EXPECT_EQ(row->help, nullptr);
            EXPECT_EQ(row->minimum, row->maximum);
            continue;
        }
        EXPECT_NE(std::string(row->name), "");
        EXPECT_LT(row->minimum, row->maximum);
        EXPECT_LE(row->minimum, row->defaultValue);
        EXPECT_GE(row->maximum, row->defaultValue);
        // Codes have no unit, everything else has one.
        const bool code = row->kind == LfoShape || row->kind == ReleaseMode || row->kind == FilterType ||
                          row->kind == EqMode;
        EXPECT_EQ(row->unit == ParameterUnit::None, code);
        EXPECT_EQ(row->kind == Fraction, row->unit == ParameterUnit::Percent);
        if (row->kind == Amount && row->minimum < 0 && row->flags == 0) {
            EXPECT_EQ(row->minimum, -row->maximum) << "amounts go as far down as up";
        }
    }
    EXPECT_EQ(separators, (std::set<int>{134, 161, 188}));
    EXPECT_EQ(articulationParameter(189), nullptr);
    EXPECT_EQ(articulationParameter(65535), nullptr);
}

TEST(ArticulationTable, EnvelopesHaveOneShape) {
    for (std::size_t block = 0; block < 4; ++block) {
        for (std::uint16_t offset = 0; offset < p::envelope::ShutdownRate; ++offset) {
            const auto& model = *articulationParameter(static_cast<std::uint16_t>(p::VEnvelope + offset));
            const auto& row =
                *articulationParameter(static_cast<std::uint16_t>(kEnvelopeStarts[block] + offset));
            SCOPED_TRACE(row.name);
            EXPECT_EQ(row.textId, model.textId);
            EXPECT_EQ(row.flags, model.flags);
            EXPECT_EQ(row.defaultValue, model.defaultValue);
            EXPECT_EQ(row.maximum, model.maximum);
            if (row.number == 178) {
                EXPECT_STREQ(row.name, "X-ENV Sustain | Decay 2 Level");
                EXPECT_EQ(row.help, nullptr);
            } else {
                EXPECT_EQ(row.name, kPrefixes[block] + std::string(model.name).substr(6));
                EXPECT_EQ(row.help ? std::string(row.help) : "", model.help ? std::string(model.help) : "");
            }
            const bool level = model.kind == Level;
            if (level && block > 0) {
                EXPECT_EQ(row.kind, Fraction);
                EXPECT_EQ(row.unit, ParameterUnit::Percent);
                EXPECT_EQ(row.minimum, -1);
            } else {
                EXPECT_EQ(row.kind, model.kind);
                EXPECT_EQ(row.unit, model.unit);
                EXPECT_EQ(row.minimum, model.minimum);
            }
            // Text ids belong to one row of the envelopes and to no other.
            for (std::uint16_t other = 0; other < p::envelope::ShutdownRate; ++other) {
                const auto id =
                    articulationParameter(static_cast<std::uint16_t>(p::VEnvelope + other))->textId;
                EXPECT_EQ(id == row.textId, other == offset);
            }
        }
    }
    EXPECT_STREQ(articulationParameter(107)->name, "V-ENV Shutdown Rate");
}

TEST(ArticulationTable, DefaultsAreAudible) {
    const struct {
        std::uint16_t number;
        const char* name;
        float value;
    } cases[] = {
        {2, "Pitch bender to Pitch", 2},
        {15, "Velocity to Volume", 96},
        {24, "Filter Cutoff frequency", 8000},
        {40, "EQ 1 center Frequency", 120},
        {44, "EQ 2 center Frequency", 800},
        {48, "EQ 3 center Frequency", 5000},
        {42, "EQ 1 Q-value", 0.71f},
        {46, "EQ 2 Q-value", 0.71f},
        {50, "EQ 3 Q-value", 0.71f},
        {52, "CC10 to Pan position", 1},
        {58, "CC91 to Send channel 1 level", 1},
        {60, "CC92 to Send channel 2 level", 1},
        {62, "CC93 to Send channel 3 level", 1},
        {64, "CC94 to Send channel 3 level", 1},
        {66, "P-LFO Frequency", 5},
        {70, "V-LFO Frequency", 5},
        {74, "F-LFO Frequency", 5},
        {78, "F-LFO Frequency", 5},
        {107, "V-ENV Shutdown Rate", 0.015f},
    };
    for (const auto& each : cases) {
        EXPECT_STREQ(articulationParameter(each.number)->name, each.name);
        EXPECT_EQ(defaultArticulation()[each.number], each.value) << each.name;
    }
}

TEST(ArticulationLevels, DepthsAddUpAndSettingsReplace) {
    const float none = std::numeric_limits<float>::quiet_NaN();
    const struct {
        std::uint16_t number;
        float instrument, layer, region;
        float expected;
    } cases[] = {
        {p::MasterTuning, 12, -0.5f, 0.25f, 11.75f},
        {p::MasterVolume, -6, none, -6, -12},
        {p::MasterVolume, 90, 90, -90, 90},   // limited only at the end
        {p::MasterVolume, -90, -90, 0, -96},  // but there it is
        {p::PanPosition, 0.75f, 0.75f, none, 1},
        {p::KeyToCutoff, 100, none, 100, 128},
        {p::BendToPitch, 12, 7, none, 7},  // off is not its neutral value
        {p::VelocityToVolume, 40, none, none, 40},
        {p::Cc10ToPan, none, 0.5f, 0.25f, 0.25f},
        {p::Cutoff, 500, 20000, 1, 8},
        {p::Cutoff, none, none, none, 8000},
        {p::Resonance, 10, 3, none, 3},
        {p::Eq1Mode + p::eq::Gain, 3, 3, none, 3},
        {p::FLfo + p::lfo::Frequency, 1, none, 30, 20},
        {p::VEnvelope + p::envelope::Attack1Time, 1, 2, none, 2},
        {p::VEnvelope + p::envelope::SustainLevel, none, -0.5f, none, 0},
        {p::PEnvelope + p::envelope::SustainLevel, none, -0.5f, none, -0.5f},
        {p::XEnvelope + p::envelope::ReleaseMode, none, none, 3, 3},  // a set of two options
    };
    for (const auto& each : cases) {
        Articulation levels[3];
        const float values[3] = {each.instrument, each.layer, each.region};
        for (int i = 0; i < 3; ++i)
            levels[i].set(each.number, values[i]);  // what is no number counts as not set
        ArticulationValues expected = defaultArticulation();
        expected[each.number] = each.expected;
        EXPECT_EQ(resolveArticulation(&levels[0], &levels[1], &levels[2]), expected) << each.number;
    }
}

TEST(ArticulationRecord, FixUpDropsWhatRecordsDoNotHold) {
    Articulation record;
    for (std::uint16_t number = 0; number < 300; ++number)
        record.set(number, 1);
    record.set(14, std::numeric_limits<float>::infinity());
    record.fixUp();
    for (std::uint16_t number = 0; number < 300; ++number) {
        const bool kept = number < 192 && number != 134 && number != 161 && number != 188 && number != 14;
        EXPECT_EQ(record.has(number), kept) << number;
    }
}

TEST(ArticulationRecord, AlikeMeansNoDifferenceBelow) {
    Articulation above, a, b;
    const auto alike = [&] {
        EXPECT_EQ(soundsAlike(&above, a, b), soundsAlike(&above, b, a));
        return soundsAlike(&above, a, b);
    };
    above.set(p::Cutoff, 500);
    above.set(p::MasterVolume, -6);
    EXPECT_TRUE(alike());
    a.set(p::Cutoff, 500);
    EXPECT_TRUE(alike()) << "repeats what stands above";
    EXPECT_FALSE(soundsAlike(nullptr, a, b));
    a.set(p::MasterVolume, 0);
    EXPECT_TRUE(alike()) << "adds nothing";
    a.set(p::BendToPitch, 2);
    EXPECT_TRUE(alike()) << "repeats the default";
    a.set(p::MasterVolume, -6);
    EXPECT_FALSE(alike()) << "adds to what stands above";
    b = a;
    b.set(191, 0);
    EXPECT_TRUE(alike()) << "no exclusive class";
    b.set(191, 3);
    EXPECT_FALSE(alike());
}

}  // namespace
}  // namespace velor
