#include "items/region_parameters.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velor {

namespace {

constexpr double kLastFrame = std::numeric_limits<std::uint32_t>::max();

constexpr RegionParameterRow kRows[] = {
    {parameter::Trigger, "Trigger", "code", RegionTrigger::kAttack, RegionTrigger::kLastGroup},
    {parameter::PedalCondition, "Sustain pedal condition", "code", 0, static_cast<int>(RegionPedal::OnlyUp)},
    {parameter::ExclusiveClass, "Exclusive class", "code", 0, 127},
    {parameter::RootKey, "Root key", "code", 0, 127},
    {parameter::Tuning, "Tuning", "cents", -12700, 12700},
    {parameter::Looped, "Looped", "code", 0, 1},
    {parameter::LoopModeCode, "Loop mode", "code", 0, static_cast<int>(LoopMode::Alternating)},
    {parameter::LoopStart, "Loop start", "frames", 0, kLastFrame},
    {parameter::LoopEnd, "Loop end", "frames", 0, kLastFrame},
};

std::uint8_t overrideFlag(std::uint16_t number) {
    switch (number) {
        case parameter::RootKey:
            return RegionOverrides::RootKey;
        case parameter::Tuning:
            return RegionOverrides::Tuning;
        case parameter::Looped:
            return RegionOverrides::Looped;
        case parameter::LoopModeCode:
            return RegionOverrides::LoopModeFlag;
        case parameter::LoopStart:
            return RegionOverrides::LoopStart;
        case parameter::LoopEnd:
            return RegionOverrides::LoopEnd;
        default:
            return 0;
    }
}

double overrideValue(const RegionOverrides& overrides, std::uint16_t number) {
    switch (number) {
        case parameter::RootKey:
            return overrides.rootKey;
        case parameter::Tuning:
            return overrides.tuning;
        case parameter::Looped:
            return overrides.looped;
        case parameter::LoopModeCode:
            return static_cast<int>(overrides.loopMode);
        case parameter::LoopStart:
            return overrides.loopStart;
        case parameter::LoopEnd:
            return overrides.loopEnd;
        default:
            return 0;
    }
}

}  // namespace

std::span<const RegionParameterRow> regionParameterRows() {
    return kRows;
}

const RegionParameterRow* regionParameterRow(std::uint16_t number) {
    for (const RegionParameterRow& row : kRows) {
        if (row.number == number)
            return &row;
    }
    return nullptr;
}

int regionSetting(const Instrument* instrument, const Layer* layer, const Region& region,
                  parameter::RegionNumber number) {
    float value = 0;
    if (!region.articulation.setting(number, value) &&
        !(layer && layer->articulation.setting(number, value)) && instrument)
        instrument->articulation.setting(number, value);
    return static_cast<int>(std::clamp(value, 0.0f, 127.0f));
}

bool regionParameter(const Region& region, std::uint16_t number, double& value) {
    if (Articulation::holds(number)) {
        value = region.articulation.get(number, 0);
        return region.articulation.has(number);
    }
    value = overrideValue(region.overrides, number);
    return region.overrides.flags & overrideFlag(number);
}

bool setRegionParameter(Region& region, std::uint16_t number, double value) {
    if (!std::isfinite(value))
        return false;
    if (const RegionParameterRow* row = regionParameterRow(number))
        value = std::clamp(value, row->minimum, row->maximum);
    if (Articulation::holds(number)) {
        region.articulation.set(number, static_cast<float>(value));
        return true;
    }
    RegionOverrides& overrides = region.overrides;
    switch (number) {
        case parameter::RootKey:
            overrides.rootKey = static_cast<std::uint8_t>(value);
            break;
        case parameter::Tuning:
            overrides.tuning = static_cast<float>(value);
            break;
        case parameter::Looped:
            overrides.looped = value != 0;
            break;
        case parameter::LoopModeCode:
            overrides.loopMode = static_cast<LoopMode>(static_cast<int>(value));
            break;
        case parameter::LoopStart:
            overrides.loopStart = static_cast<std::uint32_t>(value);
            break;
        case parameter::LoopEnd:
            overrides.loopEnd = static_cast<std::uint32_t>(value);
            break;
        default:
            return false;
    }
    overrides.flags |= overrideFlag(number);
    return true;
}

void unsetRegionParameter(Region& region, std::uint16_t number) {
    if (Articulation::holds(number))
        region.articulation.unset(number);
    else
        region.overrides.flags &= static_cast<std::uint8_t>(~overrideFlag(number));
}

}  // namespace velor
