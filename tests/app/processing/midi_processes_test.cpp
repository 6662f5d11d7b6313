// The MIDI processes: what must not change of a song is compared note by note, on real songs and through an
// independent reader of MIDI files (mido); what shall change, event by event on small ones.
#include <algorithm>
#include <array>
#include <cmath>
#include <map>

#include "base/error.h"
#include "items/midi_song_operations.h"
#include "items/midi_tools.h"
#include "process_tools.h"

namespace velor {
namespace {

using namespace test;
namespace fs = std::filesystem;

constexpr int kMidRow = 231;

// A note as an instrument would play it: when it sounds, and what its channel is set to as it starts.
struct Note {
    std::int64_t start = 0;  // microseconds
    std::uint32_t message = 0;
    std::int64_t end = -1;       // -1 for one that never ends
    std::array<int, 3> patch{};  // program, bank
    std::array<int, 128> controllers{};
    int bend = 0;
    friend bool operator==(const Note&, const Note&) = default;
    friend auto operator<=>(const Note&, const Note&) = default;
};

// Plays a list of messages by a small synthesizer's rules. What is set in the moment a note starts counts for
// it.
std::vector<Note> notesOf(std::vector<TimelineEntry> timeline, std::int64_t from = 0) {
    struct Channel {
        std::array<int, 3> patch{0, 0, 0}, bank{};
        std::array<int, 128> controllers{};
        int bend = 0x2000;
    };
    if (!timeline.empty())
        timeline.pop_back();
    const auto isOff = [](std::uint32_t message) {
        return (message & 0xF0) == 0x80 || ((message & 0xF0) == 0x90 && (message >> 16 & 0x7F) == 0);
    };
    const auto micros = [](const TimelineEntry& entry) { return std::llround(entry.seconds * 1e6); };
    std::map<std::uint32_t, Channel> channels;
    std::map<std::uint32_t, std::vector<std::size_t>> sounding;
    std::vector<Note> notes;
    std::vector<std::pair<std::size_t, std::uint32_t>> starting;  // notes of this moment, their channels
    const auto settle = [&] {
        for (const auto& [note, place] : starting) {
            notes[note].patch = channels[place].patch;
            notes[note].controllers = channels[place].controllers;
            notes[note].bend = channels[place].bend;
        }
        starting.clear();
    };
    for (const TimelineEntry& entry : timeline) {
        if (!starting.empty() && notes[starting.back().first].start + from != micros(entry))
            settle();
        const std::uint32_t message = entry.message;
        const std::uint32_t place = (message & 0xF) | (message >> 24) << 8;
        Channel& channel = channels[place];
        const unsigned first = message >> 8 & 0xFF, second = message >> 16 & 0xFF;
        if (isOff(message)) {
            auto& held = sounding[place << 8 | first];
            // First struck, first released.
            if (!held.empty()) {
                notes[held.front()].end = micros(entry);
                held.erase(held.begin());
            }
        } else if ((message & 0xF0) == 0x90) {
            sounding[place << 8 | first].push_back(notes.size());
            starting.emplace_back(notes.size(), place);
            notes.push_back({.start = micros(entry) - from, .message = message});
        } else if ((message & 0xF0) == 0xB0) {
            if (first == 0 || first == 32)
                channel.bank[first == 0 ? 1 : 2] = static_cast<int>(second);
            else if (first == 121)
                channel.controllers.fill(0);
            else
                channel.controllers[first] = static_cast<int>(second) + 1;
        } else if ((message & 0xF0) == 0xC0) {
            channel.patch = {static_cast<int>(first), channel.bank[1], channel.bank[2]};
        } else if ((message & 0xF0) == 0xE0) {
            channel.bend = static_cast<int>(first | second << 7);
        }
    }
    settle();
    for (Note& note : notes)
        note.end = note.end < 0 ? -1 : note.end - from;
    std::ranges::sort(notes);
    return notes;
}

std::vector<Note> notesOf(const MidiSong& song) {
    std::vector<TimelineEntry> timeline;
    EXPECT_TRUE(buildTimeline(song, timeline)) << LastErrorText;
    return notesOf(timeline);
}

void expectSame(const std::vector<Note>& found, const std::vector<Note>& wanted, std::int64_t tolerance = 1) {
    ASSERT_EQ(found.size(), wanted.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        Note a = found[i];
        const Note& b = wanted[i];
        ASSERT_NEAR(static_cast<double>(a.start), static_cast<double>(b.start),
                    static_cast<double>(tolerance));
        ASSERT_NEAR(static_cast<double>(a.end), static_cast<double>(b.end), static_cast<double>(tolerance))
            << i << " at " << a.start;
        a.start = b.start;
        a.end = b.end;
        ASSERT_TRUE(a == b) << i << " at " << a.start << " channel " << (a.message & 15);
    }
}

struct MidiProcesses : testing::Test {
    bool open(const fs::path& path) { return openQuietly(collection, path); }
    MidiSong& song() { return *collection.all<MidiSong>().at(0); }
    MidiTrack& trackAt(std::uint32_t index) { return *collection.find<MidiTrack>(song().links[index]); }
    std::string text(std::uint32_t index = 0) { return textOf(trackAt(index).events); }
    std::size_t bytes() {
        std::size_t sum = 0;
        for (const ItemId id : song().links)
            sum += collection.find<MidiTrack>(id)->events.size();
        return sum;
    }
    ProcessRun process(const std::string& name, const std::vector<std::string>& pairs = {}) {
        for (MidiTrack* track : collection.all<MidiTrack>())
            track->eventCount = countMidiEvents(track->events).events;
        const ProcessRun done = runNamed("midi:" + name, collection, pairs, {}, &ui);
        for (const MidiTrack* track : collection.all<MidiTrack>()) {
            EXPECT_EQ(track->eventCount, countMidiEvents(track->events).events);
        }
        return done;
    }
    // One song of one track.
    void make(const Stream& events, int division = 96, int format = 0) {
        collection.clear();
        addSong(collection, format, division, {events});
    }

