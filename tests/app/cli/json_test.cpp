// The machine-readable outputs, read by a parser as scripts would.
#include <gtest/gtest.h>

#include <set>

#include <nlohmann/json.hpp>

#include "app/demo.h"
#include "formats/framework/format_table.h"
#include "velor_program.h"

namespace velor::test {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

std::vector<std::string> keysOf(const Json& json) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : json.items())
        keys.push_back(key);
    return keys;
}

class JsonOutput : public testing::Test {
  protected:
    // Strict parsing: bad UTF-8 or a second document fails the test.
    Json velorJson(std::vector<std::string> arguments, int code) {
        run = runVelor(folder.path(), std::move(arguments));
        EXPECT_EQ(run.code, code) << run.err;
        Json json = Json::parse(run.out, nullptr, false);
        EXPECT_FALSE(json.is_discarded()) << run.out.substr(0, 500);
        if (!json.is_object() || json.empty())
            return Json::object();
        EXPECT_EQ(keysOf(json).front(), "version");
        EXPECT_EQ(json["version"], 1);
        return json;
    }

    // The demo's sound as a WAVE file, written by the core and not by the program.
    void writeDemoWave(const std::string& name, const std::string& comment) {
        Collection collection;
        Waveform* wave = createDemoSound(collection);
        ASSERT_TRUE(wave);
        wave->text(WaveText::Comment) = comment;
        RecordingInterface ui;
        PipelineServices services;
        services.ui = &ui;
        ASSERT_TRUE(saveItem(wave, findWriterByExtension("x.wav"), folder / name, services));
    }

    TemporaryFolder folder;
    ProgramRun run;
};

