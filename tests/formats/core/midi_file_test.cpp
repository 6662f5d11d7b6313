// Standard MIDI files: names and numbers, broken files, the layout of what is written, and what
// an independent reader of MIDI files (the Python library mido) makes of the same songs.
#include <gtest/gtest.h>

#include <algorithm>

#include "formats/core/midi_file_tools.h"
#include "formats/framework/format_table.h"
#include "items/midi_song_operations.h"

namespace velor {
namespace {

using namespace test;
namespace fs = std::filesystem;

TEST_F(MidiFiles, NamesAndNumbersTracks) {
    const Stream plain{0, 0x90, 60, 1, 9, 60, 0, 0, 0xFF, 0x2F, 0};
    const Stream bare{0, 0xFF, 0x2F, 0};  // four bytes
    const Stream control = joined({tempo(0, 500000), endOfTrack()});
    const auto expectFound = [this](const char* what, int format, const std::vector<Stream>& tracks,
                                    const std::string& wanted) {
        SCOPED_TRACE(what);
        Bytes bytes = header(format, 1, 96);
        for (const Stream& stream : tracks)
            bytes.add(track(stream));
        ASSERT_TRUE(open(bytes)) << LastErrorText;
        // A song without texts has the name of its file.
        EXPECT_EQ(found(), wanted.find('|') == std::string::npos ? "tune||; " + wanted : wanted);
        EXPECT_TRUE(ui.warnings.empty());
    };
    expectFound("single track", 0, {plain}, "Master Track -1 -1 -1");
    expectFound("single track format with two", 0, {plain, plain},
                "Master Track -1 -1 -1; Master Track -1 -1 -1");
    expectFound("control track", 1, {control, plain, plain},
                "Control Track -1 -2 -1; Track 02 -1 0 -1; Track 03 -1 0 -1");
    expectFound("first track with notes", 1, {plain, plain, plain},
                "Track 01 -1 0 -1; Track 01 -1 0 -1; Track 02 -1 0 -1");
    expectFound("notes behind the end are none", 1, {joined({control, plain}), plain},
                "Control Track -1 -2 -1; Track 02 -1 0 -1");
    expectFound("late notes", 1, {joined({tempo(0, 1), {99, 0x80, 1, 1}}), plain},
                "Track 01 -1 -1 -1; Track 01 -1 0 -1");
    expectFound("skipped but counted", 1, {control, bare, plain}, "Control Track -1 -2 -1; Track 03 -1 0 -1");
    expectFound("skipped first", 1, {bare, plain}, "Track 02 -1 0 -1");
    expectFound("unknown format", 3, {plain, plain}, "Track 00 -1 -1 -1; Track 01 -1 -1 -1");
    expectFound("patterns", 2, {plain, bare, plain, joined({meta(0, 0, {0, 12}), plain})},
                "Pattern 00 -1 -1 0; Pattern 02 -1 -1 2; Pattern 12 -1 -1 12");
    expectFound("named pattern", 2, {joined({meta(0, 1, "Intro"), plain}), plain},
                "Intro -1 -1 0; Pattern 01 -1 -1 1");
    expectFound("song texts", 1,
                {joined({meta(0, 2, "(c) me"), meta(0, 1, "made"), meta(0, 3, "My song"), meta(0, 1, "x"),
                         meta(0, 3, "No"), meta(0, 2, "no"), control}),
                 plain},
                "My song|made|(c) me; My song -1 -2 -1; Track 02 -1 0 -1");
    expectFound("a control track's second text names it", 1,
                {joined({meta(0, 1, "a"), meta(0, 1, "b"), control})}, "tune|a|; b -1 -2 -1");
    expectFound(
        "texts of other tracks", 1,
        {control,
         joined({meta(0, 1, "text"), meta(0, 3, "Name"), meta(0, 3, "second"), meta(0, 2, "c"), plain}),
         joined({meta(0, 1, "text"), meta(0, 1, "more"), plain})},
        "Control Track -1 -2 -1; Name -1 0 -1; text -1 0 -1");
    expectFound("no song texts without a control track", 1,
                {joined({meta(0, 3, "Lead"), meta(0, 2, "c"), plain})}, "Lead -1 0 -1");
    expectFound("first port, sequence and channel", 1,
                {control, joined({meta(0, 0x21, {2}),
                                  meta(0, 0x21, {3}),
                                  meta(0, 0, {0}),
                                  meta(0, 0, {1, 4}),
                                  meta(0, 0, {0, 9}),
                                  {0, 0xC5, 1, 0, 0xC6, 1},
                                  plain})},
                "Control Track -1 -2 -1; Track 02 2 5 260");
    expectFound("only what stands at the start", 1,
                {joined({tempo(0, 1), meta(1, 3, "late"), endOfTrack()}),
                 joined({{1, 0xC5, 1}, meta(0, 3, "late"), meta(0, 0x21, {2}), plain})},
                "Control Track -1 -2 -1; Track 02 -1 -1 -1");
    expectFound("empty texts and texts with zeros", 1,
                {control, joined({meta(0, 3, ""), meta(0, 3, std::string("Lead\0\0", 6)), plain})},
                "Control Track -1 -2 -1; Lead -1 0 -1");
}

TEST_F(MidiFiles, WalksChunks) {
    const Stream notes{0, 0x90, 60, 1, 9, 60, 0, 0, 0xFF, 0x2F, 0};
    const Bytes good = songFile(0, {notes});
    // A longer header, unknown chunks, tracks before the header, bytes behind the last track.
    Bytes longer = Bytes().text("MThd").be32(9).be16(0).be16(7).be16(0xE728).zeros(3);
    longer.text("XFIH").be32(3).zeros(3).add(track(notes)).text("end");
    ASSERT_TRUE(open(longer));
    EXPECT_EQ(song().division, 0xE728);
    EXPECT_EQ(found(), "tune||; Master Track -1 -1 -1");
    EXPECT_EQ(trackAt(0).events, notes);

    ASSERT_TRUE(openAs(Bytes().add(track(notes)).add(good), kMidRow));
    EXPECT_EQ(song().links.count(), 1u);
    EXPECT_EQ(collection.count(ItemKind::MidiTrack), 1u);

    // A second header begins another song.
    ASSERT_TRUE(open(Bytes().add(songFile(1, {endOfTrack(), notes})).add(songFile(2, {notes, notes}, 48))));
    ASSERT_EQ(collection.count(ItemKind::MidiSong), 2u);
    const MidiSong& second = *collection.all<MidiSong>()[1];
    EXPECT_EQ(second.division, 48);
    EXPECT_EQ(collection.find<MidiTrack>(second.links[1])->name(), "Pattern 01");

    ASSERT_TRUE(open(songFile(1, {})));
    EXPECT_EQ(ui.warnings, std::vector<std::string>{"Warning: the song has no tracks"});
    for (const Bytes& bad : {Bytes().text("MThd").be32(6).be16(0), Bytes().text("MTrk").be32(2).zeros(9)}) {
        EXPECT_FALSE(openAs(bad, kMidRow));
        EXPECT_EQ(LastErrorText, "Invalid or corrupt Midi file");
        EXPECT_TRUE(collection.empty());
    }
}

TEST_F(MidiFiles, TruncatedFilesPlayAsFarAsTheyGo) {
    const Bytes whole =
        songFile(1, {joined({meta(0, 3, "Song"), tempo(0, 400000), endOfTrack(96)}),
                     joined({meta(0, 3, "Lead"), {0, 0xC1, 5, 0, 0x91, 60, 90, 96, 60, 0}, endOfTrack()})});
    ASSERT_TRUE(open(whole));
    std::vector<TimelineEntry> all;
    ASSERT_TRUE(buildTimeline(song(), all));
    all.pop_back();
    const std::size_t firstEnd = 14 + 8 + trackAt(0).events.size();
    std::size_t most = 0;
    for (std::size_t size = 1; size < whole.size(); ++size) {
        SCOPED_TRACE(size);
        Bytes cut;
        cut.data.assign(whole.data.begin(), whole.data.begin() + static_cast<std::ptrdiff_t>(size));
        if (!open(cut, "cut.mid")) {
            EXPECT_LT(size, 14u);
            continue;
        }
        // Silent only where a track is whole and the header of the next one is not.
        EXPECT_EQ(ui.warnings.empty(), size >= firstEnd && size < firstEnd + 8);
        std::vector<TimelineEntry> part;
        if (!buildTimeline(song(), part))
            continue;
        part.pop_back();
        ASSERT_LE(part.size(), all.size());
        for (std::size_t i = 0; i < part.size(); ++i) {
            EXPECT_EQ(part[i].message, all[i].message);
            EXPECT_EQ(part[i].seconds, all[i].seconds);
        }
        EXPECT_GE(part.size(), most);
        most = part.size();
    }
    EXPECT_EQ(most, all.size());
}

TEST_F(MidiFiles, WritesTracksAsTheyAre) {
    const Stream odd{5, 6, 0x90, 1, 2, 0, 3, 4, 0xFF, 0xFF, 0xFF, 0x7F, 0xFF, 0x2F, 0, 1, 2, 3};
    for (const int format : {0, 1, 2, 9}) {
        const Bytes bytes =
            songFile(format, {odd, meta(0, 3, "B"), joined({{0, 0xF0, 1}, endOfTrack()})}, 0xE250);
        ASSERT_TRUE(open(bytes));
        EXPECT_EQ(saved(song(), "out.mid", kMidRow), bytes.data);
        EXPECT_EQ(saved(trackAt(1), "track.mid", kMidRow), bytes.data);  // a track is written as its song
    }
    // What can not be written.
    Waveform* wave = addWaveform(collection, "w", {0.5f});
    EXPECT_FALSE(saveItem(wave, kMidRow, folder / "no.mid", services));
    EXPECT_EQ(LastErrorText, "The file format can not save this item");
    EXPECT_FALSE(fs::exists(folder / "no.mid"));
    MidiSong* huge = collection.create<MidiSong>("huge");
    for (int i = 0; i < 65536; ++i)
        huge->links.add(song().links[0]);
    EXPECT_FALSE(saveItem(huge, kMidRow, folder / "no.mid", services));
    EXPECT_EQ(LastErrorText, "The song has more or longer tracks than a MIDI file can hold");
}

// ---- Against mido ----

// Writes a file's events as text: a line "T name events" for each track, then one "seconds status data data"
// for each channel message in playing order. Makes a song of its own when asked.
constexpr const char* kPeerScript = R"(import random, sys
import mido
if sys.argv[1] == 'make':
    random.seed(int(sys.argv[3]))
    song = mido.MidiFile(type=int(sys.argv[4]), ticks_per_beat=random.choice([24, 96, 120, 480, 960]))
    for t in range(6 if song.type else 1):
        track = mido.MidiTrack()
        song.tracks.append(track)
        track.append(mido.MetaMessage('track_name', name='Part %d' % t))
        for i in range(400):
            time = random.choice([0, 0, 1, 5, 48, 130, 20000])
            kind = random.randrange(8)
            if kind == 0:
                track.append(mido.MetaMessage('set_tempo', tempo=random.randrange(1, 1 << 24), time=time))
            elif kind == 1:
                track.append(mido.Message('program_change', channel=t, program=random.randrange(128), time=time))
            elif kind == 2:
                track.append(mido.Message('pitchwheel', channel=t, pitch=random.randrange(-8192, 8192), time=time))
            elif kind == 3:
                track.append(mido.Message('sysex', data=[random.randrange(128) for _ in range(200)], time=time))
            elif kind == 4:
                track.append(mido.MetaMessage('lyrics', text='la', time=time))
            else:
                track.append(mido.Message('note_on', channel=t, note=random.randrange(128), velocity=random.randrange(3), time=time))
    song.save(sys.argv[2])
out = open(sys.argv[-1], 'w', encoding='latin-1')
song = mido.MidiFile(sys.argv[2])
for track in song.tracks:
    out.write('T %s\t%d\n' % (track.name, len(track)))
now = 0.0
for message in song:
    now += message.time
    if not message.is_meta and message.type != 'sysex':
        data = message.bytes() + [0]
        out.write('%.9f %d %d %d\n' % (now, data[0], data[1], data[2]))
out.write('E %.9f 0 0 0\n' % now)
)";

struct PeerSong {
    std::vector<std::pair<std::string, unsigned>> tracks;  // name and number of events
    std::vector<TimelineEntry> timeline;
};

struct MidiPeers : MidiFiles {
    // A Python that has mido, which Debian installs for its own Python only.
    void SetUp() override {
        for (const char* candidate : {"python3", "/usr/bin/python3"}) {
            if (haveProgram(candidate) && run(std::string(candidate) + " -c \"import mido\"")) {
                python = candidate;
                std::ofstream(folder / "peer.py") << kPeerScript;
                return;
            }
        }
        GTEST_SKIP() << "no mido";
    }

