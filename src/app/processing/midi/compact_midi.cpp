#include "app/processing/midi/midi_tools.h"

#include <algorithm>
#include <array>
#include <unordered_map>

#include "items/midi_timeline.h"

namespace velor::midi_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "repeated",
     .label = "Remove messages that repeat what is set already",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help =
         "Controllers, programs, pitch bend and aftertouch. Controllers that only work in sequence, such as "
         "data entry and parameter numbers, stay."},
    {.key = "note-offs",
     .label = "Write note-off as note-on of velocity 0",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Saves a byte in most notes. Only where the release velocity says nothing (0 or 64)."},
    {.key = "empty-tracks",
     .label = "Remove empty tracks",
     .kind = ProcessValueKind::Switch,
     .help = "Tracks that hold a name at most. The first track stays."},
    {.key = "texts",
     .label = "Remove texts",
     .kind = ProcessValueKind::Switch,
     .help = "All texts, names, markers and lyrics."},
};

constexpr std::uint8_t kKeyPressure = 0xA0, kChannelPressure = 0xD0, kBend = 0xE0;
constexpr int kUnknown = -1;

// What one channel of a port is known to be set to.
struct ChannelState {
    std::array<int, 128> controllers;
    std::array<int, 128> keyPressure;
    int program, pressure, bend;
    ChannelState() { forget(); }
    void forget() {
        controllers.fill(kUnknown);
        keyPressure.fill(kUnknown);
        program = pressure = bend = kUnknown;
    }
};

// Bank select takes effect with a program only, data entry and its kin depend on each other, and channel mode
// messages do something each time.
bool mayRepeat(unsigned controller) {
    return controller != 0 && controller != 32 && controller != 6 && controller != 38 &&
           !(controller >= 96 && controller <= 101) && controller < 120;
}

// Whether the event sets what is set already; notes what it sets.
bool repeats(const MidiEvent& event, ChannelState& state) {
    const auto set = [](int& known, int value) {
        const bool same = known == value;
        known = value;
        return same;
    };
    switch (event.type()) {
        case midi::kController:
            if (event.data1 >= 120)
                state.forget();
            if (event.data1 == 0 || event.data1 == 32)
                state.program = kUnknown;
            return mayRepeat(event.data1) && set(state.controllers[event.data1], event.data2);
        case midi::kProgram:
            return set(state.program, event.data1);
        case kChannelPressure:
            return set(state.pressure, event.data1);
        case kBend:
            return set(state.bend, event.data1 | event.data2 << 7);
        case kKeyPressure:
            return set(state.keyPressure[event.data1], event.data2);
        case midi::kNoteOn:
        case midi::kNoteOff:
            // A new note begins without pressure.
            state.keyPressure[event.data1] = kUnknown;
            return false;
        default:
            return false;
    }
}

bool isEmpty(const MidiTrackEdit& track) {
    return std::ranges::all_of(track.events, [](const MidiEvent& event) {
        return event.isEndOfTrack() || event.isMeta(midi::kMetaName) || event.isMeta(midi::kMetaPort);
    });
}

ProcessOutcome run(ProcessJob& job) {
    MidiEdit edit(job.item);
    if (!edit.load(job.ui))
        return ProcessOutcome::Failed;
    std::size_t before = 0, after = 0;
    for (const MidiTrackEdit& track : edit.tracks)
        before += track.track->events.size();
    std::vector<std::vector<bool>> superfluous(edit.tracks.size());
    for (std::size_t i = 0; i < edit.tracks.size(); ++i)
        superfluous[i].assign(edit.tracks[i].events.size(), false);
    if (job.settings.flag("repeated")) {
        std::unordered_map<unsigned, ChannelState> states;
        const auto repeated = [&](const MidiEvent& event, const MidiTrack& track) {
            // Exclusive messages may reset anything.
            if (event.status == midi::kSysEx || event.status == midi::kEscape)
                states.clear();
            return event.isChannel() && repeats(event, states[portOf(track) * 16u + event.channel()]);
        };
        std::size_t count = 0;
        if (edit.wholeSong() || !edit.song() || edit.patterns()) {
            std::uint32_t pattern = 0;
            for (const MidiEdit::Place place : edit.playingOrder()) {
                if (++count % 16384 == 0 && job.ui.aborted())
                    return cancelled();
                if (edit.patterns() && place.track != pattern)
                    states.clear();  // a pattern may be played on its own
                pattern = place.track;
                superfluous[place.track][place.event] =
                    repeated(edit.at(place), *edit.tracks[place.track].track);
            }
        } else {
            // Of a single track; the others of its song may set the same channels.
            MidiSongReader reader(*edit.song());
            MidiEvent event;
            const MidiTrack* track = nullptr;
            std::size_t own = 0;
            while (reader.next(event, track)) {
                if (++count % 16384 == 0 && job.ui.aborted())
                    return cancelled();
                const bool repeat = repeated(event, *track);
                if (track == edit.tracks[0].track && own < superfluous[0].size())
                    superfluous[0][own++] = repeat;
            }
        }
    }
    for (std::size_t i = 0; i < edit.tracks.size(); ++i) {
        std::vector<MidiEvent>& events = edit.tracks[i].events;
        std::vector<MidiEvent> kept;
        for (std::size_t j = 0; j < events.size(); ++j) {
            MidiEvent event = events[j];
            const bool text = event.status == midi::kMeta && event.metaType > 0 && event.metaType < 0x10;
            if (superfluous[i][j] || (text && job.settings.flag("texts")))
                continue;
            if (job.settings.flag("note-offs") && event.isChannel() && event.type() == midi::kNoteOff &&
                (event.data2 == 0 || event.data2 == 64)) {
                event.status = static_cast<std::uint8_t>(midi::kNoteOn | event.channel());
                event.data2 = 0;
            }
            kept.push_back(event);
        }
        // The end of the track keeps its time.
        if (!events.empty() && !events.back().isEndOfTrack()) {
            MidiEvent end;
            end.tick = events.back().tick;
            end.status = midi::kMeta;
            end.metaType = midi::kMetaEndOfTrack;
            kept.push_back(end);
        }
        events = std::move(kept);
    }
    std::vector<ItemId> empty;
    if (job.settings.flag("empty-tracks") && edit.wholeSong()) {
        for (std::size_t i = 1; i < edit.tracks.size(); ++i) {
            if (isEmpty(edit.tracks[i]))
                empty.push_back(edit.tracks[i].track->id());
        }
    }
    const int changed = edit.store(job.ui, true);
    if (changed < 0)
        return ProcessOutcome::Failed;
    for (const MidiTrackEdit& each : edit.tracks) {
        if (std::ranges::find(empty, each.track->id()) == empty.end())
            after += each.track->events.size();
    }
    for (const ItemId id : empty) {
        edit.song()->links.remove(id);
        const auto holds = [&](const MidiSong* song) { return song->links.contains(id); };
        if (std::ranges::none_of(job.collection().all<MidiSong>(), holds))
            job.collection().remove(id);
    }
    if (changed == 0 && empty.empty())
        return ProcessOutcome::Unchanged;
    job.measure("saved", static_cast<double>(before) - static_cast<double>(after), "bytes");
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition compactMidi{run, kParameters,
                                              "Writes songs with as few bytes as the file standard allows, "
                                              "by running status, and leaves out messages that "
                                              "change nothing. What is heard stays the same."};

}  // namespace velor::midi_processes
