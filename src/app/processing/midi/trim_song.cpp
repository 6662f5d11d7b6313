#include "app/processing/midi/midi_tools.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <tuple>

#include "base/error.h"
#include "base/rounding.h"
#include "items/midi_timeline.h"

namespace velor::midi_processes {

namespace {

enum Unit : std::size_t { Seconds, Ticks, Bars };

constexpr ProcessParameter kParameters[] = {
    {.key = "skip-silence",
     .label = "Start with the first note",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Removes what time lies before the first note, or before the first one from the start below."},
    {.key = "unit",
     .label = "Start and length are in:",
     .kind = ProcessValueKind::Choice,
     .words = "seconds|ticks|bars",
     .help = "Bars follow the song's time signatures, 4/4 until there is one."},
    {.key = "start",
     .label = "New start:",
     .kind = ProcessValueKind::Number,
     .most = 4294967295.0,
     .help = "From the beginning, 0 for there. What is in front of it is removed."},
    {.key = "length",
     .label = "New length:",
     .kind = ProcessValueKind::Number,
     .most = 4294967295.0,
     .help = "From the new start; 0 for up to the end. Notes that sound then are ended."},
};

constexpr std::uint8_t kKeyPressure = 0xA0;

// Bars to ticks by the time signatures of a song.
class BarMap {
  public:
    BarMap(const MidiEdit& edit, std::span<const MidiEdit::Place> order) {
        const double quarter = edit.song() && edit.song()->division ? edit.song()->division : 480;
        parts_.push_back({0, 0, 4 * quarter});
        edit.eachInTime(order, [&](const MidiEvent& event) {
            if (!event.isMeta(kMetaTimeSignature) || event.data.size() < 2 || event.data[0] == 0 ||
                event.data[1] > 7)
                return;
            const double ticks = quarter * 4 * event.data[0] / (1u << event.data[1]);
            const double tick = static_cast<double>(event.tick);
            const Part& last = parts_.back();
            const Part next{tick, last.bar + (tick - last.tick) / last.ticks, ticks};
            if (last.tick == tick)
                parts_.pop_back();
            parts_.push_back(next);
        });
    }
    double tick(double bar) const {
        const Part& part = find(bar, &Part::bar);
        return part.tick + (bar - part.bar) * part.ticks;
    }
    double bar(double tick) const {
        const Part& part = find(tick, &Part::tick);
        return part.bar + (tick - part.tick) / part.ticks;
    }

  private:
    struct Part {
        double tick, bar, ticks;
    };
    const Part& find(double value, double Part::*by) const {
        const auto above = std::upper_bound(parts_.begin() + 1, parts_.end(), value,
                                            [by](double x, const Part& part) { return x < part.*by; });
        return *(above - 1);
    }
    std::vector<Part> parts_;
};

std::uint64_t wholeTick(double tick) {
    return static_cast<std::uint64_t>(
        std::clamp<std::int64_t>(roundToInteger(tick), 0, static_cast<std::int64_t>(kMostSongTicks)));
}

// What a message in front of the start sets, so that only the last one of the same need be kept. Empty for
// those that all count: exclusive messages, parameter numbers and their data, bank select, channel mode.
using Setting = std::tuple<int, unsigned, unsigned>;
bool settingOf(const MidiEvent& event, unsigned port, Setting& setting) {
    if (event.isChannel()) {
        const unsigned channel = port * 16u + event.channel();
        const unsigned number = event.data1;
        setting = {event.type(), channel, 0};
        if (event.type() == midi::kController) {
            setting = {event.type(), channel, number};
            return number != 0 && number != 32 && number != 6 && number != 38 &&
                   !(number >= 96 && number <= 101) && number < 120;
        }
        return event.type() != midi::kProgram;  // with its banks
    }
    setting = {event.status, event.metaType, 0};
    return event.isMeta(midi::kMetaTempo) || event.isMeta(kMetaTimeSignature) ||
           event.isMeta(kMetaKeySignature);
}

// Meta events that belong to a moment, not to the song or what follows.
bool momentary(const MidiEvent& event) {
    return event.status == midi::kMeta &&
           (event.metaType == midi::kMetaText || event.metaType == kMetaLyrics ||
            (event.metaType >= midi::kMetaMarker && event.metaType < 0x10));
}

bool isNote(const MidiEvent& event) {
    return event.isChannel() && (event.isNoteOn() || event.isNoteOff() || event.type() == kKeyPressure);
}

// Cuts start..end out of one track. `kept`: for events in front of the start, whether they are still needed.
std::vector<MidiEvent> cut(const std::vector<MidiEvent>& events, const std::vector<bool>& kept,
                           std::uint64_t start, std::uint64_t end) {
    std::vector<MidiEvent> result;
    std::map<unsigned, int> early, sounding;  // notes by channel and key
    std::map<unsigned, int> spare;            // note-offs still to come, less the note-ons
    for (const MidiEvent& event : events) {
        if (event.tick >= start && event.isChannel() && (event.isNoteOn() || event.isNoteOff()))
            spare[event.channel() * 128u + event.data1] += event.isNoteOff() ? 1 : -1;
    }
    std::uint64_t last = start;
    for (std::size_t i = 0; i < events.size(); ++i) {
        MidiEvent event = events[i];
        if (event.isEndOfTrack()) {
            last = std::max(last, std::min(event.tick, end));
            continue;
        }
        const unsigned key = event.channel() * 128u + event.data1;
        if (event.tick < start) {
            if (event.isChannel() && event.isNoteOn())
                ++early[key];
            else if (event.isChannel() && event.isNoteOff() && early[key] > 0)
                --early[key];
            if (!kept[i])
                continue;
            event.tick = 0;
            result.push_back(event);
            continue;
        }
        const bool on = event.isChannel() && event.isNoteOn(), off = event.isChannel() && event.isNoteOff();
        if (on || off)
            spare[key] -= off ? 1 : -1;
        if (event.tick > end || (event.tick == end && !off))
            continue;
        if (on) {
            ++sounding[key];
        } else if (off) {
            // Of a note that is gone, unless the key was struck again and would get no other.
            if (early[key] > 0 && (sounding[key] == 0 || spare[key] >= sounding[key])) {
                --early[key];
                continue;
            }
            sounding[key] -= sounding[key] > 0;
        }
        last = std::max(last, event.tick);
        event.tick -= start;
        result.push_back(event);
    }
    for (const auto& [key, count] : sounding) {
        if (count > 0 && end != UINT64_MAX) {
            for (int i = 0; i < count; ++i)
                result.push_back(channelMessage(end - start, midi::kNoteOff | key / 128, key % 128, 64));
            last = end;
        }
    }
    MidiEvent finish;
    finish.tick = last - start;
    finish.status = midi::kMeta;
    finish.metaType = midi::kMetaEndOfTrack;
    result.push_back(finish);
    return result;
}

ProcessOutcome run(ProcessJob& job) {
    const ProcessSettings& set = job.settings;
    MidiEdit edit(job.item);
    if (!edit.load(job.ui))
        return ProcessOutcome::Failed;
    if (edit.patterns() && edit.wholeSong())
        return processFailed(
            "The patterns of a song of format 2 have no common start; change its format first");
    const std::vector<MidiEdit::Place> order = edit.playingOrder();
    const MidiTempoMap tempos(edit, order);
    const std::size_t unit = set.choice("unit");
    const std::uint16_t division = edit.song() ? edit.song()->division : std::uint16_t{480};
    if (unit == Bars && (division & 0x8000))
        return processFailed("A song that counts frames of film has no bars");
    const double from = set.number("start");
    const BarMap bars(edit, order);
    const auto toTick = [&](double value) {
        return wholeTick(unit == Seconds ? tempos.tick(value) : unit == Bars ? bars.tick(value) : value);
    };
    std::uint64_t start = toTick(from);
    if (set.flag("skip-silence")) {
        std::uint64_t first = UINT64_MAX;
        for (const MidiTrackEdit& track : edit.tracks) {
            const auto note = std::ranges::find_if(track.events, [&](const MidiEvent& event) {
                return event.isChannel() && event.isNoteOn() && event.tick >= start;
            });
            if (note != track.events.end())
                first = std::min(first, note->tick);
        }
        if (first != UINT64_MAX)
            start = first;
    }
    std::uint64_t end = UINT64_MAX;
    if (const double length = set.number("length"); length > 0) {
        const double startTick = static_cast<double>(start);
        end = unit == Seconds ? toTick(tempos.seconds(startTick) + length)
              : unit == Bars  ? toTick(bars.bar(startTick) + length)
                              : start + wholeTick(length);
        end = std::max(end, start + 1);
    }

    // Of what lies in front of the start, the last of each kind is needed: over all tracks, since they set
    // the same channels.
    std::vector<std::vector<bool>> kept(edit.tracks.size());
    for (std::size_t i = 0; i < edit.tracks.size(); ++i)
        kept[i].assign(edit.tracks[i].events.size(), false);
    std::set<Setting> later;
    for (auto place = order.rbegin(); place != order.rend(); ++place) {
        if ((place - order.rbegin()) % 16384 == 0 && job.ui.aborted())
            return cancelled();
        const MidiEvent& event = edit.at(*place);
        if (event.tick >= start || isNote(event) || momentary(event))
            continue;
        Setting setting;
        kept[place->track][place->event] =
            !settingOf(event, portOf(*edit.tracks[place->track].track), setting) ||
            later.insert(setting).second;
    }
    for (std::size_t i = 0; i < edit.tracks.size(); ++i)
        edit.tracks[i].events = cut(edit.tracks[i].events, kept[i], start, end);
    return finish(job, edit);
}

}  // namespace

constinit const ProcessDefinition trimSong{
    run, kParameters,
    "Removes the silence in front of the first note, or cuts a song to a start and a length. Programs, "
    "controllers, tempo and the like that were set before the start are set at it, so that the rest sounds "
    "the "
    "same; notes that began before it are gone, and those that sound at the end are ended there."};

}  // namespace velor::midi_processes