    bool peer(const std::string& arguments, PeerSong& result) {
        const fs::path out = folder / "peer.txt";
        if (!run(python + ' ' + quoted(folder / "peer.py") + ' ' + arguments + ' ' + quoted(out)))
            return false;
        result = {};
        std::ifstream in(out);
        for (std::string line; std::getline(in, line);) {
            if (line[0] == 'T') {
                const std::size_t tab = line.rfind('\t');
                result.tracks.emplace_back(line.substr(2, tab - 2),
                                           static_cast<unsigned>(std::stoul(line.substr(tab + 1))));
                continue;
            }
            double seconds = 0;
            unsigned bytes[3]{};
            if (std::sscanf(line.c_str() + (line[0] == 'E' ? 2 : 0), "%lf %u %u %u", &seconds, &bytes[0],
                            &bytes[1], &bytes[2]) != 4)
                return false;
            result.timeline.push_back({seconds, bytes[0] | bytes[1] << 8 | bytes[2] << 16});
        }
        return true;
    }

    // The same messages at the same times. Their order within one moment is ours to choose.
    static void expectSamePlay(std::vector<TimelineEntry> ours, std::vector<TimelineEntry> theirs) {
        ASSERT_EQ(ours.size(), theirs.size());
        EXPECT_NEAR(ours.back().seconds, theirs.back().seconds, 1e-6 * (1 + theirs.back().seconds));
        const auto order = [](const TimelineEntry& a, const TimelineEntry& b) {
            return a.message != b.message ? a.message < b.message : a.seconds < b.seconds;
        };
        std::ranges::sort(ours, order);
        std::ranges::sort(theirs, order);
        for (std::size_t i = 0; i < ours.size(); ++i) {
            ASSERT_EQ(ours[i].message, theirs[i].message);
            ASSERT_NEAR(ours[i].seconds, theirs[i].seconds, 1e-6 * (1 + theirs[i].seconds));
        }
    }

