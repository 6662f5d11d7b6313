// RIFF-MIDI files: the song and the texts around it, and what is written.
#include "formats/core/midi_file_tools.h"

namespace velor {
namespace {

using namespace test;

constexpr int kRmiRow = 341, kRmiWriterRow = 342, kRmiWithDlsRow = 343;

using RiffMidi = MidiFiles;

TEST_F(RiffMidi, GivesTextsAndASong) {
    const Bytes inner = songFile(0, {joined({{0, 0x90, 60, 1, 9, 60, 0}, endOfTrack()})});
    const Bytes data = chunk("data", inner);
    const auto text = [](const char* id, const std::string& value) { return chunk(id, Bytes().text(value)); };
    const Bytes info =
        list("INFO", {text("INAM", std::string("Name\0", 5)), text("IART", "Artist"), text("ICMT", "Comment"),
                      text("ICOP", "Copyright"), text("IENG", "Engineer"), text("IPRD", "Product"),
                      text("ISFT", "?"), text("IKEY", "C")});
    const Bytes display = chunk("DISP", Bytes().u32(1).text(std::string(200, 'D')));
    const Bytes dls = riff("DLS ", {text("INAM", "Bank")});
    const Bytes unpadded = songFile(0, {Stream{0, 0x90, 60, 1, 9, 60, 0, 0, 0xFF, 0x2F, 0}});
    Bytes open0 = riff("RMID", {data, info});
    open0.data[4] = open0.data[5] = 0;
    Bytes noPad = Bytes().text("RIFF").u32(4 + 8 + unpadded.size() + info.size()).text("RMID");
    noPad.text("data").u32(unpadded.size()).add(unpadded).add(info);
    struct Case {
        const char* name;
        Bytes bytes;
        std::string song;  // name/artist/comment/copyright/engineer/product
        const char* warning;
    };
    const Case cases[] = {
        {"song alone", riff("RMID", {data}), "tune/////", ""},
        {"texts", riff("RMID", {data, info}), "Name/Artist/Comment/Copyright/Engineer/Product", ""},
        {"texts before the song do not count", riff("RMID", {info, display, data}), "tune/////", ""},
        {"the last name counts, 128 bytes of it", riff("RMID", {data, info, display}),
         std::string(128, 'D') + "/Artist/Comment/Copyright/Engineer/Product", ""},
        {"a picture is no name", riff("RMID", {data, chunk("DISP", Bytes().u32(8).text("BM"))}), "tune/////",
         ""},
        {"lists in lists", riff("RMID", {list("wrap", {data, list("more", {text("IART", "Deep")})})}),
         "tune/Deep////", ""},
        {"instruments", riff("RMID", {dls, data}), "tune/////",
         "The instruments inside the file can not be read: "},
        {"instruments that the size leaves out", riff("RMID", {data}).add(dls), "tune/////",
         "The instruments inside the file can not be read: "},
        {"a SoundFont bank", riff("RMID", {data, riff("sfbk", {})}), "tune/////",
         "The instruments inside the file can not be read: "},
        {"size 0", open0, "Name/Artist/Comment/Copyright/Engineer/Product", ""},
        {"no pad byte", noPad, "Name/Artist/Comment/Copyright/Engineer/Product", ""},
    };
    ASSERT_EQ(unpadded.size() % 2, 1u);
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        ASSERT_TRUE(open(each.bytes, "tune.rmi")) << LastErrorText;
        EXPECT_EQ(collection.formatRow, kRmiRow);
        const MidiSong& s = song();
        EXPECT_EQ(s.name() + '/' + s.artist + '/' + s.comment + '/' + s.copyright + '/' + s.engineer + '/' +
                      s.product,
                  each.song);
        EXPECT_EQ(trackAt(0).eventCount, 3u);
        ASSERT_EQ(ui.warnings.size(), *each.warning ? 1u : 0u);
        if (*each.warning) {
            EXPECT_TRUE(ui.warnings[0].starts_with(each.warning)) << ui.warnings[0];
        }
    }
    const std::pair<Bytes, const char*> wrong[] = {
        {riff("WAVE", {data}), "Not a RIFF-RMID file"},
        {form("RIFX", "RMID", {data}), "Not a RIFF-RMID file"},
        {riff("RMID", {info}), "Invalid or corrupt Midi file"},
        {riff("RMID", {chunk("data", Bytes().text("nothing here"))}), "Invalid or corrupt Midi file"},
    };
    for (const auto& [bytes, message] : wrong) {
        EXPECT_FALSE(openAs(bytes, kRmiRow));
        EXPECT_EQ(LastErrorText, message);
    }
}

TEST_F(RiffMidi, WritesTheSongAndItsTexts) {
    for (const bool odd : {false, true}) {
        const Bytes inner = songFile(
            1, {meta(0, 3, odd ? "Titles" : "Title"), joined({{0, 0x90, 60, 1, 9, 60, 0}, endOfTrack()})});
        ASSERT_EQ(inner.size() % 2 == 1, odd);
        ASSERT_TRUE(open(inner));
        song().artist = "Four";
        song().comment = "Five5";
        const auto text = [](const char* id, const std::string& value) {
            return chunk(id, Bytes().text(value).zeros(value.size() % 2 ? 1 : 2));
        };
        const Bytes expected =
            form("RIFF", "RMID",
                 {chunk("data", inner),
                  list("INFO", {text("IART", "Four"), text("ICMT", "Five5"), text("INAM", song().name()),
                                text("ISFT", "Velor Studio v12.6")})});
        EXPECT_EQ(saved(song(), "out.rmi", kRmiWriterRow), expected.data);
        ASSERT_TRUE(open(expected, "again.rmi"));
        EXPECT_EQ(saved(song(), "again.mid", kMidRow), inner.data);
    }
    EXPECT_FALSE(saveItem(&song(), kRmiWithDlsRow, folder / "no.rmi", services));
    EXPECT_EQ(LastErrorText,
              "Writing \"RIFF-MIDI w DLS level 1 instruments\" files is not supported in this build");
}

}  // namespace
}  // namespace velor