    TemporaryFolder folder;
    RecordingInterface ui;
    Collection collection;
};

struct RealSongProcesses : MidiProcesses {
    void SetUp() override {
        std::error_code none;
        for (const auto& entry : fs::directory_iterator("/usr/share/games/openttd/baseset/openmsx", none)) {
            if (entry.path().extension() == ".mid")
                songs.push_back(entry.path());
        }
        if (songs.empty())
            GTEST_SKIP() << "no songs of openttd-openmsx";
        std::ranges::sort(songs);
    }
    std::vector<fs::path> songs;
};

struct Case {
    const char* name;
    std::vector<std::string> pairs;
    bool mends = false;
};

// What must sound the same afterwards.
const Case kKeeping[] = {
    {"compact-midi-file-size", {"empty-tracks", "texts"}},
    {"change-tick-rate", {"ticks=23040"}},
    {"convert-midi-format", {"format=0"}},
    {"convert-midi-format", {"format=1"}},
    {"replace-note-on-with-velocity-0-with-note-off", {}},
    {"fix-compatibility-issues-improve-portability", {"overlaps=0"}, true},
    {"filter-midi-messages", {"texts", "lyrics", "other"}},
    {"transpose-notes", {"semitones=0"}},
};

TEST_F(RealSongProcesses, KeepWhatIsHeardOfRealSongs) {
    std::size_t smaller = 0;
    for (const fs::path& path : songs) {
        for (const Case& each : kKeeping) {
            SCOPED_TRACE(path.filename().string() + " " + each.name);
            ASSERT_TRUE(open(path)) << LastErrorText;
            std::vector<Note> before = notesOf(song());
            const std::size_t size = bytes();
            const ProcessRun done = process(each.name, each.pairs);
            ASSERT_EQ(done.failed, 0u) << done.items[0].error;
            const std::vector<Note> after = notesOf(song());
            // Notes that never ended do so now, if the process mends them.
            for (std::size_t i = 0; each.mends && i < before.size() && i < after.size(); ++i) {
                EXPECT_GE(after[i].end, after[i].start);
                if (before[i].end < 0)
                    before[i].end = after[i].end;
            }
            ASSERT_NO_FATAL_FAILURE(expectSame(after, before));
            if (&each == kKeeping) {
                EXPECT_LE(bytes(), size);
                smaller += bytes() < size;
            }
            EXPECT_EQ(process(each.name, each.pairs).changed, 0u) << "a second time";
        }
    }
    EXPECT_GT(smaller, songs.size() / 2);
}

TEST_F(RealSongProcesses, AnIndependentReaderHearsTheSame) {
    std::string python;
    for (const char* candidate : {"python3", "/usr/bin/python3"}) {
        if (python.empty() && haveProgram(candidate) && run(std::string(candidate) + " -c \"import mido\""))
            python = candidate;
    }
    if (python.empty())
        GTEST_SKIP() << "no mido";
    std::ofstream(folder / "peer.py") << R"(import sys, mido
now = 0.0
out = open(sys.argv[2], 'w')
for message in mido.MidiFile(sys.argv[1]):
    now += message.time
    if not message.is_meta and message.type != 'sysex':
        data = message.bytes() + [0]
        out.write('%.9f %d %d %d\n' % (now, data[0], data[1], data[2]))
out.write('%.9f 0 0 0\n' % now)
)";
    PipelineServices services;
    services.ui = &ui;
    for (std::size_t i = 0; i < songs.size(); i += 16) {
        for (const Case& each : kKeeping) {
            SCOPED_TRACE(songs[i].filename().string() + " " + each.name);
            ASSERT_TRUE(open(songs[i]));
            if (each.mends)
                continue;
            const std::vector<Note> before = notesOf(song());
            ASSERT_EQ(process(each.name, each.pairs).failed, 0u);
            ASSERT_TRUE(saveItem(&song(), kMidRow, folder / "out.mid", services)) << LastErrorText;
            ASSERT_TRUE(run(python + ' ' + quoted(folder / "peer.py") + ' ' + quoted(folder / "out.mid") +
                            ' ' + quoted(folder / "peer.txt")));
            std::vector<TimelineEntry> heard;
            std::ifstream in(folder / "peer.txt");
            double seconds = 0;
            for (unsigned a = 0, b = 0, c = 0; in >> seconds >> a >> b >> c;)
                heard.push_back({seconds, a | b << 8 | c << 16});
            ASSERT_NO_FATAL_FAILURE(expectSame(notesOf(heard), before, 2));
        }
    }
}

TEST_F(RealSongProcesses, CoarseTickRatesMoveNotesByHalfATickAtMost) {
    for (const fs::path& path : songs) {
        SCOPED_TRACE(path.filename());
        ASSERT_TRUE(open(path));
        const auto starts = [&] {
            std::vector<double> ticks;
            for (std::uint32_t i = 0; i < song().links.count(); ++i) {
                MidiEventReader reader(trackAt(i).events);
                for (MidiEvent event; reader.next(event);) {
                    if (event.isNoteOn())
                        ticks.push_back(static_cast<double>(event.tick));
                }
            }
            return ticks;
        };
        const double old = song().division;
        const std::vector<double> before = starts();
        ASSERT_EQ(process("change-tick-rate", {"ticks=25"}).changed, 1u);
        EXPECT_EQ(song().division, 25);
        const std::vector<double> after = starts();
        ASSERT_EQ(after.size(), before.size());
        for (std::size_t i = 0; i < after.size(); ++i)
            ASSERT_NEAR(after[i], before[i] * 25 / old, 0.5001);
    }
}

TEST_F(MidiProcesses, ChangeTickRateKeepsLengthsAndFilmTime) {
    // A short note between two ticks keeps one; one struck again at once stays where it is.
    make(joined({{0, 0x90, 60, 9, 1, 60, 0, 95, 62, 9, 1, 62, 0, 0, 62, 9, 90, 62, 0}, endOfTrack()}));
    ASSERT_EQ(process("change-tick-rate", {"ticks=1"}).changed, 1u);
    EXPECT_EQ(text(), "0: 90 3c 09|1: 90 3c 00|1: 90 3e 09|1: 90 3e 00|1: 90 3e 09|2: 90 3e 00|2: ff 2f");
    // 25 frames of 40 ticks are a thousand ticks a second. The tempo did not count before.
    make(joined({tempo(0, 100000), {0, 0x90, 60, 9, 100, 60, 0}, endOfTrack()}), 0xE728);
    const std::vector<Note> before = notesOf(song());
    ASSERT_EQ(process("change-tick-rate", {"ticks=500"}).changed, 1u);
    EXPECT_EQ(text(), "0: 90 3c 09|100: 90 3c 00|100: ff 2f");
    expectSame(notesOf(song()), before);
    EXPECT_EQ(process("change-tick-rate", {"ticks=500"}).changed, 0u);
    // A damaged file's pauses do not become millions of bridging events.
    Stream pauses;
    for (int i = 0; i < 300; ++i)
        pauses.insert(pauses.end(), {0xFF, 0xFF, 0xFF, 0x7F, 0x90, 60, 9});
    make(pauses, 1);
    const ProcessRun tooLong = process("change-tick-rate", {"ticks=32767"});
    EXPECT_EQ(tooLong.failed, 1u);
    EXPECT_EQ(trackAt(0).events, pauses);
    EXPECT_EQ(song().division, 1);
}

TEST_F(MidiProcesses, TransposeMovesNotesAndWhatBelongsToThem) {
    const Stream events = joined({meta(0, 0x59, {2, 0}),
                                  {0, 0x90, 60,  9, 0, 0xA0, 60, 5, 0, 0x80, 60, 1, 0,    0x91, 125,
                                   9, 1,    125, 0, 0, 0x99, 36, 9, 0, 36,   0,  0, 0xB0, 60,   7},
                                  endOfTrack()});
    const struct {
        std::vector<std::string> pairs;
        const char* expected;
    } cases[] = {
        {{"semitones=5"},
         "0: ff 59 01 00|0: 90 41 09|0: a0 41 05|0: 80 41 01|0: 91 76 09|1: 91 76 00|1: 99 24 09|1: 99 24 00|"
         "1: b0 3c 07|1: ff 2f"},
        {{"semitones=5", "out-of-range=clamp", "key-signatures=0"},
         "0: ff 59 02 00|0: 90 41 09|0: a0 41 05|0: 80 41 01|0: 91 7f 09|1: 91 7f 00|1: 99 24 09|1: 99 24 00|"
         "1: b0 3c 07|1: ff 2f"},
        {{"semitones=5", "out-of-range=drop", "drums"},
         "0: ff 59 01 00|0: 90 41 09|0: a0 41 05|0: 80 41 01|1: 99 29 09|1: 99 29 00|1: b0 3c 07|1: ff 2f"},
        {{"semitones=-2"},
         "0: ff 59 00 00|0: 90 3a 09|0: a0 3a 05|0: 80 3a 01|0: 91 7b 09|1: 91 7b 00|1: 99 24 09|1: 99 24 00|"
         "1: b0 3c 07|1: ff 2f"},
    };
    for (const auto& each : cases) {
        make(events);
        EXPECT_EQ(process("transpose-notes", each.pairs).changed, 1u);
        EXPECT_EQ(text(), each.expected) << each.pairs[0];
    }
    make(events);
    process("transpose-notes", {"semitones=7"});
    process("transpose-notes", {"semitones=-7"});
    EXPECT_EQ(textOf(events).substr(0, 55), text().substr(0, 55));
}

TEST_F(MidiProcesses, FilterRemovesOrKeeps) {
    const Stream events =
        joined({meta(0, 3, "N"),
                tempo(0, 400000),
                {0,  0xC0, 5, 0,  0xB0, 7, 90,   0,  0xB0, 1, 3,  0, 0xE0, 0,    64, 0,   0x90,
                 60, 9,    9, 60, 0,    0, 0x91, 61, 9,    9, 61, 0, 0,    0xF0, 1,  0xF7},
                endOfTrack(5)});
    const struct {
        std::vector<std::string> pairs;
        const char* expected;
    } cases[] = {
        {{"controller-list=1-6"},
         "0: ff 03 4e|0: ff 51 06 1a 80|0: c0 05|0: b0 07 5a|0: e0 00 40|0: 90 3c 09|9: 90 3c 00|9: 91 3d 09|"
         "18: 91 3d 00|18: f0 f7|23: ff 2f"},
        {{"channels=1"}, "0: ff 03 4e|0: ff 51 06 1a 80|9: 91 3d 09|18: 91 3d 00|18: f0 f7|23: ff 2f"},
        {{"mode=keep", "notes", "channels=2"}, "0: ff 51 06 1a 80|9: 91 3d 09|18: 91 3d 00|23: ff 2f"},
        {{"notes", "programs", "bender", "sysex", "texts", "tempo"}, "0: b0 07 5a|0: b0 01 03|23: ff 2f"},
    };
    for (const auto& each : cases) {
        make(events);
        EXPECT_EQ(process("filter-midi-messages", each.pairs).changed, 1u);
        EXPECT_EQ(text(), each.expected) << each.pairs[0];
    }
    make(events);
    EXPECT_EQ(process("filter-midi-messages").changed, 0u);
    for (const char* bad : {"channels=0", "channels=17", "channels=3-2", "controller-list=1,,2",
                            "controller-list=x", "controller-list=128", "controller-list=99999999999"}) {
        EXPECT_EQ(process("filter-midi-messages", {bad}).failed, 1u) << bad;
    }
    EXPECT_EQ(trackAt(0).events, events);
}

TEST_F(MidiProcesses, CompactDropsOnlyWhatIsSet) {
    make(joined({{0, 0xB0, 7,    90,   0,  0xB0, 7,    90, 0,    0xC0, 3,    0,  0xC0, 3, 0,    0xB0,
                  0, 1,    0,    0xC0, 3,  0,    0xB0, 6,  2,    0,    0xB0, 6,  2,    0, 0xB0, 123,
                  0, 0,    0xB0, 7,    90, 0,    0xF0, 1,  0xF7, 0,    0xB0, 7,  90,   0, 0x90, 60,
                  9, 5,    0x80, 60,   64, 0,    0x90, 61, 9,    5,    0x80, 61, 3},
                 endOfTrack()}));
    const std::size_t before = bytes();
    const ProcessRun done = process("compact-midi-file-size");
    EXPECT_EQ(
        text(),
        "0: b0 07 5a|0: c0 03|0: b0 00 01|0: c0 03|0: b0 06 02|0: b0 06 02|0: b0 7b 00|0: b0 07 5a|0: f0 f7|"
        "0: b0 07 5a|0: 90 3c 09|5: 90 3c 00|5: 90 3d 09|10: 80 3d 03|10: ff 2f");
    ASSERT_EQ(done.items[0].measures.size(), 1u);
    EXPECT_EQ(done.items[0].measures[0].value, static_cast<double>(before - bytes()));
    // Two tracks set the same channel: only the order they play in tells what repeats.
    collection.clear();
    addSong(collection, 1, 96,
            {joined({{0, 0xB0, 7, 1, 9, 7, 1}, endOfTrack()}), joined({{5, 0xB0, 7, 2}, endOfTrack()}),
             joined({meta(0, 3, "none"), endOfTrack()})});
    EXPECT_EQ(process("compact-midi-file-size", {"empty-tracks"}).changed, 1u);
    EXPECT_EQ(song().links.count(), 2u);
    EXPECT_EQ(collection.count(ItemKind::MidiTrack), 2u);
    EXPECT_EQ(text(0), "0: b0 07 01|9: b0 07 01|9: ff 2f");
    // Also when only one of them is compacted.
    ProcessContext alone;
    alone.collection = &collection;
    alone.items = {trackAt(0).id()};
    const ProcessRow& row = *findProcess("midi:compact-midi-file-size").row;
    EXPECT_EQ(runProcess(row, alone, ProcessSettings(row.process->parameters), ui).changed, 0u);
}

TEST_F(MidiProcesses, FixMendsNotesAndOrder) {
    const std::string fix = "fix-compatibility-issues-improve-portability";
    const struct {
        const char* what;
        Stream events;
        const char* expected;
    } cases[] = {
        {"hanging",
         {0, 0x90, 60, 9, 5, 62, 9, 5, 62, 0},
         "0: 90 3c 09|5: 90 3e 09|10: 90 3e 00|10: 80 3c 40|10: ff 2f"},
        {"struck twice, released twice",
         {0, 0x90, 60, 9, 5, 60, 8, 5, 60, 0, 5, 60, 0},
         "0: 90 3c 09|5: 80 3c 40|5: 90 3c 08|15: 90 3c 00|15: ff 2f"},
        {"struck twice, released once",
         {0, 0x90, 60, 9, 5, 60, 8, 5, 60, 0, 90, 1, 0},
         "0: 90 3c 09|5: 80 3c 40|5: 90 3c 08|10: 90 3c 00|100: ff 2f"},
        {"note before its program",
         {0, 0x90, 60, 9, 0, 0xC0, 4, 0, 0xB0, 32, 2, 0, 0xB0, 0, 1, 9, 0x80, 60, 64},
         "0: b0 00 01|0: b0 20 02|0: c0 04|0: 90 3c 09|9: 80 3c 40|9: ff 2f"},
        {"two programs in one moment stay",
         {0, 0xC0, 1, 0, 0x90, 60, 9, 0, 0xC0, 2, 0, 0x90, 61, 9, 9, 60, 0, 0, 61, 0},
         "0: c0 01|0: 90 3c 09|0: c0 02|0: 90 3d 09|9: 90 3c 00|9: 90 3d 00|9: ff 2f"},
        {"bytes behind the end, running status across a meta event",
         {0, 0x90, 60, 9, 0, 0xFF, 1, 1, 'x', 9, 60, 0, 0, 0xFF, 0x2F, 0, 1, 2, 3},
         "0: 90 3c 09|0: ff 01 78|9: 90 3c 00|9: ff 2f"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        make(each.events);
        EXPECT_EQ(process(fix).changed, 1u);
        EXPECT_EQ(text(), each.expected);
        EXPECT_EQ(process(fix).changed, 0u) << "mended for good";
    }

    collection.clear();
    addSong(collection, 1, 96,
            {joined({meta(0, 3, "Song"), endOfTrack()}),
             joined({{0, 0x90, 60, 9}, tempo(96, 250000), {96, 0x90, 60, 0}, endOfTrack()})});
    const std::vector<Note> before = notesOf(song());
    ASSERT_EQ(process(fix).changed, 1u);
    EXPECT_EQ(text(0), "0: ff 03 53 6f 6e 67|96: ff 51 03 d0 90|96: ff 2f");
    expectSame(notesOf(song()), before);

    // A reset, and time for it: 200 ms at 120 quarter notes a minute are 38.4 ticks of 96.
    ASSERT_EQ(process(fix, {"reset=gm", "initial-controllers"}).changed, 1u);
    EXPECT_EQ(text(0), "0: ff 03 53 6f 6e 67|0: f0 7e 7f 09 01 f7|135: ff 51 03 d0 90|135: ff 2f");
    EXPECT_EQ(text(1).substr(0, 71),
              "39: b0 07 64|39: b0 0a 40|39: b0 0b 7f|39: b0 01 00|39: b0 40 00|39: e0");
    EXPECT_EQ(process(fix, {"reset=gs", "initial-controllers"}).changed, 0u) << "one reset is enough";
}

TEST_F(MidiProcesses, TrimKeepsWhatTheRestNeeds) {
    // Tempo 60 a minute from the first tick on: 96 ticks are a second.
    const Stream events = joined({meta(0, 3, "N"),
                                  tempo(0, 1000000),
                                  meta(0, 1, "gone"),
                                  {0,  0xC0, 1,  10, 0xB0, 7,  10, 10, 7,  20, 76, 0x90, 60, 9, 48,
                                   61, 9,    24, 60, 0,    24, 62, 9,  96, 61, 0,  0,    62, 0},
                                  endOfTrack()});
    const struct {
        std::vector<std::string> pairs;
        const char* expected;
    } cases[] = {
        {{},
         "0: ff 03 4e|0: ff 51 0f 42 40|0: c0 01|0: b0 07 14|0: 90 3c 09|48: 90 3d 09|72: 90 3c 00|96: 90 3e "
         "09|"
         "192: 90 3d 00|192: 90 3e 00|192: ff 2f"},
        {{"start=1.25", "skip-silence=0"},  // between the first two notes: the first one and its end are gone
         "0: ff 03 4e|0: ff 51 0f 42 40|0: c0 01|0: b0 07 14|24: 90 3d 09|72: 90 3e 09|168: 90 3d 00|"
         "168: 90 3e 00|168: ff 2f"},
        {{"start=96", "length=96", "unit=ticks"},
         "0: ff 03 4e|0: ff 51 0f 42 40|0: c0 01|0: b0 07 14|0: 90 3c 09|48: 90 3d 09|72: 90 3c 00|96: 80 3d "
         "40|"
         "96: ff 2f"},
        {{"length=0.25", "unit=bars"},
         "0: ff 03 4e|0: ff 51 0f 42 40|0: c0 01|0: b0 07 14|0: 90 3c 09|48: 90 3d 09|72: 90 3c 00|96: 80 3d "
         "40|"
         "96: ff 2f"},
    };
    for (const auto& each : cases) {
        make(events);
        EXPECT_EQ(process("trim-start-and-or-length", each.pairs).changed, 1u);
        EXPECT_EQ(text(), each.expected) << (each.pairs.empty() ? "" : each.pairs[0]);
    }
    make(events, 96, 2);
    EXPECT_EQ(process("trim-start-and-or-length").failed, 1u);
    // The tempo that counts is the last one, in whatever track.
    collection.clear();
    addSong(collection, 1, 96,
            {joined({tempo(50, 100000), endOfTrack()}), joined({tempo(20, 900000), endOfTrack()}),
             joined({{96, 0x90, 60, 9, 96, 60, 0}, endOfTrack()})});
    ASSERT_EQ(process("trim-start-and-or-length").changed, 1u);
    EXPECT_EQ(notesOf(song())[0].end, 100000);
}

TEST_F(RealSongProcesses, TrimLeavesTheRestOfRealSongsAsItWas) {
    for (const fs::path& path : songs) {
        SCOPED_TRACE(path.filename());
        ASSERT_TRUE(open(path));
        std::vector<Note> before = notesOf(song());
        // The first note from 20 s on.
        const auto first =
            std::ranges::find_if(before, [](const Note& note) { return note.start >= 20000000; });
        ASSERT_NE(first, before.end());
        const std::int64_t start = first->start;
        const std::string at = "start=" + std::to_string(static_cast<double>(start) / 1e6);
        ASSERT_EQ(process("trim-start-and-or-length", {at}).changed, 1u);
        const std::vector<Note> after = notesOf(song());
        ASSERT_FALSE(after.empty());
        EXPECT_EQ(after.front().start, 0);
        std::erase_if(before, [start](const Note& note) { return note.start < start; });
        for (Note& note : before) {
            note.start -= start;
            note.end -= note.end < 0 ? 0 : start;
        }
        // Notes that overlap others of their key may lose the release that was the others'.
        ASSERT_EQ(after.size(), before.size());
        std::size_t differing = 0;
        for (std::size_t i = 0; i < after.size(); ++i) {
            Note a = after[i], b = before[i];
            EXPECT_NEAR(static_cast<double>(a.start), static_cast<double>(b.start), 2);
            a.start = b.start;
            if (std::llabs(a.end - b.end) <= 2)
                a.end = b.end;
            differing += a != b;
        }
        EXPECT_EQ(differing, 0u);
    }
}

TEST_F(MidiProcesses, TakeAnythingForASong) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        collection.clear();
        auto* garbage = collection.create<MidiSong>("garbage");
        garbage->format = static_cast<std::uint16_t>(round % 3);
        garbage->division = static_cast<std::uint16_t>(random());
        for (int i = 0; i < round % 4; ++i) {
            Stream bytes(random() % 200);
            for (Byte& byte : bytes)
                byte = static_cast<Byte>(random() % 3 ? random() % 128 : 128 + random() % 128);
            addTrack(*garbage, bytes);
        }
        if (round % 5 == 0 && garbage->links.count() > 0)
            garbage->links.add(garbage->links[0]);  // a track twice
        for (const ProcessRow& row : processCatalogue(ProcessFlavour::Midi))
            runNamed(std::string("midi:") + processWord(row), collection,
                     processWord(row) == "transpose-notes" ? std::vector<std::string>{"semitones=40"}
                                                           : std::vector<std::string>{});
    }
}

}  // namespace
}  // namespace velor
