// Changing the parameters that people change in bulk, at and below an item, by how it sounds.
#pragma once

#include <optional>

#include "items/collection.h"

namespace velor {

// What is left empty stays. Of each pair the second member is taken only when the first is empty.
struct CommonParameters {
    struct Change {
        std::optional<float> add;
        std::optional<float> set;
        explicit operator bool() const { return add || set; }
    };
    Change volume;     // dB
    Change pan;        // -1..1
    Change tuning;     // semitones
    Change resonance;  // dB
    Change reverb;     // send level, 0..1
    Change chorus;
    std::optional<float> cutoffFactor;  // of filters that are on
    std::optional<float> cutoff;        // Hz
    // Of the volume envelope's times.
    std::optional<float> attackFactor, decayFactor, releaseFactor;
};

// Changes what the regions at and below the item play, and nothing else. Values that add up over the levels
// are changed once, at the item's own level (instruments for a collection). Of values that the lowest level
// decides every one that is set at or below the item is changed, and the one that is inherited or the default
// is set at the item where it differs. What other instruments share is copied first. Returns true when
// something changed.
bool changeCommonParameters(Item& item, const CommonParameters& how);

}  // namespace velor
