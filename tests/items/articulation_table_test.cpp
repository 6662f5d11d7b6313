#include "items/articulation_table.h"

#include <gtest/gtest.h>

#include <limits>

#include "items/articulation.h"

namespace velor {
namespace {

namespace p = parameter;

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
