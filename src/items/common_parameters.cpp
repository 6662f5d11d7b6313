#include "items/common_parameters.h"

#include <algorithm>
#include <cmath>

#include "items/instrument_copies.h"
#include "items/item_scope.h"

namespace velor {

namespace {

namespace p = parameter;

// The records of one item and what is below it.
struct Records {
    std::vector<Articulation*> above;  // from the instrument down
    Articulation* own = nullptr;
    std::vector<Articulation*> below;
    // Below the item too, but changed already, with another instrument that holds it.
    std::vector<const Articulation*> done;

    // What arrives from above: the sum, or the setting that is nearest.
    float inherited(std::uint16_t number) const {
        float result = defaultArticulation()[number], value = 0;
        for (const Articulation* record : above) {
            if (record->setting(number, value))
                result = combination(number) == Combination::Sum ? result + value : value;
        }
        return result;
    }
    // True when a level at or below the item, or the nearest above, switches a filter on.
    bool filtered() const {
        float type = inherited(p::FilterTypeCode);
        bool any = type != 0 && !own->has(p::FilterTypeCode);
        any = any || (own->setting(p::FilterTypeCode, type) && type != 0);
        const auto sets = [&](const Articulation* record) {
            return record->setting(p::FilterTypeCode, type) && type != 0;
        };
        return any || std::any_of(below.begin(), below.end(), sets) ||
               std::any_of(done.begin(), done.end(), sets);
    }
};

bool store(Articulation& record, std::uint16_t number, float value) {
    float before = 0;
    value = limitedToRange(number, value);
    if (record.setting(number, before) && before == value)
        return false;
    record.set(number, value);
    return true;
}

bool unset(Articulation& record, std::uint16_t number) {
    if (!record.has(number))
        return false;
    record.unset(number);
    return true;
}

bool ofFilter(std::uint16_t number) {
    return number == p::Cutoff || number == p::Resonance;
}

// Sets a value for everything at and below the item.
bool setFor(const Records& records, std::uint16_t number, float value) {
    const bool sum = combination(number) == Combination::Sum;
    value = limitedToRange(number, value);
    bool changed = false;
    for (Articulation* record : records.below)
        changed = unset(*record, number) || changed;
    // What is below may be held by another instrument too, whose filter is on; this one needs no value.
    if (ofFilter(number) && !records.filtered())
        return changed;
    const float inherited = records.inherited(number);
    if (value == inherited)
        return unset(*records.own, number) || changed;
    return store(*records.own, number, sum ? value - inherited : value) || changed;
}

// Changes what the lowest level decides: each setting, and the one that arrives where the item has none.
template <typename Change>
bool changeEach(const Records& records, std::uint16_t number, Change change) {
    bool changed = false;
    float value = 0;
    for (Articulation* record : records.below) {
        if (record->setting(number, value))
            changed = store(*record, number, change(value)) || changed;
    }
    if (records.own->setting(number, value))
        return store(*records.own, number, change(value)) || changed;
    // What no filter uses needs no value of its own.
    if (ofFilter(number) && !records.filtered())
        return changed;
    value = records.inherited(number);
    const float wanted = limitedToRange(number, change(value));
    return wanted != limitedToRange(number, value) ? store(*records.own, number, wanted) || changed : changed;
}

bool changeBy(const Records& records, std::uint16_t number, const CommonParameters::Change& how) {
    if (how.set)
        return setFor(records, number, *how.set);
    if (!how.add || *how.add == 0)
        return false;
    const auto add = [&](float value) { return value + *how.add; };
    if (combination(number) == Combination::Override)
        return changeEach(records, number, add);
    float own = 0;
    records.own->setting(number, own);
    return store(*records.own, number, own + *how.add);
}

bool scale(const Records& records, std::uint16_t number, const std::optional<float>& factor) {
    if (!factor || *factor == 1)
        return false;
    return changeEach(records, number, [&](float value) { return value * *factor; });
}

bool change(const Records& records, const CommonParameters& how) {
    bool changed = false;
    const auto note = [&](bool one) { changed = one || changed; };
    note(changeBy(records, p::MasterVolume, how.volume));
    note(changeBy(records, p::PanPosition, how.pan));
    note(changeBy(records, p::MasterTuning, how.tuning));
    note(changeBy(records, p::Send1, how.reverb));
    note(changeBy(records, p::Send3, how.chorus));
    note(changeBy(records, p::Resonance, how.resonance));
    if (how.cutoff)
        note(setFor(records, p::Cutoff, *how.cutoff));
    else
        note(scale(records, p::Cutoff, how.cutoffFactor));
    const auto time = [&](std::uint16_t row, const std::optional<float>& factor) {
        note(scale(records, static_cast<std::uint16_t>(p::VEnvelope + row), factor));
    };
    time(p::envelope::Attack1Time, how.attackFactor);
    time(p::envelope::Attack2Time, how.attackFactor);
    time(p::envelope::Decay1Time, how.decayFactor);
    time(p::envelope::Decay2Time, how.decayFactor);
    time(p::envelope::Release1Rate, how.releaseFactor);
    time(p::envelope::Release2Time, how.releaseFactor);
    time(p::envelope::Release3Time, how.releaseFactor);
    return changed;
}

// True when something below the instrument is also held from elsewhere.
bool sharesLevels(const InstrumentLevels& levels, const Instrument& instrument) {
    const auto layers = linkedItems<Layer>(instrument);
    return std::any_of(layers.begin(), layers.end(), [&](const Layer* layer) {
        const auto regions = linkedItems<Region>(*layer);
        return levels.shared(*layer) ||
               std::any_of(regions.begin(), regions.end(),
                           [&](const Region* region) { return levels.shared(*region); });
    });
}

// True when more than the item's own record may have to change.
bool reachesBelow(const CommonParameters& how) {
    const auto scales = [](const std::optional<float>& factor) { return factor && *factor != 1; };
    return how.volume.set || how.pan.set || how.tuning.set || how.reverb.set || how.chorus.set ||
           how.resonance.set || (how.resonance.add && *how.resonance.add != 0) || how.cutoff ||
           scales(how.cutoffFactor) || scales(how.attackFactor) || scales(how.decayFactor) ||
           scales(how.releaseFactor);
}

bool changeInstruments(const std::vector<Instrument*>& instruments, const CommonParameters& how) {
    std::unordered_set<const Articulation*> known;
    bool changed = false;
    for (Instrument* instrument : instruments) {
        Records records;
        records.own = &instrument->articulation;
        const auto add = [&](Articulation& record) {
            if (known.insert(&record).second)
                records.below.push_back(&record);
            else
                records.done.push_back(&record);
        };
        const ItemScope scope(*instrument);
        for (Layer* layer : scope.layers)
            add(layer->articulation);
        for (Region* region : scope.regions)
            add(region->articulation);
        changed = change(records, how) || changed;
    }
    return changed;
}

}  // namespace

bool changeCommonParameters(Item& item, const CommonParameters& how) {
    if (item.kind() == ItemKind::Collection)
        return changeInstruments(instrumentsOf(item), how);
    if (item.kind() == ItemKind::Instrument) {
        auto& instrument = static_cast<Instrument&>(item);
        if (reachesBelow(how)) {
            const InstrumentLevels levels(item.owner());
            if (sharesLevels(levels, instrument))
                giveOwnLevels(levels, instrument);
        }
        return changeInstruments({&instrument}, how);
    }
    // Layers and regions are what was asked for, so that whatever shares them hears it too.
    Collection& collection = item.owner();
    const InstrumentLevels levels(collection);
    Records records;
    const auto addAbove = [&](const Layer& layer) {
        if (!levels.holders(layer).empty())
            records.above.push_back(&levels.holders(layer).front()->articulation);
    };
    if (item.kind() == ItemKind::Layer) {
        auto& layer = static_cast<Layer&>(item);
        addAbove(layer);
        records.own = &layer.articulation;
        for (Region* region : ItemScope(item).regions)
            records.below.push_back(&region->articulation);
    } else if (item.kind() == ItemKind::Region) {
        auto& region = static_cast<Region&>(item);
        if (!levels.holders(region).empty()) {
            Layer& layer = *levels.holders(region).front();
            addAbove(layer);
            records.above.push_back(&layer.articulation);
        }
        records.own = &region.articulation;
    } else {
        return false;
    }
    return change(records, how);
}

}  // namespace velor
