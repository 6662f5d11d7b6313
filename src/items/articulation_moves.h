// Moving articulation and trigger settings between an instrument, its layers and their regions without
// changing what any region plays.
//
// An item that more than one link leads to (a layer of two instruments, a region of two layers or linked
// twice) is left as it is, and nothing is moved past it: its settings would reach, or be missing, elsewhere.
#pragma once

#include "items/collection.h"

namespace velor {

// "Move up articulation level if all equal below". A parameter that every region of a layer sets to the same
// value becomes the layer's, and then one that every layer sets to the same value becomes the instrument's.
// A parameter that adds up over the levels is added to what the upper level has, any other replaces it. A
// parameter stays where the sum would leave its range, or would be rounded by more than a millionth for any
// region. Layers without regions, and instruments without layers, take nothing up from below; a layer without
// regions counts like any other when its instrument is looked at. Trigger settings are not moved.
// Returns how many settings were moved up, counted at the place they went to.
int moveArticulationUp(Collection& collection, Instrument& instrument);
// The same from the regions of one layer to the layer. A layer that several instruments hold stays as it is.
int moveArticulationUp(Layer& layer);

// "Move articulation level": gives everything that an instrument and its layers set, trigger settings
// included, to their regions, limited to its range, and clears it above. What a shared item keeps from going
// down stays above it: at the instrument when a layer is shared, at the layer when a region is.
// Sums that would be rounded by more than a millionth stay too. Layers without regions keep their settings,
// and so does an instrument without layers.
// True when something moved.
bool moveArticulationDown(Instrument& instrument);
// The same for what one layer sets.
bool moveArticulationDown(Layer& layer);
// The same for every instrument of the collection. Returns how many changed.
int moveAllArticulationDown(Collection& collection);

// Gives a record what the level above it sets, as if both stood there: sums are added, other settings taken
// where it has none, trigger settings included. Nothing is limited, so that what a region plays stays exactly
// the same when `upper` then goes.
void foldArticulation(const Articulation& upper, Articulation& lower);

// moveArticulationUp() for every instrument of the collection.
// Returns how many settings were moved up.
int moveArticulation(Collection& collection);

// Trigger settings (trigger, pedal condition, exclusive class) belong to single regions: those that a layer
// sets are given to its regions that have none of their own, and unset at the layer. A setting stays at the
// layer when one of the regions that would take it is shared, or when there are no regions. The layer itself
// may be shared: its regions carry the setting into every instrument alike.
void moveTriggerParameters(Collection& collection, Layer& layer);
// The same for every layer of the collection.
void moveTriggerParameters(Collection& collection);

}  // namespace velor
