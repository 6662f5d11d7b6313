#include "items/articulation_groups.h"

#include <algorithm>

#include "base/error.h"
#include "items/region_parameters.h"

namespace velor {

namespace {

using Group = ArticulationGroup;

struct Numbers {
    std::uint16_t first;
    std::uint16_t last;
};

// Every group is one run of numbers; those that do not exist lie in no record.
Numbers numbersOf(Group group) {
    namespace p = parameter;
    const auto run = [](std::uint16_t first, std::uint16_t count) {
        return Numbers{first, static_cast<std::uint16_t>(first + count - 1)};
    };
    constexpr std::uint16_t kLfoRows = p::lfo::FadeIn + 1;
    // The last row of an envelope is the volume envelope's shutdown rate or a separator.
    constexpr std::uint16_t kEnvelopeRows = p::envelope::ShutdownRate;
    switch (group) {
        case Group::All:
            return {0, p::ExclusiveClass};
        case Group::PLfo:
            return run(p::PLfo, kLfoRows);
        case Group::VLfo:
            return run(p::VLfo, kLfoRows);
        case Group::FLfo:
            return run(p::FLfo, kLfoRows);
        case Group::XLfo:
            return run(p::XLfo, kLfoRows);
        case Group::VEnvelope:
            return run(p::VEnvelope, p::envelope::Rows);
        case Group::PEnvelope:
            return run(p::PEnvelope, kEnvelopeRows);
        case Group::FEnvelope:
            return run(p::FEnvelope, kEnvelopeRows);
        case Group::XEnvelope:
            return run(p::XEnvelope, kEnvelopeRows);
        case Group::Loop:
            return {p::Looped, p::LoopEnd};
        case Group::Eqs:
            return run(p::Eq1Mode, 3 * p::eq::Rows);
        case Group::Filter:
            return {p::FilterTypeCode, p::PressureToResonance};
    }
    return {1, 0};
}

bool isLfo(Group group) {
    return group >= Group::PLfo && group <= Group::XLfo;
}

bool isEnvelope(Group group) {
    return group >= Group::VEnvelope && group <= Group::XEnvelope;
}

bool checkPaste(Group copied, Group onto) {
    return canPaste(copied, onto) || fail("What was copied does not fit here");
}

}  // namespace

bool inGroup(ArticulationGroup group, std::uint16_t number) {
    const Numbers numbers = numbersOf(group);
    return number >= numbers.first && number <= numbers.last &&
           (group == Group::Loop || Articulation::holds(number));
}

ArticulationCopy copyGroup(const Articulation& from, ArticulationGroup group) {
    ArticulationCopy copy{group, {}};
    for (const auto& [number, value] : from.entries()) {
        if (group != Group::Loop && inGroup(group, number))
            copy.values.emplace_back(number, static_cast<double>(value));
    }
    return copy;
}

ArticulationCopy copyGroup(const Region& from, ArticulationGroup group) {
    if (group != Group::Loop)
        return copyGroup(from.articulation, group);
    ArticulationCopy copy{group, {}};
    const Numbers numbers = numbersOf(group);
    for (std::uint16_t number = numbers.first; number <= numbers.last; ++number) {
        double value = 0;
        if (regionParameter(from, number, value))
            copy.values.emplace_back(number, value);
    }
    return copy;
}

bool canPaste(ArticulationGroup copied, ArticulationGroup onto) {
    return copied == onto || (isLfo(copied) && isLfo(onto)) || (isEnvelope(copied) && isEnvelope(onto));
}

bool pasteGroup(const ArticulationCopy& copy, Articulation& to, ArticulationGroup onto) {
    if (!checkPaste(copy.group, onto))
        return false;
    if (onto == Group::Loop)
        return fail("Only regions have a loop of their own");
    const Numbers source = numbersOf(copy.group);
    const Numbers target = numbersOf(onto);
    const bool translated = copy.group != onto;
    // The rows that both groups have.
    const int rows = std::min(source.last - source.first, target.last - target.first) + 1;
    for (int row = 0; row < rows; ++row)
        to.unset(static_cast<std::uint16_t>(target.first + row));
    for (const auto& [number, value] : copy.values) {
        const int row = number - source.first;
        if (!inGroup(copy.group, number) || row >= rows)
            continue;
        const auto translatedNumber = static_cast<std::uint16_t>(target.first + row);
        const auto plain = static_cast<float>(value);
        to.set(translatedNumber, translated ? limitedToRange(translatedNumber, plain) : plain);
    }
    return true;
}

bool pasteGroup(const ArticulationCopy& copy, Region& to, ArticulationGroup onto) {
    if (onto != Group::Loop)
        return pasteGroup(copy, to.articulation, onto);
    if (!checkPaste(copy.group, onto))
        return false;
    const Numbers numbers = numbersOf(onto);
    for (std::uint16_t number = numbers.first; number <= numbers.last; ++number)
        unsetRegionParameter(to, number);
    for (const auto& [number, value] : copy.values) {
        if (inGroup(onto, number))
            setRegionParameter(to, number, value);
    }
    return true;
}

}  // namespace velor
