// The processes of the MIDI catalogue: one source file for each, its settings and what it does.
#pragma once

#include "app/processing/process.h"

namespace velor::midi_processes {

extern const ProcessDefinition changeTickRate;
extern const ProcessDefinition compactMidi;
extern const ProcessDefinition convertMidiFormat;
extern const ProcessDefinition filterMidi;
extern const ProcessDefinition fixMidiCompatibility;
extern const ProcessDefinition replaceZeroVelocity;
extern const ProcessDefinition transposeNotes;
extern const ProcessDefinition trimSong;

}  // namespace velor::midi_processes
