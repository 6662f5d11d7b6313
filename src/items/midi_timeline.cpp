#include "items/midi_timeline.h"

#include <algorithm>
#include <array>
#include <unordered_set>

#include "base/error.h"
#include "items/channel_patches.h"
#include "items/collection.h"

namespace velor {

namespace {

constexpr std::uint32_t kDefaultTempo = 500000;
constexpr std::array<Byte, 3> kDefaultTempoData{0x07, 0xA1, 0x20};
constexpr std::uint16_t kDefaultDivision = 480;

std::uint8_t phaseOf(const MidiEvent& event) {
    return event.isNoteOff() ? 0 : event.isNoteOn() ? 2 : 1;
}

bool setsTempoAtStart(const MidiTrack& track) {
    MidiEventReader reader(track.events);
    MidiEvent event;
    while (reader.next(event) && event.tick == 0) {
        if (event.tempo() != 0)
            return true;
    }
    return false;
}

std::uint32_t messageOf(const MidiEvent& event, const MidiTrack& track) {
    return event.status | std::uint32_t{event.data1} << 8 | std::uint32_t{event.data2} << 16 |
           std::uint32_t{portOf(track)} << 24;
}

// Plays the song (or the track alone, with the song's tempos) into `use(seconds, event, track)`.
template <typename Use>
void play(MidiSongReader reader, std::uint16_t division, const Use& use) {
    MidiClock clock(division);
    MidiEvent event;
    const MidiTrack* track = nullptr;
    while (reader.next(event, track)) {
        clock.setTempo(event.tick, event.tempo());
        use(clock.seconds(event.tick), event, *track);
    }
}

bool collect(const MidiSongReader& reader, std::uint16_t division, const MidiTrack* only,
             std::vector<TimelineEntry>& timeline) {
    timeline.clear();
    bool any = false;
    double end = 0;
    play(reader, division, [&](double seconds, const MidiEvent& event, const MidiTrack& track) {
        if (only && &track != only)
            return;
        any = true;
        end = seconds;
        if (event.isChannel())
            timeline.push_back({seconds, messageOf(event, track)});
    });
    if (!any)
        return fail("Failed processing MIDI");
    timeline.push_back({end, 0});
    return true;
}

std::vector<PatchNumber> patchesOf(MidiSongReader reader) {
    ChannelPatches channels;
    std::vector<PatchNumber> patches;
    std::unordered_set<std::uint32_t> seen;
    MidiEvent event;
    const MidiTrack* track = nullptr;
    while (reader.next(event, track)) {
        if (!event.isChannel())
            continue;
        const PatchNumber patch = channels.follow(event, *track);
        if (event.isNoteOn() && seen.insert(patch.value).second)
            patches.push_back(patch);
    }
    return patches;
}

}  // namespace

MidiClock::MidiClock(std::uint16_t division) {
    if ((division & 0x8000) && (division & 0xFF)) {
        const int frames = 256 - (division >> 8);
        secondsPerTick_ = 1 / ((frames == 29 ? 30000 / 1001.0 : frames) * (division & 0xFF));
        return;
    }
    quarter_ = division == 0 || (division & 0x8000) ? kDefaultDivision : division;
    setTempo(0, kDefaultTempo);
}

void MidiClock::setTempo(std::uint64_t tick, std::uint32_t microsecondsPerQuarter) {
    if (microsecondsPerQuarter == 0 || quarter_ == 0)
        return;
    seconds_ = seconds(tick);
    tick_ = tick;
    secondsPerTick_ = microsecondsPerQuarter / (1e6 * quarter_);
}

MidiSongReader::MidiSongReader(const MidiSong& song) : patterns_(song.format == 2) {
    for (const ItemId id : song.links) {
        if (const auto* track = song.owner().find<MidiTrack>(id))
            addPart(*track);
    }
    if (patterns_)
        startPatterns();
}

MidiSongReader::MidiSongReader(const MidiTrack& track) {
    addPart(track);
}

void MidiSongReader::addPart(const MidiTrack& track) {
    parts_.push_back({&track, MidiEventReader(track.events), {}, 0, false});
    advance(parts_.back());
    if (patterns_ || !parts_.back().playing)
        return;
    heap_.push_back(parts_.size() - 1);
    std::push_heap(heap_.begin(), heap_.end(), [this](auto a, auto b) { return later(a, b); });
}

void MidiSongReader::advance(Part& part) {
    const std::uint64_t before = part.event.tick;
    const bool first = !part.playing;
    part.playing = part.reader.next(part.event);
    const std::uint8_t phase = phaseOf(part.event);
    part.phase = !first && part.event.tick == before ? std::max(part.phase, phase) : phase;
}

bool MidiSongReader::later(std::size_t a, std::size_t b) const {
    const Part &x = parts_[a], &y = parts_[b];
    if (x.event.tick != y.event.tick)
        return x.event.tick > y.event.tick;
    return x.phase != y.phase ? x.phase > y.phase : a > b;
}

bool MidiSongReader::next(MidiEvent& event, const MidiTrack*& track) {
    if (patterns_)
        return nextOfPattern(event, track);
    if (heap_.empty())
        return false;
    const auto order = [this](std::size_t a, std::size_t b) { return later(a, b); };
    std::pop_heap(heap_.begin(), heap_.end(), order);
    Part& part = parts_[heap_.back()];
    event = part.event;
    track = part.track;
    advance(part);
    if (part.playing)
        std::push_heap(heap_.begin(), heap_.end(), order);
    else
        heap_.pop_back();
    return true;
}

void MidiSongReader::startPatterns() {
    const auto number = [](const Part& part) {
        return static_cast<std::uint32_t>(part.track->sequenceNumber);  // -1 becomes the largest
    };
    std::ranges::stable_sort(parts_, {}, number);
}

bool MidiSongReader::nextOfPattern(MidiEvent& event, const MidiTrack*& track) {
    for (; pattern_ < parts_.size(); ++pattern_, patternOpened_ = false) {
        Part& part = parts_[pattern_];
        if (!part.playing)
            continue;
        track = part.track;
        if (!patternOpened_) {
            patternOpened_ = true;
            if (tempoChanged_ && !setsTempoAtStart(*part.track)) {
                tempoChanged_ = false;
                event = {};
                event.tick = patternStart_;
                event.status = midi::kMeta;
                event.metaType = midi::kMetaTempo;
                event.data = kDefaultTempoData;
                return true;
            }
        }
        event = part.event;
        event.tick += patternStart_;
        if (const std::uint32_t tempo = event.tempo())
            tempoChanged_ = tempo != kDefaultTempo;
        part.playing = part.reader.next(part.event);
        if (!part.playing)
            patternStart_ = event.tick;
        return true;
    }
    return false;
}

bool buildTimeline(const MidiSong& song, std::vector<TimelineEntry>& timeline) {
    return collect(MidiSongReader(song), song.division, nullptr, timeline);
}

bool buildTimeline(const MidiTrack& track, std::vector<TimelineEntry>& timeline) {
    const MidiSong* song = track.owner().songHolding(track);
    if (!song)
        return collect(MidiSongReader(track), kDefaultDivision, &track, timeline);
    return song->format == 2 ? collect(MidiSongReader(track), song->division, &track, timeline)
                             : collect(MidiSongReader(*song), song->division, &track, timeline);
}

double songSeconds(const MidiSong& song) {
    double end = 0;
    play(MidiSongReader(song), song.division,
         [&](double seconds, const MidiEvent&, const MidiTrack&) { end = seconds; });
    return end;
}

std::uint8_t portOf(const MidiTrack& track) {
    return track.port >= 0 && track.port <= 255 ? static_cast<std::uint8_t>(track.port) : 0;
}

std::uint32_t portCount(const MidiSong& song) {
    std::uint32_t count = 1;
    for (const ItemId id : song.links) {
        const auto* track = song.owner().find<MidiTrack>(id);
        if (track && portOf(*track) >= count && countMidiEvents(track->events).channelEvents > 0)
            count = portOf(*track) + 1u;
    }
    return count;
}

std::vector<PatchNumber> usedPatches(const MidiSong& song) {
    return patchesOf(MidiSongReader(song));
}

std::vector<PatchNumber> usedPatches(const MidiTrack& track) {
    return patchesOf(MidiSongReader(track));
}

}  // namespace velor
