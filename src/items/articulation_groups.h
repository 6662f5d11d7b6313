// Copying articulation, or one group of its parameters, from one record to another.
#pragma once

#include <utility>
#include <vector>

#include "items/instrument.h"

namespace velor {

enum class ArticulationGroup : std::uint8_t {
    All,  // the whole record, trigger settings included
    PLfo,
    VLfo,
    FLfo,
    XLfo,
    VEnvelope,
    PEnvelope,
    FEnvelope,
    XEnvelope,
    Loop,    // what a region uses instead of its waveform's loop: looped, mode, start, end
    Eqs,     // all three bands
    Filter,  // type, cut-off, resonance and what moves them
};

// True for the parameters of a group.
bool inGroup(ArticulationGroup group, std::uint16_t number);

// A group's parameters as one record set them: what a clipboard holds.
struct ArticulationCopy {
    ArticulationGroup group = ArticulationGroup::All;
    // Number and value of what is set, in number order. Frame positions need more digits than a float has.
    std::vector<std::pair<std::uint16_t, double>> values;
};

// The Loop group of an instrument's or layer's record is empty.
ArticulationCopy copyGroup(const Articulation& from, ArticulationGroup group);
ArticulationCopy copyGroup(const Region& from, ArticulationGroup group);

// An LFO fits any LFO, an envelope any envelope, every other group itself.
bool canPaste(ArticulationGroup copied, ArticulationGroup onto);

// Makes the parameters of the group `onto` what was copied, and unsets those that the source did not set.
// Between different LFOs or envelopes the values are limited to the target's ranges (levels of the volume
// envelope are 0 to 1, of the others -1 to 1). The shutdown rate, which only the volume envelope has, goes
// from one volume envelope to another and is otherwise left alone. False with LastErrorText when the groups
// do not fit, or when a loop is pasted where there is none (only regions have one); nothing is changed then.
bool pasteGroup(const ArticulationCopy& copy, Articulation& to, ArticulationGroup onto);
bool pasteGroup(const ArticulationCopy& copy, Region& to, ArticulationGroup onto);

}  // namespace velor
