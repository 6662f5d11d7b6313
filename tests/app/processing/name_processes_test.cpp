// Names and root keys from each other, and search and replace.
#include "app/processing/name_replacement.h"

#include <cmath>

#include "dsp/real_notes.h"
#include "items/key_in_name.h"
#include "process_tools.h"

namespace velor {
namespace {

TEST(KeyInName, ReadsWhatPeopleWrite) {
    struct Case {
        const char* name;
        int key;  // -1: nothing for certain
        KeyInName options = {};
    };
    constexpr KeyInName kNumbers{.prefer = KeyInName::Numbers};
    constexpr KeyInName kGerman{.german = true};
    constexpr KeyInName kMiddleC3{.octaveOfMiddleC = 3};
    for (const Case& c : {
             Case{"Piano C#3", 49},
             {"Piano C#3", 61, kMiddleC3},
             {"pno_Db4_vel2", 61},
             {"Violin-060", 60},
             {"BASS A-1", 9},
             {"BASS A-1", 21, kMiddleC3},
             {"12 Kick", -1},
             {"12 Kick", 12, kNumbers},
             {"a#3.wav", 58},
             {"Fs4", 66},
             {"Gsharp2 soft", 44},
             {"A0v12", 21},
             {"Strings F5L", 77},
             {"Cello_D\xE2\x99\xAF"
              "2",
              39},
             {"lead C-5", 72},
             {"C10", 132 > 127 ? -1 : 0},
             {"key 48", 48},
             {"Root=35 snare", 35},
             {"note060 x", 60},
             {"Flute 099", 99},
             // Not for certain, or something else.
             {"Kick 001", -1},
             {"Piano 60", 60, kNumbers},
             {"Pad 128", -1, kNumbers},
             {"Loop 90bpm", -1, kNumbers},
             {"Tom 44.1kHz 16bit", -1, kNumbers},
             {"pno 64 vel 100", 64, kNumbers},
             {"C3-E4 split", -1},
             {"Choir C3 (C3)", 48},
             {"CS80 Brass", -1},
             {"BASSA2", -1},
             {"TR-808", -1, kNumbers},
             {"", -1},
             {"#", -1},
             {"C", -1},
             {"Ab", -1},
             {"G9", 127},
             {"G#9", -1},
             {"2 E3 7", 52},
             {"2 E3 7", -1, kNumbers},
             {"H3", -1},
             {"H3", 59, kGerman},
             {"B3", 58, kGerman},
             {"Cis4", 61, kGerman},
             {"Es4", 63, kGerman},
             {"As2", 44, kGerman},
             {"E3 060", 60, kNumbers},
             {"E3", -1, {.prefer = KeyInName::OnlyNumbers}},
             {"Pno 060", -1, {.prefer = KeyInName::OnlyNotes}},
         }) {
        const auto key = keyInName(c.name, c.options);
        EXPECT_EQ(key ? *key : -1, c.key) << c.name;
    }
}

// Makers of banks name their samples by the notes that were played, in whatever octave they count from.
TEST(KeyInName, AgreesWithTheNotesOfARealBank) {
    int named = 0, agree = 0;
    const bool found = test::visitRealNotes("FluidR3_GM.sf2", [&](const Waveform& waveform, double cents) {
        const auto key = keyInName(waveform.name(), {});
        named += key.has_value();
        agree += key && std::abs(std::remainder(100.0 * *key - cents, 1200)) < 60;
    });
    if (!found)
        GTEST_SKIP() << "needs FluidR3_GM.sf2";
    EXPECT_GE(named, 500 / static_cast<int>(test::kThinning));
    EXPECT_GE(agree, named * 9 / 10) << "of " << named;
}

struct NameProcesses : testing::Test {
    Collection collection;
    test::RecordingInterface ui;
    Waveform& add(const std::string& name, std::uint8_t key = 60) {
        Waveform& waveform = *test::addWaveform(collection, name, {0.0f});
        waveform.rootKey = key;
        return waveform;
    }
    std::vector<std::string> names() const { return test::namesOf(collection, ItemKind::Waveform); }
    std::string replace(const std::string& name, std::vector<std::string> pairs) {
        collection.clear();
        add(name);
        const ProcessRun run = test::runNamed("search-and-replace-text-in-names", collection, pairs);
        return run.failed ? "error: " + run.items.at(0).error : names().at(0);
    }
};

// Names made from keys say them again, in every naming of octaves.
TEST_F(NameProcesses, KeysAndNamesAreInverse) {
    for (int key = 0; key < 128; ++key)
        add("Pno", static_cast<std::uint8_t>(key));
    EXPECT_EQ(
        test::runNamed("set-waveform-names-from-root-keys", collection, {"template={name} {note}"}).changed,
        128u);
    for (Waveform* waveform : collection.all<Waveform>())
        waveform->rootKey = 1;
    test::runNamed("parse-root-key-from-waveform-name", collection);
    for (int key = 0; key < 128; ++key)
        EXPECT_EQ(collection.all<Waveform>()[static_cast<std::size_t>(key)]->rootKey, key)
            << names()[static_cast<std::size_t>(key)];
}

TEST_F(NameProcesses, Templates) {
    Waveform& waveform = add("Pno", 61);
    waveform.fineTune = -7;
    waveform.tuning = 0.5f;
    add("Vln", 9);
    EXPECT_EQ(test::runNamed("set-waveform-names-from-root-keys", collection,
                             {"template={index:3}_{key:3} {name} {cents}{"})
                  .changed,
              2u);
    EXPECT_EQ(names(), (std::vector<std::string>{"001_061 Pno +43{", "002_009 Vln +0{"}));
    for (const char* bad :
         {"template={what}", "template={name:2}", "template={key:x}", "template={key:99}", "template= "}) {
        const ProcessRun run = test::runNamed("set-waveform-names-from-root-keys", collection, {bad});
        EXPECT_EQ(run.failed, 2u) << bad;
    }
}

TEST_F(NameProcesses, FileNames) {
    for (const char* file :
         {"/home/me/Kick 1.wav", "C:\\Sounds\\Snare.old.aif", "bank.sf2", "bank.sf2", "", ".hidden", "plain"})
        add("x").sourceFile = file;
    test::runNamed("set-waveform-names-from-file-names", collection);
    EXPECT_EQ(names(),
              (std::vector<std::string>{"Kick 1", "Snare.old", "bank 1", "bank 2", "x", ".hidden", "plain"}));
    EXPECT_EQ(test::runNamed("set-waveform-names-from-file-names", collection).changed, 0u);
}

TEST_F(NameProcesses, Replaces) {
    EXPECT_EQ(replace("Piano piano", {"search=PIANO", "replace=Pno"}), "Pno Pno");
    EXPECT_EQ(replace("Piano piano", {"search=piano", "replace=Pno", "match-case=1"}), "Piano Pno");
    EXPECT_EQ(replace("pno_vel2 vel2x", {"search=vel2", "replace=$1", "whole-words=1"}), "pno_$1 vel2x");
    EXPECT_EQ(replace("aaaa", {"search=aa", "replace=a"}), "aa");
    EXPECT_EQ(replace("a.b", {"search=.", "replace="}), "ab");
    EXPECT_EQ(replace("K\xFC"
                      "che",
                      {"search=\xC3\xBC", "replace=ue"}),
              "Kueche")
        << "Windows-1252 names";
    EXPECT_EQ(replace("pno C3 v2", {"search=(\\w+) (c\\d)", "replace=$2 $1", "regex=1"}), "C3 pno v2");
    EXPECT_EQ(replace("abc", {"search=^|$", "replace=!", "regex=1"}), "!abc!");
    EXPECT_EQ(replace("cat concat", {"search=c.t", "replace=x", "regex=1", "whole-words=1"}), "x concat");
    EXPECT_EQ(replace("abc", {"search=x*", "replace=", "regex=1"}), "abc");
    EXPECT_EQ(replace("abc", {"search="}), "error: There is no text to search for");
    EXPECT_EQ(replace("abc", {"search=ABC"}), "error: Nothing would be left of the name");
    EXPECT_EQ(replace("abc", {"search=(", "regex=1"}), "error: \"(\" is no regular expression");
}

// Patterns that would keep a naive matcher busy for ever, or recurse too deeply, end soon and say why.
TEST_F(NameProcesses, HostileExpressionsEnd) {
    const std::string many(512, 'a');
    for (const char* pattern :
         {"search=(a+)+$", "search=(a*)*b", "search=(a|aa)+$", "search=(a|b|c)*d", "search=.*.*.*.*.*.*x",
          "search=((a{1,99}){1,99}){1,99}b", "search=(((((((a*)*)*)*)*)*)*)*b"}) {
        const std::string result = replace(many + "!", {pattern, "replace=x", "regex=1"});
        EXPECT_TRUE(result.starts_with("error: ") || result == many + "!") << pattern << result;
    }
    EXPECT_EQ(replace(std::string(40, 'a') + "!", {"search=(a+)+$", "replace=x", "regex=1"}),
              "error: The regular expression takes too long on this name");
    EXPECT_TRUE(replace(many + many, {"search=a", "replace=b", "regex=1"}).starts_with("error: Regular"));
    EXPECT_EQ(replace(many + many, {"search=a", "replace=b"}), std::string(1024, 'b'));
}

}  // namespace
}  // namespace velor
