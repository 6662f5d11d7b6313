#include "items/instrument_levels.h"

namespace velor {

InstrumentLevels::InstrumentLevels(const Collection& collection) {
    for (Layer* layer : collection.all<Layer>()) {
        for (const Region* region : linkedItems<Region>(*layer))
            regions_[region->id()].push_back(layer);
    }
    for (Instrument* instrument : collection.all<Instrument>()) {
        for (const Layer* layer : linkedItems<Layer>(*instrument))
            layers_[layer->id()].push_back(instrument);
    }
}

const std::vector<Layer*>& InstrumentLevels::holders(const Region& region) const {
    static const std::vector<Layer*> none;
    const auto found = regions_.find(region.id());
    return found == regions_.end() ? none : found->second;
}

const std::vector<Instrument*>& InstrumentLevels::holders(const Layer& layer) const {
    static const std::vector<Instrument*> none;
    const auto found = layers_.find(layer.id());
    return found == layers_.end() ? none : found->second;
}

}  // namespace velor