    // Reads the file, compares with the peer, and may let the peer read the song in both formats.
    void expectAgreement(const fs::path& path, const PeerSong& theirs, bool alsoConverted) {
        SCOPED_TRACE(path);
        ASSERT_TRUE(openFile(collection, path, false, services)) << LastErrorText;
        EXPECT_TRUE(ui.warnings.empty());
        ASSERT_EQ(song().links.count(), theirs.tracks.size());
        for (std::uint32_t i = 0; i < song().links.count(); ++i) {
            EXPECT_EQ(trackAt(i).eventCount, theirs.tracks[i].second);
            if (!theirs.tracks[i].first.empty()) {
                EXPECT_EQ(trackAt(i).name(), theirs.tracks[i].first);
            }
        }
        std::vector<TimelineEntry> ours;
        ASSERT_TRUE(buildTimeline(song(), ours));
        expectSamePlay(ours, theirs.timeline);
        for (const bool single : {true, false}) {
            if (single)
                ASSERT_TRUE(convertToFormat0(song()));
            else
                convertToFormat1(song());
            std::vector<TimelineEntry> kept;
            ASSERT_TRUE(buildTimeline(song(), kept));
            expectSamePlay(kept, ours);
            if (!alsoConverted)
                continue;
            ASSERT_TRUE(saveItem(&song(), kMidRow, folder / "converted.mid", services)) << LastErrorText;
            PeerSong converted;
            ASSERT_TRUE(peer("show " + quoted(folder / "converted.mid"), converted));
            EXPECT_EQ(converted.tracks.size() == 1, single);
            expectSamePlay(converted.timeline, theirs.timeline);
        }
    }

