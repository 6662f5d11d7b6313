#include "items/articulation.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace velor {

namespace {

// The numbers behind the table that records hold too; see region_parameters.h.
constexpr std::uint16_t kFirstTrigger = 189;
constexpr std::uint16_t kLastTrigger = 191;

auto position(const std::vector<Articulation::Entry>& values, std::uint16_t parameter) {
    return std::lower_bound(values.begin(), values.end(), parameter,
                            [](const auto& entry, std::uint16_t number) { return entry.first < number; });
}

}  // namespace

bool Articulation::has(std::uint16_t parameter) const {
    const auto at = position(values_, parameter);
    return at != values_.end() && at->first == parameter;
}

float Articulation::get(std::uint16_t parameter, float fallback) const {
    const auto at = position(values_, parameter);
    return at != values_.end() && at->first == parameter ? at->second : fallback;
}

void Articulation::set(std::uint16_t parameter, float value) {
    const auto at = values_.begin() + (position(values_, parameter) - values_.cbegin());
    if (at != values_.end() && at->first == parameter)
        at->second = value;
    else
        values_.insert(at, {parameter, value});
}

void Articulation::unset(std::uint16_t parameter) {
    const auto at = position(values_, parameter);
    if (at != values_.end() && at->first == parameter)
        values_.erase(at);
}

bool Articulation::setting(std::uint16_t parameter, float& value) const {
    const auto at = position(values_, parameter);
    if (at == values_.end() || at->first != parameter || !std::isfinite(at->second))
        return false;
    value = at->second;
    return true;
}

bool Articulation::holds(std::uint16_t parameter) {
    if (const ArticulationParameter* row = articulationParameter(parameter))
        return row->kind != ParameterKind::Separator;
    return parameter >= kFirstTrigger && parameter <= kLastTrigger;
}

void Articulation::fixUp() {
    std::erase_if(values_,
                  [](const Entry& entry) { return !holds(entry.first) || !std::isfinite(entry.second); });
}

void Articulation::serialize(ByteWriter& to) const {
    to.u32(static_cast<std::uint32_t>(values_.size()));
    for (const auto& [parameter, value] : values_) {
        to.u16(parameter);
        to.f32(value);
    }
}

bool Articulation::deserialize(ByteReader& from) {
    values_.clear();
    const std::uint32_t count = from.u32();
    if (count > from.remaining() / 6)
        return false;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint16_t parameter = from.u16();
        set(parameter, from.f32());
    }
    return from.ok();
}

ArticulationValues resolveArticulation(const Articulation* instrument, const Articulation* layer,
                                       const Articulation* region) {
    ArticulationValues values = defaultArticulation();
    for (const Articulation* level : {instrument, layer, region}) {
        if (!level)
            continue;
        for (const auto& [number, value] : level->entries()) {
            if (number >= kArticulationParameters || !std::isfinite(value))
                continue;
            if (combination(number) == Combination::Sum)
                values[number] += value;
            else
                values[number] = value;
        }
    }
    for (std::uint16_t number = 0; number < kArticulationParameters; ++number)
        values[number] = limitedToRange(number, values[number]);
    return values;
}

bool soundsAlike(const Articulation* above, const Articulation& a, const Articulation& b) {
    if (a == b)
        return true;
    const auto effective = [above](const Articulation& record, std::uint16_t number) {
        float value = 0;
        if (record.setting(number, value) || combination(number) == Combination::Sum)
            return value;
        if (above && above->setting(number, value))
            return value;
        return number < kArticulationParameters ? defaultArticulation()[number] : 0.0f;
    };
    for (const Articulation* record : {&a, &b}) {
        for (const auto& [number, value] : record->entries()) {
            if (Articulation::holds(number) && effective(a, number) != effective(b, number))
                return false;
        }
    }
    return true;
}

}  // namespace velor
