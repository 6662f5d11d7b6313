#include "items/articulation_moves.h"

#include <algorithm>
#include <cmath>

#include "items/instrument_levels.h"
#include "items/region_parameters.h"

namespace velor {

namespace {

constexpr std::uint16_t kTriggers[] = {parameter::Trigger, parameter::PedalCondition,
                                       parameter::ExclusiveClass};
constexpr double kMostRounding = 1e-6;  // of the value

bool isTrigger(std::uint16_t number) {
    return number >= kArticulationParameters;
}

template <typename T>
bool anyShared(const InstrumentLevels& levels, const std::vector<T*>& items) {
    return std::any_of(items.begin(), items.end(), [&](const T* item) { return levels.shared(*item); });
}

// True when all items set the parameter to the same value.
template <typename T>
bool allSet(const std::vector<T*>& items, std::uint16_t number, float& value) {
    if (items.empty() || !items.front()->articulation.setting(number, value))
        return false;
    return std::all_of(items.begin() + 1, items.end(), [&](const T* item) {
        float other = 0;
        return item->articulation.setting(number, other) && other == value;
    });
}

float settingOrZero(const Articulation& record, std::uint16_t number) {
    float value = 0;
    record.setting(number, value);
    return value;
}

// True when a region plays the same, but for rounding, when the sum of its own value and its layer's stands
// at one of the two places. Sums are formed in the order of resolveArticulation(), so adding these two before
// the instrument's may round differently, and much where they nearly cancel.
bool sumKeeps(std::uint16_t number, float instrument, float layer, float region) {
    const double before = static_cast<double>(limitedToRange(number, instrument + layer + region));
    const double after = static_cast<double>(limitedToRange(number, instrument + (layer + region)));
    return std::abs(after - before) <= kMostRounding * std::abs(before);
}

class UpwardMove {
  public:
    UpwardMove(const InstrumentLevels& levels, Instrument& instrument)
        : levels_(levels),
          above_(instrument.articulation),
          instrument_(&instrument),
          layers_(linkedItems<Layer>(instrument)) {}
    // For single layers below a record.
    UpwardMove(const InstrumentLevels& levels, const Articulation& above) : levels_(levels), above_(above) {}

    // Again and again: what has gone from the layers to the instrument makes room in the layers.
    int run() {
        int before = 0;
        do {
            before = moved_;
            pass();
        } while (moved_ != before);
        return moved_;
    }

    // Returns how many settings were moved so far.
    int raiseToLayer(Layer& layer) {
        const auto regions = linkedItems<Region>(layer);
        if (anyShared(levels_, regions))
            return moved_;
        raise(regions, layer.articulation, [&](std::uint16_t number, float value) {
            return sumKeeps(number, settingOrZero(above_, number), settingOrZero(layer.articulation, number),
                            value);
        });
        return moved_;
    }
    int moved() const { return moved_; }

  private:
    void pass() {
        for (Layer* layer : layers_) {
            if (!levels_.shared(*layer))
                raiseToLayer(*layer);
        }
        if (!anyShared(levels_, layers_))
            raise(layers_, instrument_->articulation, [](std::uint16_t, float) { return true; });
    }

    // Moves what all `from` agree in to `to`. `keepsSums(number, value)` has a say in sums.
    template <typename T, typename Check>
    void raise(const std::vector<T*>& from, Articulation& to, Check keepsSums) {
        if (from.empty())
            return;
        const auto candidates = from.front()->articulation.entries();
        for (const auto& [number, unused] : candidates) {
            float value = 0;
            if (isTrigger(number) || !allSet(from, number, value))
                continue;
            if (combination(number) == Combination::Sum) {
                const float sum = settingOrZero(to, number) + value;
                if (limitedToRange(number, sum) != sum || !keepsSums(number, value))
                    continue;
                value = sum;
            }
            to.set(number, value);
            for (T* item : from)
                item->articulation.unset(number);
            ++moved_;
        }
    }

