#include "items/region_parameters.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velor {

namespace {

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

bool inRecord(std::uint16_t number) {
    return number <= parameter::ExclusiveClass;
}

std::uint32_t framePosition(double value) {
    return static_cast<std::uint32_t>(std::clamp(value, 0.0, 4294967295.0));
}

}  // namespace

int regionSetting(const Instrument* instrument, const Layer* layer, const Region& region,
                  parameter::RegionNumber number) {
    float value = instrument ? instrument->articulation.get(number, 0) : 0;
    if (layer)
        value = layer->articulation.get(number, value);
    value = region.articulation.get(number, value);
    return std::isfinite(value) ? static_cast<int>(std::clamp(value, 0.0f, 127.0f)) : 0;
}

bool regionParameter(const Region& region, std::uint16_t number, double& value) {
    if (inRecord(number)) {
        value = region.articulation.get(number, 0);
        return region.articulation.has(number);
    }
    value = overrideValue(region.overrides, number);
    return region.overrides.flags & overrideFlag(number);
}

bool setRegionParameter(Region& region, std::uint16_t number, double value) {
    if (!std::isfinite(value))
        return false;
    if (inRecord(number)) {
        region.articulation.set(number, static_cast<float>(value));
        return true;
    }
    RegionOverrides& overrides = region.overrides;
    switch (number) {
        case parameter::RootKey:
            overrides.rootKey = static_cast<std::uint8_t>(std::clamp(value, 0.0, 127.0));
            break;
        case parameter::Tuning:
            overrides.tuning = static_cast<float>(value);
            break;
        case parameter::Looped:
            overrides.looped = value != 0;
            break;
        case parameter::LoopModeCode:
            overrides.loopMode = static_cast<LoopMode>(static_cast<int>(std::clamp(value, 0.0, 3.0)));
            break;
        case parameter::LoopStart:
            overrides.loopStart = framePosition(value);
            break;
        case parameter::LoopEnd:
            overrides.loopEnd = framePosition(value);
            break;
        default:
            return false;
    }
    overrides.flags |= overrideFlag(number);
    return true;
}

void unsetRegionParameter(Region& region, std::uint16_t number) {
    if (inRecord(number))
        region.articulation.unset(number);
    else
        region.overrides.flags &= static_cast<std::uint8_t>(~overrideFlag(number));
}

}  // namespace velor
