// Parameters of regions beyond the articulation table: when a region plays, and what it uses instead of its
// waveform's own values. They are addressed by numbers that follow those of the table.
#pragma once

#include <cstdint>
#include <span>

#include "items/instrument.h"

namespace velor {

namespace parameter {

enum RegionNumber : std::uint16_t {
    // Kept in articulation records; a region without one takes its layer's, then its instrument's, then 0.
    Trigger = 189,         // RegionTrigger: 0 attack, 1 release, 2-17 round-robin groups 0 to 15
    PedalCondition = 190,  // RegionPedal
    ExclusiveClass = 191,  // 0 none; a new note ends the sounding regions of its class
    // Kept in RegionOverrides.
    RootKey = 202,
    Tuning = 203,  // cents
    Looped = 204,
    LoopModeCode = 205,
    LoopStart = 206,  // frames
    LoopEnd = 207,    // frames, exclusive
};

}  // namespace parameter

enum class RegionPedal : std::uint8_t { Always = 0, OnlyDown = 1, OnlyUp = 2 };

struct RegionTrigger {
    static constexpr int kAttack = 0;
    static constexpr int kRelease = 1;
    static constexpr int kFirstGroup = 2;  // round-robin group 0
    static constexpr int kLastGroup = 17;
};

// What a region parameter is called, its unit ("cents", "frames", "code" for choices, keys and classes) and
// what it may be.
struct RegionParameterRow {
    std::uint16_t number;
    const char* name;
    const char* unit;
    double minimum;
    double maximum;
};
// The rows in number order, nine of them.
std::span<const RegionParameterRow> regionParameterRows();
// The row of a region parameter, nullptr for numbers that have none.
const RegionParameterRow* regionParameterRow(std::uint16_t number);

// One of the numbers 189 to 191 as a region plays it; whole, not negative, at most 127.
int regionSetting(const Instrument* instrument, const Layer* layer, const Region& region,
                  parameter::RegionNumber number);

// Any number of a region, 0 to 207: true and `value` when it is set at the region itself.
bool regionParameter(const Region& region, std::uint16_t number, double& value);
// Sets it there; a value of the wrong kind is limited to its range. False for numbers that do not exist.
bool setRegionParameter(Region& region, std::uint16_t number, double value);
void unsetRegionParameter(Region& region, std::uint16_t number);

}  // namespace velor