    const InstrumentLevels& levels_;
    const Articulation& above_;
    Instrument* instrument_ = nullptr;
    std::vector<Layer*> layers_;
    int moved_ = 0;
};

// Adds a value from the level above to a record, or sets it there when nothing is set.
void combineInto(Articulation& lower, std::uint16_t number, float value) {
    float own = 0;
    const bool set = lower.setting(number, own);
    if (combination(number) == Combination::Sum)
        lower.set(number, value + own);
    else if (!set)
        lower.set(number, value);
}

void lowerToRegions(const Articulation& instrument, Layer& layer, const std::vector<Region*>& regions) {
    const auto entries = layer.articulation.entries();
    for (const auto& entry : entries) {
        const auto number = entry.first;
        float value = 0;
        if (!layer.articulation.setting(number, value)) {
            layer.articulation.unset(number);  // no number, so it never counted
            continue;
        }
        float above = 0;
        const bool addsUp = instrument.setting(number, above) && combination(number) == Combination::Sum;
        if (addsUp && !std::all_of(regions.begin(), regions.end(), [&](const Region* region) {
                return sumKeeps(number, above, value, settingOrZero(region->articulation, number));
            }))
            continue;
        for (Region* region : regions) {
            combineInto(region->articulation, number, value);
            // What is still to be added to must not be limited yet.
            if (!addsUp)
                region->articulation.set(number,
                                         limitedToRange(number, settingOrZero(region->articulation, number)));
        }
        layer.articulation.unset(number);
    }
}

}  // namespace

void foldArticulation(const Articulation& upper, Articulation& lower) {
    for (const auto& [number, value] : upper.entries()) {
        if (std::isfinite(value))
            combineInto(lower, number, value);
    }
}

namespace {

bool lower(const InstrumentLevels& levels, const Articulation& above, Layer& layer) {
    const auto regions = linkedItems<Region>(layer);
    if (layer.articulation.empty() || regions.empty() || levels.shared(layer) || anyShared(levels, regions))
        return false;
    const std::size_t before = layer.articulation.entries().size();
    lowerToRegions(above, layer, regions);
    return layer.articulation.entries().size() != before;
}

bool lower(const InstrumentLevels& levels, Instrument& instrument) {
    const auto layers = linkedItems<Layer>(instrument);
    bool moved = false;
    if (!instrument.articulation.empty() && !layers.empty() && !anyShared(levels, layers)) {
        for (Layer* layer : layers)
            foldArticulation(instrument.articulation, layer->articulation);
        instrument.articulation.clear();
        moved = true;
    }
    for (Layer* layer : layers)
        moved = lower(levels, instrument.articulation, *layer) || moved;
    return moved;
}

// The record above a layer that at most one instrument holds.
const Articulation& above(const InstrumentLevels& levels, const Layer& layer) {
    static const Articulation none;
    const auto& holders = levels.holders(layer);
    return holders.empty() ? none : holders.front()->articulation;
}

}  // namespace

int moveArticulationUp(Collection& collection, Instrument& instrument) {
    return UpwardMove(InstrumentLevels(collection), instrument).run();
}

int moveArticulationUp(Layer& layer) {
    const InstrumentLevels levels(layer.owner());
    if (levels.shared(layer))
        return 0;
    int before = 0;
    UpwardMove move(levels, above(levels, layer));
    do
        before = move.moved();
    while (move.raiseToLayer(layer) != before);
    return before;
}

bool moveArticulationDown(Instrument& instrument) {
    return lower(InstrumentLevels(instrument.owner()), instrument);
}

bool moveArticulationDown(Layer& layer) {
    const InstrumentLevels levels(layer.owner());
    return lower(levels, above(levels, layer), layer);
}

int moveAllArticulationDown(Collection& collection) {
    const InstrumentLevels levels(collection);
    int changed = 0;
    for (Instrument* instrument : collection.all<Instrument>())
        changed += lower(levels, *instrument);
    return changed;
}

int moveArticulation(Collection& collection) {
    const InstrumentLevels levels(collection);
    int moved = 0;
    for (Instrument* instrument : collection.all<Instrument>())
        moved += UpwardMove(levels, *instrument).run();
    return moved;
}

namespace {

bool setsTriggers(const Layer& layer) {
    return std::any_of(std::begin(kTriggers), std::end(kTriggers),
                       [&](std::uint16_t number) { return layer.articulation.has(number); });
}

void lowerTriggers(const InstrumentLevels& levels, Layer& layer) {
    const auto regions = linkedItems<Region>(layer);
    if (regions.empty())
        return;
    for (const std::uint16_t number : kTriggers) {
        float value = 0;
        if (!layer.articulation.setting(number, value))
            continue;
        std::vector<Region*> takers;
        for (Region* region : regions) {
            float own = 0;
            if (!region->articulation.setting(number, own))
                takers.push_back(region);
        }
        if (anyShared(levels, takers))
            continue;
        for (Region* region : takers)
            region->articulation.set(number, value);
        layer.articulation.unset(number);
    }
}

}  // namespace

void moveTriggerParameters(Collection& collection, Layer& layer) {
    if (setsTriggers(layer))
        lowerTriggers(InstrumentLevels(collection), layer);
}

void moveTriggerParameters(Collection& collection) {
    const auto layers = collection.all<Layer>();
    // Most collections have nothing to move.
    if (std::none_of(layers.begin(), layers.end(), [](const Layer* layer) { return setsTriggers(*layer); }))
        return;
    const InstrumentLevels levels(collection);
    for (Layer* layer : layers)
        lowerTriggers(levels, *layer);
}

}  // namespace velor
