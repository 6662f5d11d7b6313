// Times, order and patches of songs. Times are worked out by hand: ticks x tempo / division.
#include <gtest/gtest.h>

#include <numeric>

#include "base/error.h"
#include "items/midi_tools.h"

namespace velor {
namespace {

using namespace test;

std::string timelineOf(const MidiSong& song) {
    std::vector<TimelineEntry> timeline;
    return buildTimeline(song, timeline) ? textOf(timeline) : "failed: " + LastErrorText;
}

TEST(MidiTimeline, CountsTicksUnderEveryDivision) {
    struct Case {
        const char* name;
        int division;
        double seconds;  // of tick 100, with a tempo of 250000 us from tick 40 on
    };
    const Case cases[] = {
        {"ticks per quarter", 100, 0.4 * 0.5 + 0.6 * 0.25},
        {"one tick per quarter", 1, 40 * 0.5 + 60 * 0.25},
        {"largest", 0x7FFF, (40 * 0.5 + 60 * 0.25) / 0x7FFF},
        {"24 frames of 4 ticks", 0xE804, 100 / 96.0},
        {"25 frames of 40 ticks are milliseconds", 0xE728, 0.1},
        {"29 means 30000/1001", 0xE302, 100 / (2 * 29.97002997)},
        {"30 frames of 80 ticks", 0xE250, 100 / 2400.0},
        {"100 frames", 0x9C0A, 100 / 1000.0},
        {"zero", 0, (40 * 0.5 + 60 * 0.25) / 480},
        {"frames without ticks", 0xE700, (40 * 0.5 + 60 * 0.25) / 480},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        Collection collection;
        const MidiSong* song =
            addSong(collection, 0, each.division, {joined({tempo(40, 250000), endOfTrack(60)})});
        EXPECT_NEAR(songSeconds(*song), each.seconds, each.seconds * 1e-9);
    }
}

TEST(MidiTimeline, PlaysSongs) {
    struct Case {
        const char* name;
        int format;
        std::vector<Stream> tracks;
        const char* timeline;
    };
    const Stream off{0, 0x80, 60, 0};
    const Case cases[] = {
        {"tempos of all tracks count",
         1,
         {joined({tempo(100, 1000000), endOfTrack()}),
          joined({{50, 0x90, 1, 2}, tempo(10, 250000), {20, 0x80, 1, 2}}),
          {100, 0xC2, 5, 10, 6}},
         "0.25:90 01 02.0 0.35:80 01 02.0 0.4:c2 05 00.0 0.5:c2 06 00.0 0.5:end"},
        {"tempos of no meaning do not",
         0,
         {joined({tempo(10, 0), meta(0, 0x51, "\x01"), {90, 0x90, 1, 2}, endOfTrack(20)})},
         "0.5:90 01 02.0 0.6:end"},
        {"the end is that of the longest track",
         1,
         {joined({{0, 0x90, 60, 1}, endOfTrack(100)}), {50, 0x80, 60, 1}},
         "0:90 3c 01.0 0.25:80 3c 01.0 0.5:end"},
        {"what a later track releases or sets comes before what an earlier one strikes",
         1,
         {{0, 0x90, 60, 100}, {0, 0x91, 60, 100, 0, 0xC1, 9}, joined({{0, 0xC0, 7, 0, 0x90, 60, 0}})},
         "0:c0 07 00.0 0:90 3c 00.0 0:90 3c 64.0 0:91 3c 64.0 0:c1 09 00.0 0:end"},
        {"a note of no length in one track stays in order",
         1,
         {{100, 0x90, 60, 100, 0, 60, 0}, {100, 0x80, 61, 0, 0, 0xB0, 7, 1}},
         "0.5:80 3d 00.0 0.5:b0 07 01.0 0.5:90 3c 64.0 0.5:90 3c 00.0 0.5:end"},
        {"tracks of format 0 play together",
         0,
         {{10, 0xC0, 1}, {5, 0xC0, 2}},
         "0.025:c0 02 00.0 0.05:c0 01 00.0 0.05:end"},
        {"patterns play in turn, each in its own tempo",
         2,
         {joined({tempo(0, 1000000), {0, 0xC0, 1}, endOfTrack(100)}),
          joined({{50, 0xC0, 2}, endOfTrack(50)}),
          {},
          joined({tempo(0, 250000), {100, 0xC0, 3}})},
         "0:c0 01 00.0 1.25:c0 02 00.0 1.75:c0 03 00.0 1.75:end"},
        {"nothing but an end", 0, {endOfTrack(100)}, "0.5:end"},
        {"empty tracks", 1, {{}, {0x81}}, "failed: Failed processing MIDI"},
        {"no tracks", 1, {}, "failed: Failed processing MIDI"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        Collection collection;
        MidiSong* song = addSong(collection, each.format, 100, {});
        for (const Stream& track : each.tracks)
            addTrack(*song, track);
        EXPECT_EQ(timelineOf(*song), each.timeline);
    }
}

TEST(MidiTimeline, PatternsFollowTheirNumbers) {
    Collection collection;
    MidiSong* song = addSong(collection, 2, 100, {});
    for (const auto& [program, sequence] : {std::pair{1, 7}, {2, -1}, {3, 2}, {4, 7}, {5, -1}})
        addTrack(*song, {10, 0xC0, static_cast<Byte>(program)}, -1, sequence);
    EXPECT_EQ(timelineOf(*song),
              "0.05:c0 03 00.0 0.1:c0 01 00.0 0.15:c0 04 00.0 0.2:c0 02 00.0 0.25:c0 05 00.0 0.25:end");
}

TEST(MidiTimeline, OneTrackPlaysUnderTheSongsTempos) {
    Collection collection;
    const Stream piano{50, 0x90, 60, 1, 100, 60, 0};
    MidiSong* song =
        addSong(collection, 1, 100, {joined({tempo(100, 1000000), endOfTrack(100)}), piano, {9, 0xC0, 1}});
    const auto* track = collection.find<MidiTrack>(song->links[1]);
    std::vector<TimelineEntry> timeline;
    ASSERT_TRUE(buildTimeline(*track, timeline));
    EXPECT_EQ(textOf(timeline), "0.25:90 3c 01.0 1:90 3c 00.0 1:end");
    song->format = 2;
    ASSERT_TRUE(buildTimeline(*track, timeline));
    EXPECT_EQ(textOf(timeline), "0.25:90 3c 01.0 0.75:90 3c 00.0 0.75:end");
    song->links.clear();
    ASSERT_TRUE(buildTimeline(*track, timeline));  // 480 ticks per quarter note
    EXPECT_NEAR(timeline.back().seconds, 150 * 0.5 / 480, 1e-12);
}

TEST(MidiTimeline, PortsAndPatches) {
    Collection collection;
    MidiSong* song = addSong(collection, 1, 100, {});
    addTrack(*song, meta(0, 3, "no messages"), 9);
    addTrack(*song, {0, 0x90, 60, 1,                                  // before any program
                     0, 0xB0, 0,  1, 0,    0xB0, 32, 2,               // a bank without a program does nothing
                     0, 0x90, 61, 1, 0,    0xC0, 5,  0, 0x90, 62, 1,  // then it does
                     0, 0xC0, 6,  0, 0x90, 63,   0,  0, 0xC0, 7,      // a note-off and no note play nothing
                     1, 0x99, 36, 1, 0,    0xC9, 25, 0, 0x99, 36, 1, 0, 0x90, 60, 1},
             1);
    addTrack(*song, {1, 0x99, 40, 1, 0, 0xC9, 3, 0, 0x99, 41, 1, 0, 0x90, 40, 1}, 2);
    addTrack(*song, {2, 0x90, 1, 1, 0, 0xC0, 5, 0, 0x90, 1, 1}, 256);  // no such port: the first
    EXPECT_EQ(portCount(*song), 3u);
    const std::vector<PatchNumber> expected{PatchNumber(0, 0, 0, false), PatchNumber(5, 2, 1, false),
                                            PatchNumber(0, 0, 0, true),  PatchNumber(25, 0, 0, true),
                                            PatchNumber(7, 2, 1, false), PatchNumber(3, 0, 0, true),
                                            PatchNumber(5, 0, 0, false)};
    EXPECT_EQ(usedPatches(*song), expected);
    EXPECT_EQ(usedPatches(*collection.find<MidiTrack>(song->links[3])),
              (std::vector{PatchNumber(0, 0, 0, false), PatchNumber(5, 0, 0, false)}));
    std::vector<TimelineEntry> timeline;
    ASSERT_TRUE(buildTimeline(*song, timeline));
    EXPECT_EQ(timeline[0].message, 0x01013C90u);
    EXPECT_EQ(portCount(*addSong(collection, 0, 96, {})), 1u);
}

}  // namespace
}  // namespace velor
