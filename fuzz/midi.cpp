// MIDI songs from hostile bytes: read as a Standard MIDI or a RIFF-MIDI file, timed, converted between the
// formats and written. The first byte chooses the reader and the conversion, the rest is the file.
#include <cmath>
#include <vector>

#include "base/error.h"
#include "formats/core/midi_file.h"
#include "formats/core/riff_midi.h"
#include "items/midi_song_operations.h"
#include "items/midi_timeline.h"

using namespace velor;

namespace {

void require(bool holds) {
    if (!holds)
        __builtin_trap();
}

std::size_t checkTimeline(const MidiSong& song) {
    std::vector<TimelineEntry> timeline;
    if (!buildTimeline(song, timeline))
        return 0;
    const std::uint32_t ports = portCount(song);
    double before = 0;
    for (std::size_t i = 0; i < timeline.size(); ++i) {
        require(std::isfinite(timeline[i].seconds) && timeline[i].seconds >= before);
        before = timeline[i].seconds;
        const std::uint32_t status = timeline[i].message & 0xFF;
        require(i + 1 == timeline.size() || (status >= 0x80 && status < 0xF0));
        require(timeline[i].message >> 24 < ports);
    }
    require(songSeconds(song) == before);
    usedPatches(song);
    return timeline.size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return -1;
    UserInterface quiet;
    OpenFile file;
    file.path = "file.mid";
    file.input = File::fromBytes(std::vector<Byte>(data + 1, data + size), file.path);
    file.ui = &quiet;
    Collection collection;
    LastErrorText.clear();
    if (!(data[0] & 1 ? readRiffMidi(collection, file, 0) : readMidi(collection, file, 0))) {
        require(!LastErrorText.empty());
        return 0;
    }
    for (MidiSong* song : collection.all<MidiSong>()) {
        const std::size_t entries = checkTimeline(*song);
        std::vector<TimelineEntry> timeline;
        for (const ItemId id : song->links)
            buildTimeline(*collection.find<MidiTrack>(id), timeline);
        MidiSong* copy = copySong(*song, collection);
        require(copy != nullptr);
        normaliseSong(*copy);
        const std::size_t normal = checkTimeline(*copy);
        require(entries == 0 || normal == entries);
        if (data[0] & 2)
            convertToFormat0(*copy);
        if (data[0] & 4)
            convertToFormat1(*copy);
        if (data[0] & 8)
            convertToSingleSequence(*copy);
        require(checkTimeline(*copy) == normal || normal == 0);
        for (const ItemId id : copy->links) {
            const auto* track = collection.find<MidiTrack>(id);
            require(track && track->eventCount == countMidiEvents(track->events).events);
        }
        require(normaliseSong(*copy) == 0);
    }
    return 0;
}
