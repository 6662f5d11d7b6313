#include "items/articulation_groups.h"

#include <gtest/gtest.h>

#include <random>

#include "items/collection.h"
#include "items/region_parameters.h"

namespace velor {
namespace {

using Group = ArticulationGroup;

// What each group holds, written down by hand.
struct GroupCase {
    Group group;
    int first, last;
};
constexpr GroupCase kGroups[] = {
    {Group::All, 0, 191},         {Group::PLfo, 65, 68},        {Group::VLfo, 69, 72},
    {Group::FLfo, 73, 76},        {Group::XLfo, 77, 80},        {Group::VEnvelope, 81, 107},
    {Group::PEnvelope, 108, 133}, {Group::FEnvelope, 135, 160}, {Group::XEnvelope, 162, 187},
    {Group::Eqs, 39, 50},         {Group::Filter, 23, 38},
};

Articulation randomRecord(std::mt19937& random) {
    Articulation record;
    for (std::uint16_t number = 0; number <= parameter::ExclusiveClass; ++number) {
        if (Articulation::holds(number) && random() % 2)
            record.set(number, static_cast<float>(random() % 1000) / 100);
    }
    return record;
}

TEST(ArticulationGroups, PasteReplacesTheGroupAndNothingElse) {
    std::mt19937 random(3);
    for (const GroupCase& each : kGroups) {
        const Articulation source = randomRecord(random);
        const Articulation before = randomRecord(random);
        Articulation target = before;
        ASSERT_TRUE(pasteGroup(copyGroup(source, each.group), target, each.group));
        for (std::uint16_t number = 0; number < 210; ++number) {
            const bool inside = number >= each.first && number <= each.last;
            const Articulation& expected = inside ? source : before;
            EXPECT_EQ(target.has(number), expected.has(number)) << number;
            EXPECT_EQ(target.get(number, 0), expected.get(number, 0)) << number;
            EXPECT_EQ(inGroup(each.group, number), inside && Articulation::holds(number)) << number;
        }
    }
}

TEST(ArticulationGroups, LfosAndEnvelopesFitEachOther) {
    namespace p = parameter;
    Articulation source;
    source.set(p::PLfo + p::lfo::Frequency, 7);
    source.set(p::PEnvelope + p::envelope::SustainLevel, -0.5f);
    source.set(p::PEnvelope + p::envelope::Attack1Time, 2);
    Articulation target;
    target.set(p::XLfo + p::lfo::Delay, 1);
    target.set(p::VEnvelope + p::envelope::InitialLevel, 0.5f);
    target.set(p::VEnvelope + p::envelope::ShutdownRate, 0.1f);
    ASSERT_TRUE(pasteGroup(copyGroup(source, Group::PLfo), target, Group::XLfo));
    ASSERT_TRUE(pasteGroup(copyGroup(source, Group::PEnvelope), target, Group::VEnvelope));
    Articulation expected;
    expected.set(p::XLfo + p::lfo::Frequency, 7);
    expected.set(p::VEnvelope + p::envelope::SustainLevel, 0);  // linear amplitude is not negative
    expected.set(p::VEnvelope + p::envelope::Attack1Time, 2);
    expected.set(p::VEnvelope + p::envelope::ShutdownRate, 0.1f);  // the source has no such thing
    EXPECT_EQ(target, expected);

    // And back: the shutdown rate must not end up in a separator.
    Articulation back;
    ASSERT_TRUE(pasteGroup(copyGroup(target, Group::VEnvelope), back, Group::FEnvelope));
    expected.clear();
    expected.set(p::FEnvelope + p::envelope::SustainLevel, 0);
    expected.set(p::FEnvelope + p::envelope::Attack1Time, 2);
    EXPECT_EQ(back, expected);

    const Articulation before = target;
    EXPECT_FALSE(pasteGroup(copyGroup(source, Group::PLfo), target, Group::PEnvelope));
    EXPECT_FALSE(pasteGroup(copyGroup(source, Group::Eqs), target, Group::Filter));
    EXPECT_FALSE(pasteGroup(copyGroup(source, Group::All), target, Group::Eqs));
    EXPECT_EQ(target, before);
}

TEST(ArticulationGroups, LoopsAreRegions) {
    Collection collection;
    auto* source = collection.create<Region>("a");
    auto* target = collection.create<Region>("b");
    source->articulation.set(14, -3);
    ASSERT_TRUE(setRegionParameter(*source, parameter::LoopStart, 16777217));
    ASSERT_TRUE(setRegionParameter(*source, parameter::Looped, 1));
    ASSERT_TRUE(setRegionParameter(*source, parameter::RootKey, 40));
    ASSERT_TRUE(setRegionParameter(*target, parameter::LoopEnd, 5));
    ASSERT_TRUE(setRegionParameter(*target, parameter::Tuning, 5));
    ASSERT_TRUE(pasteGroup(copyGroup(*source, Group::Loop), *target, Group::Loop));
    EXPECT_EQ(target->overrides.flags,
              RegionOverrides::Looped | RegionOverrides::LoopStart | RegionOverrides::Tuning);
    EXPECT_EQ(target->overrides.loopStart, 16777217u);
    EXPECT_TRUE(target->articulation.empty());
    ASSERT_TRUE(pasteGroup(copyGroup(*source, Group::All), *target, Group::All));
    EXPECT_EQ(target->articulation, source->articulation);

    Articulation record;
    EXPECT_FALSE(pasteGroup(copyGroup(*source, Group::Loop), record, Group::Loop));
    EXPECT_TRUE(copyGroup(record, Group::Loop).values.empty());
}

TEST(RegionParameters, RowsBoundWhatIsSet) {
    Collection collection;
    auto* region = collection.create<Region>("r");
    std::uint16_t last = 188;
    for (const RegionParameterRow& row : regionParameterRows()) {
        EXPECT_GT(row.number, last);
        last = row.number;
        for (const double bound : {row.minimum, row.maximum}) {
            const double beyond = bound == row.minimum ? bound - 1000 : bound + 1000;
            double value = -1;
            EXPECT_TRUE(setRegionParameter(*region, row.number, beyond));
            EXPECT_TRUE(regionParameter(*region, row.number, value)) << row.name;
            EXPECT_EQ(value, bound) << row.name;
        }
        double value = 0;
        unsetRegionParameter(*region, row.number);
        EXPECT_FALSE(regionParameter(*region, row.number, value)) << row.name;
    }
    for (const int number : {134, 161, 188, 192, 201, 208, 65535})
        EXPECT_FALSE(setRegionParameter(*region, static_cast<std::uint16_t>(number), 1)) << number;
    EXPECT_TRUE(region->articulation.empty());
}

}  // namespace
}  // namespace velor
