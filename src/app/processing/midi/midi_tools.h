// What the MIDI processes share.
#pragma once

#include "app/processing/midi/processes.h"
#include "items/midi_edit.h"

namespace velor::midi_processes {

// Stores the edit and says what became of the item. `changed`: something else has changed already.
ProcessOutcome finish(ProcessJob& job, MidiEdit& edit, bool changed = false);

}  // namespace velor::midi_processes
