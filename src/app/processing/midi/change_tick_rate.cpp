#include "app/processing/midi/midi_tools.h"

#include <cmath>
#include <map>

#include "base/error.h"
#include "base/rounding.h"
#include "items/midi_timeline.h"

namespace velor::midi_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "ticks",
     .label = "New tick rate:",
     .kind = ProcessValueKind::Whole,
     .unit = "ticks per quarter note",
     .least = 1,
     .most = 32767,
     .standard = 480,
     .help = "Usual are 96, 120, 192, 384, 480 and 960. Lower rates round times more coarsely."},
};

// Notes that had a length and would lose it get one tick, unless the same key starts again at that tick.
void keepLengths(std::vector<MidiEvent>& events, const std::vector<std::uint64_t>& oldTicks) {
    std::map<unsigned, std::size_t> sounding;  // by channel and key: the note-on
    std::vector<std::size_t> shortened;
    for (std::size_t i = 0; i < events.size(); ++i) {
        const MidiEvent& event = events[i];
        if (!event.isChannel() || !(event.isNoteOn() || event.isNoteOff()))
            continue;
        const unsigned key = event.channel() * 128u + event.data1;
        const auto on = sounding.find(key);
        if (event.isNoteOff() && on != sounding.end()) {
            if (oldTicks[i] > oldTicks[on->second] && event.tick == events[on->second].tick)
                shortened.push_back(i);
            sounding.erase(on);
        } else if (event.isNoteOn()) {
            if (!shortened.empty() && on == sounding.end()) {
                // Struck again before the lengthened note could end.
                std::erase_if(shortened, [&](std::size_t off) {
                    return events[off].data1 == event.data1 && events[off].channel() == event.channel() &&
                           events[off].tick == event.tick;
                });
            }
            sounding[key] = i;
        }
        // Only those of the current tick can still be struck again.
        if (!shortened.empty() && events[shortened.front()].tick < event.tick) {
            for (const std::size_t off : shortened)
                ++events[off].tick;
            shortened.clear();
        }
    }
    for (const std::size_t off : shortened)
        ++events[off].tick;
}

ProcessOutcome run(ProcessJob& job) {
    if (job.item.kind() != ItemKind::MidiSong)
        return ProcessOutcome::Unchanged;
    auto& song = static_cast<MidiSong&>(job.item);
    const auto ticks = static_cast<std::uint16_t>(job.settings.whole("ticks"));
    if (song.division == ticks)
        return ProcessOutcome::Unchanged;
    const bool smpte = (song.division & 0x8000) && (song.division & 0xFF);
    const std::uint64_t old = song.division == 0 || (song.division & 0x8000) ? 480u : song.division;
    MidiEdit edit(song);
    if (!edit.load(job.ui))
        return ProcessOutcome::Failed;
    const MidiClock clock(song.division);
    for (MidiTrackEdit& track : edit.tracks) {
        if (job.ui.aborted())
            return cancelled();
        // Under SMPTE time tempos do not count; with ticks per quarter note, they would.
        if (smpte)
            std::erase_if(track.events,
                          [](const MidiEvent& event) { return event.isMeta(midi::kMetaTempo); });
        std::vector<std::uint64_t> oldTicks;
        for (MidiEvent& event : track.events) {
            oldTicks.push_back(event.tick);
            if (event.tick > kMostSongTicks)
                return processFailed("The song would become too long");
            // 120 quarter notes a minute.
            event.tick =
                smpte ? static_cast<std::uint64_t>(roundToInteger(clock.seconds(event.tick) * 2 * ticks))
                      : (event.tick * ticks + old / 2) / old;
        }
        keepLengths(track.events, oldTicks);
    }
    if (edit.store(job.ui) < 0)
        return ProcessOutcome::Failed;
    song.division = ticks;
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition changeTickRate{run, kParameters,
                                                 "Changes how finely a song divides the quarter note. Every "
                                                 "event is put on the tick nearest to its old time; "
                                                 "events keep their order, and notes keep at least one tick. "
                                                 "Songs that count frames of film become songs of "
                                                 "120 quarter notes a minute that play as fast."};

}  // namespace velor::midi_processes
