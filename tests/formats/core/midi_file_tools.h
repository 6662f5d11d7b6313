// Made MIDI files, and opening and saving them.
#pragma once

#include "formats/core/chunk_builder.h"
#include "formats/framework/collection_fixture.h"
#include "items/midi_tools.h"

namespace velor::test {

inline constexpr int kMidRow = 231;

inline Bytes header(int format, int tracks, int division) {
    return Bytes()
        .text("MThd")
        .be32(6)
        .be16(static_cast<unsigned>(format))
        .be16(static_cast<unsigned>(tracks))
        .be16(static_cast<unsigned>(division));
}
inline Bytes track(const Stream& events) {
    Bytes bytes;
    bytes.text("MTrk").be32(events.size());
    bytes.data.insert(bytes.data.end(), events.begin(), events.end());
    return bytes;
}
inline Bytes songFile(int format, std::initializer_list<Stream> tracks, int division = 96) {
    Bytes bytes = header(format, static_cast<int>(tracks.size()), division);
    for (const Stream& each : tracks)
        bytes.add(track(each));
    return bytes;
}

struct MidiFiles : CollectionFixture {
    bool open(const Bytes& bytes, const std::string& name = "tune.mid") {
        ui.warnings.clear();
        const auto file = File::fromBytes(bytes.data, folder / name);
        return openInput(collection, file, folder / name, false, services);
    }
    // The same whatever the bytes look like.
    bool openAs(const Bytes& bytes, int row) {
        writeFile(folder / "any", bytes.data);
        return openFileAs(collection, folder / "any", row, services);
    }
    MidiSong& song() { return *collection.all<MidiSong>().at(0); }
    MidiTrack& trackAt(std::uint32_t index) { return *collection.find<MidiTrack>(song().links[index]); }
    // "name|comment|copyright; name port channel sequence; ..." of the first song
    std::string found() {
        std::string text = song().name() + '|' + song().comment + '|' + song().copyright;
        for (std::uint32_t i = 0; i < song().links.count(); ++i)
            text += formatText("; %s %d %d %d", trackAt(i).name().c_str(), trackAt(i).port,
                               trackAt(i).channel, trackAt(i).sequenceNumber);
        return text;
    }
    std::vector<Byte> saved(Item& item, const std::string& name, int row) {
        EXPECT_TRUE(saveItem(&item, row, folder / name, services)) << LastErrorText;
        return readFile(folder / name);
    }
};

}  // namespace velor::test
