#include "items/midi_edit.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "base/error.h"
#include "items/midi_timeline.h"

namespace velor {

namespace {

constexpr std::size_t kBlock = 16384;  // events between two looks at the abort flag

bool stopped(UserInterface& ui) {
    return ui.aborted() && !fail("Processing was cancelled");
}

}  // namespace

MidiEdit::MidiEdit(Item& item) {
    if (item.kind() == ItemKind::MidiSong) {
        song_ = static_cast<MidiSong*>(&item);
        whole_ = true;
        for (const ItemId id : item.links) {
            if (auto* track = item.owner().find<MidiTrack>(id))
                tracks.push_back({track, {}});
        }
    } else if (item.kind() == ItemKind::MidiTrack) {
        auto* track = static_cast<MidiTrack*>(&item);
        tracks.push_back({track, {}});
        song_ = item.owner().songHolding(*track);
    }
}

namespace {

bool sameEvent(const MidiEvent& a, const MidiEvent& b) {
    return a.tick == b.tick && a.status == b.status && a.data1 == b.data1 && a.data2 == b.data2 &&
           a.metaType == b.metaType && std::ranges::equal(a.data, b.data);
}

bool holdsExactly(const MidiTrack& track, std::span<const MidiEvent> events) {
    MidiEventReader reader(track.events);
    MidiEvent event;
    std::size_t index = 0;
    while (reader.next(event)) {
        if (index == events.size() || !sameEvent(event, events[index]))
            return false;
        ++index;
    }
    return index == events.size();
}

}  // namespace

bool MidiEdit::load(UserInterface& ui) {
    for (MidiTrackEdit& each : tracks) {
        each.events.clear();
        MidiEventReader reader(each.track->events);
        for (MidiEvent event; reader.next(event);) {
            if (each.events.size() % kBlock == 0 && stopped(ui))
                return false;
            each.events.push_back(event);
        }
    }
    return true;
}

std::vector<MidiEdit::Place> MidiEdit::playingOrder() const {
    std::vector<Place> order;
    std::unordered_map<const MidiTrack*, std::uint32_t> indices;
    std::vector<std::uint32_t> delivered(tracks.size());
    for (std::uint32_t i = 0; i < tracks.size(); ++i)
        indices.emplace(tracks[i].track, i);
    const auto take = [&](MidiSongReader reader) {
        MidiEvent event;
        const MidiTrack* track = nullptr;
        while (reader.next(event, track)) {
            const auto found = indices.find(track);
            if (found == indices.end())
                continue;
            const std::uint32_t index = found->second;
            if (delivered[index] < tracks[index].events.size())
                order.push_back({index, delivered[index]++});
        }
    };
    if (whole_ && !patterns()) {
        take(MidiSongReader(*song_));
    } else {
        for (const MidiTrackEdit& each : tracks)
            take(MidiSongReader(*each.track));
    }
    return order;
}

int MidiEdit::store(UserInterface& ui, bool writeAll) {
    std::vector<std::vector<Byte>> streams(tracks.size());
    std::vector<std::uint32_t> counts(tracks.size());
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        std::vector<MidiEvent>& events = tracks[i].events;
        if (stopped(ui))
            return -1;
        std::ranges::stable_sort(events, {}, &MidiEvent::tick);
        if (!writeAll && holdsExactly(*tracks[i].track, events)) {
            streams[i] = tracks[i].track->events;
            continue;
        }
        MidiEventWriter writer(streams[i]);
        std::uint64_t end = 0;
        std::size_t written = 0;
        for (const MidiEvent& event : events) {
            if (++written % kBlock == 0 && stopped(ui))
                return -1;
            if (event.tick > kMostSongTicks) {
                fail("The song would become too long");
                return -1;
            }
            end = event.tick;
            if (!event.isEndOfTrack())
                writer.add(event);
        }
        writer.addEndOfTrack(end);
        counts[i] = writer.count();
    }
    int changed = 0;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        MidiTrack& track = *tracks[i].track;
        tracks[i].events.clear();
        if (track.events == streams[i])
            continue;
        track.events = std::move(streams[i]);
        track.eventCount = counts[i];
        ++changed;
    }
    return changed;
}

MidiEvent channelMessage(std::uint64_t tick, unsigned status, unsigned data1, unsigned data2) {
    MidiEvent event;
    event.tick = tick;
    event.status = static_cast<std::uint8_t>(status);
    event.data1 = static_cast<std::uint8_t>(data1);
    event.data2 = static_cast<std::uint8_t>(data2);
    return event;
}

MidiTempoMap::MidiTempoMap(const MidiEdit& edit, std::span<const MidiEdit::Place> order) {
    const std::uint16_t division = edit.song() ? edit.song()->division : 480;
    MidiClock clock(division);
    const auto add = [this, &clock](std::uint64_t tick) {
        const double from = clock.seconds(tick);
        const Part part{static_cast<double>(tick), from, clock.seconds(tick + 1) - from};
        if (!parts_.empty() && parts_.back().tick == part.tick)
            parts_.pop_back();
        parts_.push_back(part);
    };
    add(0);
    edit.eachInTime(order, [&](const MidiEvent& event) {
        if (event.tempo() == 0)
            return;
        clock.setTempo(event.tick, event.tempo());
        add(event.tick);
    });
}

double MidiTempoMap::seconds(double tick) const {
    const auto above = std::upper_bound(parts_.begin() + 1, parts_.end(), tick,
                                        [](double value, const Part& part) { return value < part.tick; });
    const Part& part = *(above - 1);
    return part.seconds + (tick - part.tick) * part.secondsPerTick;
}

double MidiTempoMap::tick(double seconds) const {
    const auto above = std::upper_bound(parts_.begin() + 1, parts_.end(), seconds,
                                        [](double value, const Part& part) { return value < part.seconds; });
    const Part& part = *(above - 1);
    return part.secondsPerTick > 0 ? part.tick + (seconds - part.seconds) / part.secondsPerTick : part.tick;
}

bool parseNumberList(std::string_view text, unsigned first, std::vector<bool>& chosen) {
    std::size_t at = 0;
    const auto skipSpace = [&] {
        while (at < text.size() && text[at] == ' ')
            ++at;
    };
    const auto number = [&](unsigned& value) {
        skipSpace();
        const std::size_t start = at;
        value = 0;
        for (; at < text.size() && text[at] >= '0' && text[at] <= '9' && at - start < 6; ++at)
            value = value * 10 + static_cast<unsigned>(text[at] - '0');
        const bool found = at > start;
        skipSpace();
        return found && value >= first && value - first < chosen.size();
    };
    skipSpace();
    if (at == text.size()) {
        chosen.assign(chosen.size(), true);
        return true;
    }
    chosen.assign(chosen.size(), false);
    for (;;) {
        unsigned low = 0, high = 0;
        if (!number(low))
            return false;
        high = low;
        if (at < text.size() && text[at] == '-') {
            ++at;
            if (!number(high) || high < low)
                return false;
        }
        for (unsigned value = low; value <= high; ++value)
            chosen[value - first] = true;
        if (at == text.size())
            return true;
        if (text[at++] != ',')
            return false;
    }
}

}  // namespace velor