TEST_F(JsonOutput, InfoTellsAllAboutASound) {
    writeDemoWave("tone.wav", "a \"quoted\"\tcomment, caf\xE9");
    const Json json = velorJson({"info", "tone.wav", "missing.wav", "--json"}, 1);
    ASSERT_EQ(json["files"].size(), 2u);
    const Json& file = json["files"][0];
    EXPECT_EQ(keysOf(file), (std::vector<std::string>{"path", "ok", "error", "row", "description",
                                                      "confidence", "warnings", "items"}));
    EXPECT_EQ(file["path"], "tone.wav");
    EXPECT_EQ(file["ok"], true);
    EXPECT_EQ(file["error"], "");
    EXPECT_EQ(file["row"], 478);
    EXPECT_EQ(file["description"], "Microsoft wave");
    EXPECT_EQ(file["confidence"], 100);
    EXPECT_EQ(file["warnings"], Json::array());
    ASSERT_EQ(file["items"].size(), 1u);
    const Json& wave = file["items"][0];
    EXPECT_EQ(keysOf(wave), (std::vector<std::string>{"id", "kind", "name", "summary", "links", "frames",
                                                      "rate", "channels", "bits", "format", "encoding",
                                                      "rootKey", "fineTune", "gain", "loop", "texts"}));
    EXPECT_EQ(wave["id"].get<std::string>().size(), 8u);
    EXPECT_EQ(wave["id"].get<std::string>().find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_EQ(wave["kind"], "Waveform");
    EXPECT_EQ(wave["name"], "Demo tone");
    EXPECT_EQ(wave["summary"], "Stereo waveform with 44100 samples at 44100 Hz - 0:01.000, looped");
    EXPECT_EQ(wave["frames"], 44100);
    EXPECT_EQ(wave["format"], "PCM 16-bit");
    EXPECT_EQ(wave["rootKey"], 57);
    EXPECT_EQ(wave["fineTune"], -39);
    EXPECT_EQ(wave["loop"],
              Json::parse(R"({"mode":"forward","start":21952,"end":43904,"untilRelease":false})"));
    EXPECT_EQ(wave["texts"]["comment"], "a \"quoted\"\tcomment, caf\xC3\xA9");
    EXPECT_EQ(wave["texts"]["engineer"], "velor demo");

    const Json& missing = json["files"][1];
    EXPECT_EQ(missing["ok"], false);
    EXPECT_EQ(missing["row"], -1);
    EXPECT_EQ(missing["items"], Json::array());
    EXPECT_EQ(run.err, "velor: missing.wav: " + missing["error"].get<std::string>() + "\n");
}

TEST_F(JsonOutput, InfoShowsTheSameToPeople) {
    writeDemoWave("tone.wav", "two\nlines");
    writeFile(folder / "a.sw", words({1, 2, 3}));
    run = runVelor(folder.path(), {"info", "tone.wav", "a.sw"});
    EXPECT_EQ(run.code, 0) << run.err;
    for (const char* part :
         {"tone.wav: Microsoft wave (100 %)\n  #1 Demo tone: Stereo waveform with 44100 samples",
          "PCM 16-bit, root key A3, tuned -39 cents", "loop forward, frames 21952 to 43904",
          "comment: two lines\n",
          "a.sw: Signed words (16-bit) - Little Endian (55 %)\n  #1 a: Waveform with 3"})
        EXPECT_TRUE(contains(run.out, part)) << part << "\n" << run.out;
}

TEST_F(JsonOutput, InfoTellsAllAboutASong) {
    // clang-format off
    const std::vector<Byte> song{
        'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 1, 0, 2, 0xE7, 0x28,
        'M', 'T', 'r', 'k', 0, 0, 0, 11, 0, 0xFF, 2, 1, 'c', 0, 0xFF, 3, 2, 'S', 'o',
        'M', 'T', 'r', 'k', 0, 0, 0, 23, 0, 0xFF, 0x21, 1, 1, 0, 0xFF, 0, 2, 0, 7, 0, 0x99, 36, 100,
        0x8F, 0x50, 36, 0, 0, 0xFF, 0x2F, 0};
    // clang-format on
    writeFile(folder / "song.mid", song);
    const Json items = velorJson({"info", "song.mid", "--json"}, 0)["files"][0]["items"];
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(keysOf(items[0]), (std::vector<std::string>{"id", "kind", "name", "summary", "links", "format",
                                                          "division", "texts"}));
    EXPECT_EQ(items[0]["name"], "So");
    EXPECT_EQ(items[0]["summary"], "MIDI song with 2 tracks and 7 events");
    EXPECT_EQ(items[0]["links"], (Json{items[1]["id"], items[2]["id"]}));
    EXPECT_EQ(items[0]["format"], 1);
    EXPECT_EQ(items[0]["division"], 0xE728);
    EXPECT_EQ(items[0]["texts"]["copyright"], "c");
    EXPECT_EQ(items[1]["channel"], -2);
    const Json track = Json::parse(R"({"port":1,"channel":9,"sequence":7,"events":5,"bytes":23})");
    for (const auto& [key, value] : track.items())
        EXPECT_EQ(items[2][key], value) << key;
    run = runVelor(folder.path(), {"info", "song.mid", "--tree"});
    EXPECT_TRUE(contains(run.out, "format 1, 25 frames per second of 40 ticks, 0:02.000, 1 note\n"))
        << run.out;
    EXPECT_TRUE(
        contains(run.out, "Track 02: Midi track with 5 events\n        port 2, channel 10, sequence 7\n"))
        << run.out;
}

TEST_F(JsonOutput, FormatsListsTheWholeTable) {
    const Json json = velorJson({"formats", "--json"}, 0);
    const Json& formats = json["formats"];
    ASSERT_EQ(formats.size(), 527u);
    const std::set<std::string> kinds{"Waveform",   "SynthModel", "Region",   "Layer",
                                      "Instrument", "MidiTrack",  "MidiSong", "Collection"};
    std::size_t readable = 0;
    for (std::size_t i = 0; i < formats.size(); ++i) {
        const Json& row = formats[i];
        ASSERT_EQ(keysOf(row),
                  (std::vector<std::string>{"index", "extension", "description", "reads", "writes", "kinds",
                                            "flags", "variant", "generic", "readBuilt", "writeBuilt"}));
        EXPECT_EQ(row["index"], i);
        EXPECT_TRUE(row["flags"].is_number_unsigned() && row["variant"].is_number_unsigned());
        EXPECT_FALSE(row["readBuilt"].get<bool>() && !row["reads"].get<bool>()) << i;
        EXPECT_FALSE(row["writeBuilt"].get<bool>() && !row["writes"].get<bool>()) << i;
        EXPECT_FALSE(row["kinds"].empty()) << i;
        for (const Json& kind : row["kinds"])
            EXPECT_TRUE(kinds.count(kind.get<std::string>())) << kind;
        readable += row["readBuilt"].get<bool>();
    }
    EXPECT_EQ(formats[64]["description"], "DownLoadable Sounds level 2");
    EXPECT_EQ(formats[64]["kinds"], (Json{"Waveform", "Instrument", "Collection"}));
    EXPECT_EQ(formats[64]["flags"], 0x2100005);
    EXPECT_EQ(velorJson({"formats", "--json", "--readable"}, 0)["formats"].size(), readable);
    EXPECT_EQ(velorJson({"formats", "--json", ".AIF"}, 0)["formats"].size(), 1u);
    EXPECT_GT(velorJson({"formats", "--json", "korg"}, 0)["formats"].size(), 5u);
    EXPECT_TRUE(contains(runVelor(folder.path(), {"formats", "wav"}).out, "478  RW  wav"));
    run = runVelor(folder.path(), {"formats", "Microsft wave"});
    EXPECT_EQ(run.code, 2);
    EXPECT_TRUE(contains(run.err, "nearest: Microsoft wave,")) << run.err;
}

TEST_F(JsonOutput, IdentifyNamesAndExplains) {
    writeDemoWave("tone.bin", "");
    writeFile(folder / "a.sw", words({1, 2, 3}));
    writeFile(folder / "empty.wav", {});
    const Json json = velorJson({"identify", "--json", "--explain", "tone.bin", "a.sw", "empty.wav"}, 0);
    const Json& wave = json["files"][0];
    EXPECT_EQ(wave["row"], 478);
    EXPECT_EQ(wave["confidence"], 66);
    EXPECT_EQ(wave["candidates"][0]["row"], 478);
    EXPECT_EQ(wave["candidates"][0]["score"], 6);
    EXPECT_EQ(wave["candidates"][0]["extensionMatches"], false);
    int before = 99;
    for (const Json& each : wave["candidates"]) {
        EXPECT_LE(each["score"], before);
        before = each["score"];
    }
    EXPECT_EQ(json["files"][1]["confidence"], 55);
    EXPECT_EQ(json["files"][2]["row"], -1);
    EXPECT_FALSE(velorJson({"identify", "--json", "a.sw"}, 0)["files"][0].contains("candidates"));
    EXPECT_EQ(velorJson({"identify", "--json", "none"}, 1)["files"][0]["ok"], false);
}

TEST_F(JsonOutput, ConvertReportsEachFile) {
    writeFile(folder / "a.sw", words({1, 2, 3}));
    writeFile(folder / "b.sw", words({4}));
    writeFile(folder / "b.ub", {0});
    for (const char* jobs : {"--quiet", "--jobs=2"}) {
        const Json json = velorJson(
            {"convert", "a.sw", "b.sw", "none.sw", "--to", "ub", "--json", "--skip-existing", jobs}, 1);
        EXPECT_EQ(json["done"], 1);
        EXPECT_EQ(json["skipped"], 1);
        EXPECT_EQ(json["failed"], 1);
        EXPECT_EQ(json["dryRun"], false);
        const Json& files = json["files"];
        ASSERT_EQ(files.size(), 3u);
        EXPECT_EQ(files[0]["input"], "a.sw");
        EXPECT_EQ(files[0]["ok"], true);
        ASSERT_EQ(files[0]["outputs"].size(), 1u);
        EXPECT_EQ(readFile(pathFromUtf8(files[0]["outputs"][0].get<std::string>())).size(), 3u);
        EXPECT_EQ(files[0]["targets"][0]["row"], 442);
        EXPECT_EQ(files[0]["targets"][0]["encoding"], "PCM 8-bit");
        EXPECT_EQ(files[0]["targets"][0]["channels"], 1);
        EXPECT_EQ(files[1]["skipped"], true);
        EXPECT_EQ(files[1]["ok"], true);
        EXPECT_EQ(files[2]["ok"], false);
        EXPECT_NE(files[2]["error"], "");
        fs::remove(folder / "a.ub");
    }
    EXPECT_EQ(
        velorJson({"convert", "a.sw", "--to", "ub", "--json", "--dry-run"}, 0)["files"][0]["outputs"].size(),
        1u);
    EXPECT_FALSE(fs::exists(folder / "a.ub"));
}

TEST_F(JsonOutput, NamesThatAreNoUtf8StayReadable) {
    const fs::path odd = folder.path() / fs::path(std::string("k\xE4se.sw"));
    if (fs::path::preferred_separator == '\\')
        GTEST_SKIP() << "file names are Unicode here";
    writeFile(odd, words({1, 2}));
    EXPECT_EQ(velorJson({"info", "--json", std::string("k\xE4se.sw")}, 0)["files"][0]["path"],
              "k\xC3\xA4se.sw");
    EXPECT_EQ(velorJson({"convert", "--json", std::string("k\xE4se.sw"), "--to", "ub", "-j2"}, 0)["failed"],
              0);
    EXPECT_TRUE(fs::exists(folder.path() / fs::path(std::string("k\xE4se.ub"))));
}

TEST_F(JsonOutput, SettingsAreShownAndChanged) {
    const auto valueOf = [&](const std::string& key) {
        return velorJson({"settings", "get", key, "--json"}, 0)["settings"][0];
    };
    EXPECT_EQ(valueOf("load.bAutoSplitStereo")["changed"], false);
    EXPECT_EQ(runVelor(folder.path(), {"settings", "set", "load.bAutoSplitStereo=yes"}).code, 0);
    EXPECT_EQ(valueOf("load.bAutoSplitStereo")["value"], "true");
    EXPECT_EQ(runVelor(folder.path(), {"settings", "get", "LOAD.bautosplitstereo"}).out, "true\n");
    bool listed = false;
    const Json changed = velorJson({"settings", "list", "--changed", "--json"}, 0);
    for (const Json& each : changed["settings"])
        listed = listed || each["key"] == "load.bAutoSplitStereo";
    EXPECT_TRUE(listed);
    EXPECT_EQ(runVelor(folder.path(), {"settings", "reset", "load"}).code, 0);
    EXPECT_EQ(valueOf("load.bAutoSplitStereo")["value"], "false");
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{"settings"},
                                                  {"settings", "sett", "x"},
                                                  {"settings", "set", "load.bConfirm"},
                                                  {"settings", "get"},
                                                  {"settings", "get", "load.bConfirmed"},
                                                  {"settings", "reset"},
                                                  {"settings", "set", "load.bConfirm", "perhaps"},
                                                  {"settings", "list", "load"}}) {
        run = runVelor(folder.path(), wrong);
        EXPECT_EQ(run.code, 2) << wrong.back();
        EXPECT_NE(run.err, "");
    }
    // A settings file that can not be written is a failure, not a usage error.
    ChildOptions options = velorOptions(folder.path(), {"settings", "set", "load.bConfirm", "1"});
    options.environment[0].second = utf8FromPath(folder / "velor-settings" / "below-a-file");
    EXPECT_EQ(runProgram(options).code, 1);
}

}  // namespace

}  // namespace velor::test
