#include <algorithm>
#include <cmath>
#include <deque>
#include <map>
#include <set>

#include "app/processing/midi/midi_tools.h"
#include "base/error.h"
#include "base/rounding.h"
#include "items/midi_timeline.h"

namespace velor::midi_processes {

namespace {

enum Reset : std::size_t { NoReset, GeneralMidi, GeneralMidi2, RolandGs, YamahaXg };

constexpr ProcessParameter kParameters[] = {
    {.key = "hanging-notes",
     .label = "End notes that never end",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "At the end of their track."},
    {.key = "overlaps",
     .label = "End notes before the same key is struck again",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help =
         "Instruments differ in what they do when a key is struck that is down already. Note-offs without a "
         "note go."},
    {.key = "order",
     .label = "Put simultaneous messages of a track in order",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help =
         "Note-offs, then banks, programs and controllers, then note-ons. What would sound different by that "
         "is left as it is."},
    {.key = "conductor",
     .label = "Move tempos and time signatures to the first track",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Where the file standard wants them. Songs of format 1 only."},
    {.key = "initial-controllers",
     .label = "Set controllers at the start",
     .kind = ProcessValueKind::Switch,
     .help = "Volume, panorama, expression, modulation, sustain pedal and pitch bend of each channel that "
             "plays notes "
             "and does not set them before, to what a General MIDI instrument starts with."},
    {.key = "reset",
     .label = "Begin with the reset message:",
     .kind = ProcessValueKind::Choice,
     .words = "none|gm|gm2|gs|xg",
     .help = "Switches instruments to General MIDI 1 or 2, GS or XG. Not where the song sends one of these "
             "already."},
    {.key = "reset-wait",
     .label = "Time for the reset:",
     .kind = ProcessValueKind::Whole,
     .unit = "ms",
     .most = 5000,
     .standard = 200,
     .help = "Instruments need it before they understand the next message. The song begins that much later."},
};

unsigned keyOf(const MidiEvent& event) {
    return event.channel() * 128u + event.data1;
}

bool isNoteOn(const MidiEvent& event) {
    return event.isChannel() && event.isNoteOn();
}

bool isNoteOff(const MidiEvent& event) {
    return event.isChannel() && event.isNoteOff();
}

MidiEvent endOfTrack(std::uint64_t tick) {
    MidiEvent event;
    event.tick = tick;
    event.status = midi::kMeta;
    event.metaType = midi::kMetaEndOfTrack;
    return event;
}

void pairNotes(std::vector<MidiEvent>& events, bool endHanging, bool endOverlaps) {
    std::vector<MidiEvent> result;
    std::map<unsigned, unsigned> sounding;
    std::map<unsigned, unsigned> ended;  // notes that were ended early, whose own note-offs may still come
    std::map<unsigned, int> spare;       // note-offs still to come, less the note-ons
    for (const MidiEvent& event : events) {
        if (isNoteOn(event) || isNoteOff(event))
            spare[keyOf(event)] += isNoteOff(event) ? 1 : -1;
    }
    std::uint64_t last = 0;
    for (const MidiEvent& event : events) {
        last = std::max(last, event.tick);
        if (isNoteOn(event) || isNoteOff(event))
            spare[keyOf(event)] -= isNoteOff(event) ? 1 : -1;
        if (isNoteOn(event)) {
            unsigned& count = sounding[keyOf(event)];
            if (endOverlaps && count > 0) {
                result.push_back(
                    channelMessage(event.tick, midi::kNoteOff | event.channel(), event.data1, 64));
                ++ended[keyOf(event)];
                --count;
            }
            ++count;
        } else if (isNoteOff(event)) {
            unsigned& count = sounding[keyOf(event)];
            if (endOverlaps && ended[keyOf(event)] > 0) {
                --ended[keyOf(event)];
                // Many songs strike a key twice and release it once: that release counts.
                if (spare[keyOf(event)] > 0)
                    continue;
            }
            if (count > 0)
                --count;
            else if (endOverlaps)
                continue;
        }
        if (!event.isEndOfTrack())
            result.push_back(event);
    }
    for (const auto& [key, count] : sounding) {
        for (unsigned i = 0; endHanging && i < count; ++i)
            result.push_back(channelMessage(last, midi::kNoteOff | key / 128, key % 128, 64));
    }
    result.push_back(endOfTrack(last));
    events = std::move(result);
}

// The place of an event among those of the same tick and track.
int placeOf(const MidiEvent& event) {
    if (!event.isChannel())
        return 1;
    if (event.isNoteOff())
        return 0;
    if (event.isNoteOn())
        return 6;
    if (event.type() == midi::kController)
        return event.data1 == 0 ? 2 : event.data1 == 32 ? 3 : 5;
    return event.type() == midi::kProgram ? 4 : 5;
}

// Whether putting the events of one tick in order leaves what they mean: no channel sets a program, bank or
// controller twice, no channel mode message, no data entry, no note that begins and ends here.
bool mayBeOrdered(std::span<const MidiEvent> events) {
    std::set<unsigned> set, struck;
    for (const MidiEvent& event : events) {
        if (!event.isChannel())
            continue;
        if (event.isNoteOn()) {
            struck.insert(keyOf(event));
        } else if (event.isNoteOff()) {
            if (struck.contains(keyOf(event)))
                return false;
        } else {
            const bool controller = event.type() == midi::kController;
            if (controller && (event.data1 >= 120 || event.data1 == 6 || event.data1 == 38 ||
                               (event.data1 >= 96 && event.data1 <= 101)))
                return false;
            const bool numbered = controller || event.type() == 0xA0;
            if (!set.insert(event.status * 128u + (numbered ? event.data1 : 0u)).second)
                return false;
        }
    }
    return true;
}

void orderEvents(std::vector<MidiEvent>& events) {
    for (std::size_t from = 0; from < events.size();) {
        std::size_t until = from;
        // System messages stay where they are, so they divide the events of a tick.
        while (until < events.size() && events[until].tick == events[from].tick &&
               (events[until].isChannel() || until == from))
            ++until;
        const std::span<MidiEvent> group = std::span(events).subspan(from, until - from);
        if (group.front().isChannel() && mayBeOrdered(group))
            std::ranges::stable_sort(group, {}, placeOf);
        from = until;
    }
}

bool isConductor(const MidiEvent& event) {
    return event.isMeta(midi::kMetaTempo) || event.isMeta(kMetaTimeSignature);
}

void moveConductor(MidiEdit& edit) {
    std::vector<MidiEvent> moved;
    // In the order they take effect, for those of the same time.
    for (const MidiEdit::Place place : edit.playingOrder()) {
        if (isConductor(edit.at(place)))
            moved.push_back(edit.at(place));
    }
    for (MidiTrackEdit& track : edit.tracks)
        std::erase_if(track.events, isConductor);
    std::vector<MidiEvent>& first = edit.tracks.front().events;
    std::vector<MidiEvent> all;
    all.reserve(first.size() + moved.size());
    std::size_t next = 0;
    // Ahead of what else happens at their time, but behind the name at the start.
    for (const MidiEvent& event : first) {
        const bool heads = event.status == midi::kMeta && event.tick == 0 && !event.isEndOfTrack();
        while (next < moved.size() &&
               (moved[next].tick < event.tick || (moved[next].tick == event.tick && !heads)))
            all.push_back(moved[next++]);
        all.push_back(event);
    }
    all.insert(all.end(), moved.begin() + static_cast<std::ptrdiff_t>(next), moved.end());
    first = std::move(all);
}

struct StartValue {
    std::uint8_t controller, value;
};
constexpr StartValue kStart[] = {{7, 100}, {10, 64}, {11, 127}, {1, 0}, {64, 0}};
constexpr std::uint8_t kBend = 0xE0;

// Puts controllers at the start of the track that first plays a note on each channel.
void setControllers(MidiEdit& edit) {
    std::set<std::pair<unsigned, int>> set;  // channel of a port, controller (128: bend)
    std::set<unsigned> playing;
    std::map<std::uint32_t, std::vector<MidiEvent>> added;
    for (const MidiEdit::Place place : edit.playingOrder()) {
        const MidiEvent& event = edit.at(place);
        if (!event.isChannel())
            continue;
        const unsigned channel = portOf(*edit.tracks[place.track].track) * 16u + event.channel();
        if (event.type() == midi::kController)
            set.insert({channel, event.data1});
        else if (event.type() == kBend)
            set.insert({channel, 128});
        if (!event.isNoteOn() || !playing.insert(channel).second)
            continue;
        std::vector<MidiEvent>& to = added[place.track];
        for (const auto& [controller, value] : kStart) {
            if (!set.contains({channel, controller}))
                to.push_back(channelMessage(0, midi::kController | event.channel(), controller, value));
        }
        if (!set.contains({channel, 128}))
            to.push_back(channelMessage(0, kBend | event.channel(), 0, 64));
    }
    for (auto& [track, messages] : added) {
        std::vector<MidiEvent>& events = edit.tracks[track].events;
        const auto first = std::ranges::find_if(events, [](const MidiEvent& event) {
            return event.tick > 0 || event.status != midi::kMeta || event.isEndOfTrack();
        });
        events.insert(first, messages.begin(), messages.end());
    }
}

// Without the F0, with the F7.
constexpr Byte kGm[] = {0x7E, 0x7F, 0x09, 0x01, 0xF7};
constexpr Byte kGm2[] = {0x7E, 0x7F, 0x09, 0x03, 0xF7};
constexpr Byte kGs[] = {0x41, 0x10, 0x42, 0x12, 0x40, 0x00, 0x7F, 0x00, 0x41, 0xF7};
constexpr Byte kXg[] = {0x43, 0x10, 0x4C, 0x00, 0x00, 0x7E, 0x00, 0xF7};

std::span<const Byte> resetMessage(std::size_t which) {
    switch (which) {
        case GeneralMidi:
            return kGm;
        case GeneralMidi2:
            return kGm2;
        case RolandGs:
            return kGs;
        default:
            return kXg;
    }
}

// The device number may differ.
bool isReset(const MidiEvent& event) {
    if (event.status != midi::kSysEx)
        return false;
    for (const std::size_t which : {GeneralMidi, GeneralMidi2, RolandGs, YamahaXg}) {
        const std::span<const Byte> reset = resetMessage(which);
        if (event.data.size() == reset.size() && event.data[0] == reset[0] &&
            std::equal(reset.begin() + 2, reset.end(), event.data.begin() + 2))
            return true;
    }
    return false;
}

void addReset(MidiEdit& edit, std::size_t which, double milliseconds) {
    for (const MidiTrackEdit& track : edit.tracks) {
        if (std::ranges::any_of(track.events, isReset))
            return;
    }
    const MidiTempoMap tempos(edit, edit.playingOrder());
    const auto wait = static_cast<std::uint64_t>(std::ceil(tempos.tick(milliseconds / 1000)));
    for (MidiTrackEdit& track : edit.tracks) {
        for (MidiEvent& event : track.events) {
            // Names, tempo and signatures of the start stay there.
            if (event.tick > 0 || event.status != midi::kMeta || event.isEndOfTrack())
                event.tick += wait;
        }
    }
    MidiEvent reset;
    reset.status = midi::kSysEx;
    reset.data = resetMessage(which);
    std::vector<MidiEvent>& first = edit.tracks.front().events;
    first.insert(std::ranges::find_if(first, [](const MidiEvent& event) { return event.tick > 0; }), reset);
}

ProcessOutcome repair(ProcessJob& job, MidiEdit& edit) {
    const ProcessSettings& set = job.settings;
    if (!edit.load(job.ui))
        return ProcessOutcome::Failed;
    if (edit.tracks.empty())
        return ProcessOutcome::Unchanged;
    const bool together = edit.wholeSong() && !edit.patterns();
    // First what looks at the tracks as they were loaded.
    if (set.flag("conductor") && together && edit.tracks.size() > 1)
        moveConductor(edit);
    for (MidiTrackEdit& track : edit.tracks) {
        if (job.ui.aborted())
            return cancelled();
        if (set.flag("hanging-notes") || set.flag("overlaps"))
            pairNotes(track.events, set.flag("hanging-notes"), set.flag("overlaps"));
        if (set.flag("order"))
            orderEvents(track.events);
    }
    // What looks at all tracks in playing order needs them stored.
    const int changed = edit.store(job.ui, true);
    if (changed < 0)
        return ProcessOutcome::Failed;
    bool more = changed > 0;
    if (set.flag("initial-controllers") && together) {
        if (!edit.load(job.ui))
            return ProcessOutcome::Failed;
        setControllers(edit);
        const int controllers = edit.store(job.ui);
        if (controllers < 0)
            return ProcessOutcome::Failed;
        more = more || controllers > 0;
    }
    if (set.choice("reset") != NoReset && together) {
        if (!edit.load(job.ui))
            return ProcessOutcome::Failed;
        addReset(edit, set.choice("reset"), set.number("reset-wait"));
        const int reset = edit.store(job.ui);
        if (reset < 0)
            return ProcessOutcome::Failed;
        more = more || reset > 0;
    }
    return more ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

ProcessOutcome run(ProcessJob& job) {
    MidiEdit edit(job.item);
    std::vector<std::pair<std::vector<Byte>, std::uint32_t>> before;
    for (const MidiTrackEdit& each : edit.tracks)
        before.emplace_back(each.track->events, each.track->eventCount);
    const ProcessOutcome outcome = repair(job, edit);
    if (outcome == ProcessOutcome::Failed) {
        for (std::size_t i = 0; i < before.size(); ++i) {
            edit.tracks[i].track->events = std::move(before[i].first);
            edit.tracks[i].track->eventCount = before[i].second;
        }
    }
    return outcome;
}

}  // namespace

constinit const ProcessDefinition fixMidiCompatibility{
    run, kParameters,
    "Mends what some programs and instruments stumble over: notes that never end or overlap, messages in an "
    "order "
    "that plays the first notes with the old program, tempos outside of the first track. Tracks are written "
    "anew with one end-of-track event each, without stray bytes and without running status across meta "
    "events. "
    "What a good instrument plays stays the same."};

}  // namespace velor::midi_processes
