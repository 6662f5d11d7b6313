#include "app/processing/midi/midi_tools.h"

namespace velor::midi_processes {

namespace {

// What the MIDI standard lets keyboards send that do not measure it.
constexpr std::uint8_t kReleaseVelocity = 64;

ProcessOutcome run(ProcessJob& job) {
    MidiEdit edit(job.item);
    if (!edit.load(job.ui))
        return ProcessOutcome::Failed;
    bool any = false;
    for (MidiTrackEdit& track : edit.tracks) {
        for (MidiEvent& event : track.events) {
            if (event.type() != midi::kNoteOn || !event.isChannel() || event.data2 != 0)
                continue;
            event.status = static_cast<std::uint8_t>(midi::kNoteOff | event.channel());
            event.data2 = kReleaseVelocity;
            any = true;
        }
    }
    return any ? finish(job, edit) : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition replaceZeroVelocity{
    run,
    {},
    "Ends notes by note-off messages instead of note-on messages of velocity 0, which some programs and "
    "machines do not understand. The release velocity becomes 64. The file gets larger."};

}  // namespace velor::midi_processes