    std::string python;
};

TEST_F(MidiPeers, RealSongsPlayTheSame) {
    int songs = 0;
    std::error_code absent;
    for (const auto& entry : fs::directory_iterator("/usr/share/games/openttd/baseset/openmsx", absent)) {
        if (entry.path().extension() != ".mid")
            continue;
        ASSERT_TRUE(openFile(collection, entry.path(), false, services));
        EXPECT_EQ(saved(song(), "same.mid", kMidRow), readFile(entry.path())) << entry.path();
        if (songs++ % 3)
            continue;  // mido takes its time
        PeerSong theirs;
        ASSERT_TRUE(peer("show " + quoted(entry.path()), theirs)) << entry.path();
        expectAgreement(entry.path(), theirs, songs % 12 == 1);
    }
    if (songs == 0)
        GTEST_SKIP() << "openttd-openmsx is not installed";
    EXPECT_GE(songs, 20);
}

TEST_F(MidiPeers, MadeSongsPlayTheSame) {
    for (int seed = 1; seed <= 3; ++seed) {
        const fs::path path = folder / "made.mid";
        PeerSong theirs;
        ASSERT_TRUE(peer("make " + quoted(path) + formatText(" %d %d", seed, seed == 1 ? 0 : 1), theirs));
        EXPECT_GT(theirs.timeline.size(), 200u);
        expectAgreement(path, theirs, true);
    }
}

}  // namespace
}  // namespace velor
