// Songs converted between the formats sound the same; what is tidied up is only the end of a track.
#include <gtest/gtest.h>

#include "base/error.h"
#include "items/midi_song_operations.h"
#include "items/midi_tools.h"

namespace velor {
namespace {

using namespace test;

std::string timelineOf(const MidiSong& song) {
    std::vector<TimelineEntry> timeline;
    return buildTimeline(song, timeline) ? textOf(timeline) : LastErrorText;
}

const MidiTrack& trackOf(const MidiSong& song, std::uint32_t index) {
    return *song.owner().find<MidiTrack>(song.links[index]);
}

void expectCounts(const MidiSong& song) {
    for (const ItemId id : song.links) {
        const auto* track = song.owner().find<MidiTrack>(id);
        ASSERT_TRUE(track);
        EXPECT_EQ(track->eventCount, countMidiEvents(track->events).events);
        EXPECT_TRUE(countMidiEvents(track->events).endOfTrack);
    }
}

// Two voices and drums, a tempo change, an exclusive message, names.
MidiSong* bandSong(Collection& collection) {
    return addSong(
        collection, 1, 96,
        {joined({meta(0, 0, {0, 3}), meta(0, 3, "Song"), tempo(0, 600000), tempo(100, 300000), endOfTrack()}),
         joined({meta(0, 3, "Piano"),
                 {0, 0xF0, 2, 0x7E, 0xF7, 0, 0xC0, 1, 0, 0x90, 60, 90, 96, 62, 90, 0, 60, 0},
                 {96, 62, 0},
                 endOfTrack()}),
         joined({meta(0, 3, "Bass and drums"),
                 {0, 0xC1, 33, 0, 0x91, 40, 80, 0, 0x99, 36, 127, 0, 36, 0},
                 {96, 0x99, 38, 1, 0, 38, 0, 96, 0x91, 40, 0}})});
}

TEST(MidiSongOperations, MergesAndSplits) {
    Collection collection;
    MidiSong* song = bandSong(collection);
    const std::string before = timelineOf(*song);
    ASSERT_TRUE(convertToFormat0(*song));
    EXPECT_EQ(song->format, 0);
    ASSERT_EQ(song->links.count(), 1u);
    EXPECT_EQ(collection.count(ItemKind::MidiTrack), 1u);
    EXPECT_EQ(timelineOf(*song), before);
    EXPECT_EQ(trackOf(*song, 0).name(), "song");
    const std::string events = textOf(trackOf(*song, 0).events);
    // The song's own name and number stay; names of other tracks say which instruments play.
    EXPECT_TRUE(events.starts_with("0: ff 00 00 03|0: ff 03 53 6f 6e 67|0: ff 51 09 27 c0|0: ff 04 50 69"))
        << events;
    expectCounts(*song);
    const Stream whole = trackOf(*song, 0).events;
    ASSERT_TRUE(convertToFormat0(*song));
    EXPECT_EQ(trackOf(*song, 0).events, whole);

    convertToFormat1(*song);
    EXPECT_EQ(song->format, 1);
    ASSERT_EQ(song->links.count(), 4u);
    EXPECT_EQ(trackOf(*song, 0).channel, -2);
    EXPECT_EQ(trackOf(*song, 0).name(), "Control Track");
    EXPECT_EQ(countMidiEvents(trackOf(*song, 0).events).channelEvents, 0u);
    int index = 0;
    for (const int channel : {0, 1, 9}) {
        const MidiTrack& track = trackOf(*song, static_cast<std::uint32_t>(++index));
        EXPECT_EQ(track.channel, channel);
        EXPECT_EQ(track.name(), formatText("Track %02d", index + 1));
        std::vector<TimelineEntry> timeline;
        ASSERT_TRUE(buildTimeline(track, timeline));
        std::string expected;
        std::size_t at = 0;  // the lines of that channel
        for (std::size_t space; (space = before.find(".0 ", at)) != std::string::npos; at = space + 3) {
            const std::string line = before.substr(at, space + 3 - at);
            if (line[line.find(':') + 2] == "0123456789"[channel])
                expected += line;
        }
        EXPECT_EQ(textOf(timeline), expected + before.substr(before.rfind(' ') + 1));
    }
    expectCounts(*song);
    ASSERT_TRUE(convertToFormat0(*song));
    EXPECT_EQ(countMidiEvents(trackOf(*song, 0).events).notes, countMidiEvents(whole).notes);
}

TEST(MidiSongOperations, PortsKeepApart) {
    Collection collection;
    MidiSong* song = addSong(collection, 2, 96, {});
    addTrack(*song, joined({meta(0, 3, "A"), meta(0, 0x21, {5}), {9, 0x90, 60, 1, 9, 60, 0}}), 5, 1);
    addTrack(*song, joined({meta(3, 3, "B"), meta(0, 0x21, {0}), {9, 0x90, 60, 1, 9, 60, 0}}), 0, 0);
    const std::string before = timelineOf(*song);
    const Stream first = trackOf(*song, 0).events;
    EXPECT_FALSE(convertToFormat0(*song));
    EXPECT_EQ(LastErrorText, "A song that uses several MIDI ports does not fit into one track");
    EXPECT_EQ(trackOf(*song, 0).events, first);
    EXPECT_EQ(song->format, 2);

    convertToSingleSequence(*song);
    EXPECT_EQ(song->format, 1);
    ASSERT_EQ(song->links.count(), 2u);
    EXPECT_EQ(timelineOf(*song), before);
    EXPECT_EQ(trackOf(*song, 1).port, 5);
    EXPECT_EQ(textOf(trackOf(*song, 0).events),
              "3: ff 06 42|12: 90 3c 01|21: 90 3c 00|21: ff 06 41|39: ff 2f");
    EXPECT_EQ(textOf(trackOf(*song, 1).events), "0: ff 21 05|30: 90 3c 01|39: 90 3c 00|39: ff 2f");
    expectCounts(*song);

    MidiSong* elsewhere = addSong(collection, 2, 96, {});
    addTrack(*elsewhere, {9, 0x90, 60, 1}, 7);
    convertToSingleSequence(*elsewhere);
    EXPECT_EQ(elsewhere->format, 0);
    EXPECT_EQ(timelineOf(*elsewhere), "0.046875:90 3c 01.7 0.046875:end");

    MidiSong* split = addSong(collection, 0, 96, {});
    addTrack(*split, {0, 0x90, 60, 1, 9, 0x91, 60, 1}, 5);
    const std::string played = timelineOf(*split);
    convertToFormat1(*split);
    EXPECT_EQ(split->links.count(), 3u);
    EXPECT_EQ(timelineOf(*split), played);
}

TEST(MidiSongOperations, PatternsBecomeOneSequence) {
    Collection collection;
    MidiSong* song = addSong(collection, 2, 96, {});
    addTrack(*song,
             joined({meta(0, 0, {0, 1}), tempo(0, 250000), {9, 0x90, 60, 1, 9, 60, 0}, endOfTrack(96)}), -1,
             1);
    addTrack(*song, joined({tempo(0, 300000), {9, 0xC0, 1}}), -1, 2);
    addTrack(*song, joined({{9, 0xC0, 2}, tempo(1, 900000)}), -1, 3);
    addTrack(*song, {9, 0xC0, 3}, -1, 4);
    const std::string before = timelineOf(*song);
    convertToSingleSequence(*song);
    EXPECT_EQ(song->format, 0);
    EXPECT_EQ(timelineOf(*song), before);
    expectCounts(*song);
    // One tempo for each change: a pattern that sets its own needs no other.
    EXPECT_EQ(textOf(trackOf(*song, 0).events),
              "0: ff 51 03 d0 90|9: 90 3c 01|18: 90 3c 00|114: ff 51 04 93 e0|123: c0 01|"
              "123: ff 51 07 a1 20|132: c0 02|133: ff 51 0d bb a0|133: ff 51 07 a1 20|142: c0 03|142: ff 2f");
}

TEST(MidiSongOperations, NormalisesOnlyTheEnds) {
    struct Case {
        const char* name;
        Stream before, after;
    };
    const Case cases[] = {
        {"whole", joined({{0, 0x90, 1, 2}, endOfTrack(9)}), joined({{0, 0x90, 1, 2}, endOfTrack(9)})},
        {"no end", {0, 0x90, 1, 2, 9, 1, 0}, joined({{0, 0x90, 1, 2, 9, 1, 0}, endOfTrack()})},
        {"cut event", {0, 0x90, 1, 2, 9, 1}, joined({{0, 0x90, 1, 2}, endOfTrack()})},
        {"cut end", {0, 0x90, 1, 2, 9, 0xFF, 0x2F}, joined({{0, 0x90, 1, 2}, endOfTrack()})},
        {"more behind the end", joined({endOfTrack(9), {0, 0x90, 1, 2}}), endOfTrack(9)},
        {"nothing", {}, endOfTrack()},
        {"odd but readable", joined({{7, 7, 0x90, 1, 2, 0, 1, 2}, endOfTrack()}),
         joined({{7, 7, 0x90, 1, 2, 0, 1, 2}, endOfTrack()})},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        Collection collection;
        MidiSong* song = addSong(collection, 1, 96, {each.before});
        MidiSong* copy = copySong(*song, collection);
        ASSERT_TRUE(copy);
        EXPECT_EQ(normaliseSong(*copy), each.before == each.after ? 0u : 1u);
        EXPECT_EQ(trackOf(*copy, 0).events, each.after);
        expectCounts(*copy);
        EXPECT_EQ(trackOf(*song, 0).events, each.before);
    }
}

TEST(MidiSongOperations, TracksOfOtherSongsStay) {
    Collection collection, other;
    MidiSong* song = bandSong(collection);
    song->comment = "c";
    MidiSong* sharing = collection.create<MidiSong>("sharing");
    sharing->links.add(song->links[1]);
    MidiSong* copy = copySong(*song, other);
    EXPECT_EQ(timelineOf(*copy), timelineOf(*song));
    EXPECT_EQ(copy->comment, "c");
    ASSERT_TRUE(convertToFormat0(*song));
    EXPECT_TRUE(collection.find<MidiTrack>(sharing->links[0]));
    EXPECT_EQ(collection.count(ItemKind::MidiTrack), 2u);
    EXPECT_EQ(other.count(ItemKind::MidiTrack), 3u);
}

}  // namespace
}  // namespace velor
