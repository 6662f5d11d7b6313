#include "app/processing/midi/midi_tools.h"

namespace velor::midi_processes {

ProcessOutcome finish(ProcessJob& job, MidiEdit& edit, bool changed) {
    const int tracks = edit.store(job.ui);
    if (tracks < 0)
        return ProcessOutcome::Failed;
    return tracks > 0 || changed ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

}  // namespace velor::midi_processes
