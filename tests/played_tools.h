// What the regions of a collection play, to compare before and after an operation that must not be heard.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>
#include <tuple>

#include "items/instrument_levels.h"
#include "items/region_parameters.h"

namespace velor::test {

// What every region plays wherever it is linked to: articulation and trigger settings.
struct Played {
    ArticulationValues values;
    std::array<int, 3> triggers;
};
using PlayedByPlace = std::map<std::tuple<ItemId, ItemId, ItemId>, Played>;

inline Played playedBy(const Instrument* instrument, const Layer& layer, const Region& region) {
    return {resolveArticulation(instrument ? &instrument->articulation : nullptr, &layer.articulation,
                                &region.articulation),
            {regionSetting(instrument, &layer, region, parameter::Trigger),
             regionSetting(instrument, &layer, region, parameter::PedalCondition),
             regionSetting(instrument, &layer, region, parameter::ExclusiveClass)}};
}

inline PlayedByPlace listen(const Collection& collection) {
    PlayedByPlace played;
    for (const Layer* layer : collection.all<Layer>()) {
        for (const Region* region : linkedItems<Region>(*layer))
            played[{kNoItem, layer->id(), region->id()}] = playedBy(nullptr, *layer, *region);
    }
    for (const Instrument* instrument : collection.all<Instrument>()) {
        for (const Layer* layer : linkedItems<Layer>(*instrument)) {
            // A layer on its own plays nothing; only layers without an instrument were listened to alone.
            for (const Region* region : linkedItems<Region>(*layer)) {
                played.erase({kNoItem, layer->id(), region->id()});
                played[{instrument->id(), layer->id(), region->id()}] = playedBy(instrument, *layer, *region);
            }
        }
    }
    return played;
}

// Bit-equal but for sums, which may round; not even they with `exact`.
inline void expectSame(const PlayedByPlace& before, const PlayedByPlace& after, bool exact) {
    ASSERT_EQ(before.size(), after.size());
    for (const auto& [place, was] : before) {
        const Played& is = after.at(place);
        EXPECT_EQ(is.triggers, was.triggers);
        for (std::uint16_t number = 0; number < kArticulationParameters; ++number) {
            const auto wanted = static_cast<double>(was.values[number]);
            if (exact || combination(number) == Combination::Override)
                ASSERT_EQ(is.values[number], was.values[number]) << number;
            else
                ASSERT_NEAR(static_cast<double>(is.values[number]), wanted, 1e-6 * std::abs(wanted))
                    << number;
        }
    }
}

}  // namespace velor::test
