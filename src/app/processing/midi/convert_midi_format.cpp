#include "app/processing/midi/processes.h"
#include "items/midi_song.h"
#include "items/midi_song_operations.h"

namespace velor::midi_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "format",
     .label = "New format:",
     .kind = ProcessValueKind::Choice,
     .standard = 1,
     .words = "0|1|2",
     .help =
         "0: one track with all channels. 1: a control track with tempos and texts, then a track for each "
         "channel. 2: patterns that play one after the other; songs of other formats become one pattern."},
};

ProcessOutcome run(ProcessJob& job) {
    if (job.item.kind() != ItemKind::MidiSong)
        return ProcessOutcome::Unchanged;
    auto& song = static_cast<MidiSong&>(job.item);
    const auto format = static_cast<std::uint16_t>(job.settings.choice("format"));
    if (song.format == format && (format != 0 || song.links.count() <= 1))
        return ProcessOutcome::Unchanged;
    if (job.ui.aborted())
        return cancelled();
    if (format == 1) {
        convertToFormat1(song);
        return ProcessOutcome::Changed;
    }
    if (!convertToFormat0(song))
        return ProcessOutcome::Failed;
    song.format = format;
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition convertMidiFormat{
    run, kParameters,
    "Changes between the three formats of MIDI files. What sounds, and when, stays. A song that uses several "
    "MIDI ports does not fit into one track and can only have format 1."};

}  // namespace velor::midi_processes
