#include "app/settings.h"

#include <gtest/gtest.h>

#include "test_tools.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <set>

#include "app/settings_commands.h"
#include "base/error.h"
#include "platform/file.h"
#include "platform/folders.h"
#include "platform/process.h"
#include "platform/settings_file.h"
#include "test_places.h"

namespace velor {

namespace {

namespace fs = std::filesystem;

class MemorySettings : public SettingsBackend {
  public:
    bool read(SettingValues& found) override {
        found = values;
        return readable;
    }
    bool write(const SettingChanges& changes) override {
        ++writes;
        for (const auto& [name, value] : changes) {
            if (value)
                values[name] = *value;
            else
                values.erase(name);
        }
        return readable;
    }
    std::string place() const override { return "memory"; }

    SettingValues values;
    bool readable = true;
    int writes = 0;
};

std::vector<Byte> bytes(std::initializer_list<int> numbers) {
    return std::vector<Byte>(numbers.begin(), numbers.end());
}

TEST(SettingsTable, NamesAreUniqueAndDefaultsFit) {
    std::set<std::string> names;
    for (const SettingRow& row : settingRows()) {
        EXPECT_TRUE(names.insert(lowerAscii(row.name)).second) << row.name;
        EXPECT_TRUE(SettingsFile::isName(row.name)) << row.name;
        EXPECT_TRUE(fitsSetting(row, defaultSetting(row))) << row.name;
    }
}

TEST(SettingsStore, StoredBytesOfEveryKind) {
    SettingsStore store;
    const std::vector<std::int64_t> position{-7, 1920};
    ASSERT_TRUE(store.setNumbers("app.ptLastPos", position));
    EXPECT_EQ(store.getBytes("app.ptLastPos"), bytes({0xF9, 0xFF, 0xFF, 0xFF, 0x80, 0x07, 0, 0}));
    EXPECT_EQ(store.getNumbers("app.ptLastPos"), position);
    ASSERT_TRUE(store.setFloat("aio.fdbMixGain", -3.5F));
    EXPECT_EQ(std::get<std::uint32_t>(store.value(*findSetting("aio.fdbMixGain"))), 0xC0600000u);
    EXPECT_EQ(store.getFloat("aio.fdbMixGain"), -3.5F);
    ASSERT_TRUE(store.setBool("load.bConfirm", true));
    EXPECT_EQ(store.getBytes("load.bConfirm"), bytes({1}));
    ASSERT_TRUE(store.setNumber("sy2wt.dwmsMaxLength", 4000000000));
    EXPECT_EQ(store.getNumber("sy2wt.dwmsMaxLength"), 4000000000);

    EXPECT_FALSE(store.setNumber("app.cOctMidC", 256));
    EXPECT_FALSE(store.setFloat("aio.fdbMixGain", NAN));
    EXPECT_FALSE(store.setText("aio.szMidiInDev", std::string(33, 'x')));
    EXPECT_TRUE(store.setText("aio.szMidiInDev", std::string(32, 'x')));
    EXPECT_FALSE(store.setBytes("app.ptLastSize", bytes({1, 2, 3})));
    // 260 characters are UTF-16 units, whatever they take as bytes.
    std::string wide;
    for (int i = 0; i < 130; ++i)
        wide += "日é";
    EXPECT_TRUE(store.setText("app.wszWave", wide));
    EXPECT_FALSE(store.setText("app.wszWave", wide + "x"));
}

TEST(SettingsStore, MissingAndUnfitValuesAreDefaults) {
    MemorySettings backend;
    backend.values = {{"APP.BDISPLOBANK", bytes({1})},
                      {"app.bShowNoteNames", bytes({0, 0})},            // wrong size
                      {"app.awColWidths", bytes({1, 0, 2, 0})},         // wrong size
                      {"app.cOctMidC", std::uint32_t{5}},               // wrong kind
                      {"mid2wav.dwSampleRate", SettingValue("22050")},  // wrong kind
                      {"aio.szAudioOutDev", SettingValue(std::string(65, 'd'))},
                      {"aio.fdbMixGain", std::uint32_t{0x7FC00000}},  // not a number
                      {"aio.szAudioInSampleRate", std::uint32_t{96000}},
                      {"somebody.else", SettingValue("kept")}};
    SettingsStore store;
    ASSERT_TRUE(store.load(backend));
    EXPECT_TRUE(store.getBool("app.bDispLoBank"));
    EXPECT_TRUE(store.getBool("app.bShowNoteNames"));
    EXPECT_EQ(store.getNumbers("app.awColWidths"), (std::vector<std::int64_t>{160, 62, 50, 40, 40}));
    EXPECT_EQ(store.getNumber("app.cOctMidC"), 4);
    EXPECT_EQ(store.getNumber("mid2wav.dwSampleRate"), 48000);
    EXPECT_EQ(store.getText("aio.szAudioOutDev"), "Windows default");
    EXPECT_EQ(store.getNumber("aio.szAudioInSampleRate"), 96000);
    EXPECT_EQ(store.getFloat("aio.fdbMixGain"), 0.0F);
    EXPECT_EQ(store.warnings().size(), 6u);

    ASSERT_TRUE(store.save(backend));
    const SettingValues expected{{"APP.BDISPLOBANK", bytes({1})},
                                 {"aio.szAudioInSampleRate", std::uint32_t{96000}},
                                 {"somebody.else", SettingValue("kept")},
                                 {"VersionNumber", SettingValue("12.6")}};
    EXPECT_EQ(backend.values, expected);
    EXPECT_EQ(backend.writes, 1);
    ASSERT_TRUE(store.save(backend));
    EXPECT_EQ(backend.writes, 1);  // nothing changed since

    // What cannot be read is neither used nor lost.
    backend.readable = false;
    EXPECT_FALSE(store.load(backend));
    EXPECT_FALSE(store.getBool("app.bDispLoBank"));
}

TEST(SettingsStore, RemembersAnUpgrade) {
    const struct {
        const char* stored;  // nullptr: none
        const char* after;
        bool upgraded;
    } cases[] = {{nullptr, "12.6", false}, {"0.0", "12.6", false},    {"12.5", "12.6", true},
                 {"12.6", "12.6", false},  {"12.60", "12.60", false}, {"11", "12.6", true},
                 {"9.1", "9.1", false},    {"", "12.6", true},        {"13.0", "13.0", false}};
    for (const auto& one : cases) {
        MemorySettings backend;
        if (one.stored)
            backend.values["VersionNumber"] = SettingValue(one.stored);
        SettingsStore store;
        ASSERT_TRUE(store.load(backend));
        EXPECT_EQ(store.upgraded(), one.upgraded) << (one.stored ? one.stored : "none");
        ASSERT_TRUE(store.save(backend));
        EXPECT_EQ(std::get<std::string>(backend.values["VersionNumber"]), one.after);
        ASSERT_TRUE(store.load(backend));
        EXPECT_FALSE(store.upgraded());
    }
}

TEST(SettingsStore, SecondPaneFollowsTheFirst) {
    for (const auto& [stored, width, second] :
         {std::tuple(-5, 221, 520), {16, 221, 520}, {505, 505, 521}, {2147483647, 2147483647, 2147483647}}) {
        MemorySettings backend;
        backend.values["app.iPaneSplitL"] = static_cast<std::uint32_t>(stored);
        SettingsStore store;
        ASSERT_TRUE(store.load(backend));
        EXPECT_EQ(store.getNumber("app.iPaneSplitL"), width) << stored;
        EXPECT_EQ(store.secondPaneWidth(), second) << stored;
    }
}

TEST(SettingsStore, FillsOptionsOfTheCore) {
    // Each load setting changes its own option and no other.
    const LoadOptions standard = SettingsStore().loadOptions();
    const LoadOptions initial;
    EXPECT_EQ(std::memcmp(&standard, &initial, sizeof initial), 0);
    static_assert(sizeof(LoadOptions) == 12, "one setting for each option");
    std::size_t next = 0;
    for (const SettingRow& row : settingRows()) {
        if (!row.name.starts_with("load."))
            continue;
        SettingsStore store;
        ASSERT_TRUE(store.setBool(row.name, !store.getBool(row.name)));
        const LoadOptions changed = store.loadOptions();
        for (std::size_t i = 0; i < sizeof changed; ++i)
            EXPECT_EQ(
                reinterpret_cast<const Byte*>(&changed)[i] != reinterpret_cast<const Byte*>(&standard)[i],
                i == next)
                << row.name;
        ++next;
    }
    EXPECT_EQ(next, sizeof(LoadOptions));

    SettingsStore store;
    EXPECT_EQ(noteName(60, store.noteNaming()), "C4");
    ASSERT_TRUE(store.setNumber("app.cOctMidC", 3));
    EXPECT_EQ(noteName(60, store.noteNaming()), "C3");
    ASSERT_TRUE(store.setBool("app.bShowNoteNames", false));
    EXPECT_EQ(noteName(60, store.noteNaming()), "60");
}

TEST(SettingsText, ParsesAndPrints) {
    const struct {
        const char *name, *text, *printed;  // printed nullptr: refused
    } cases[] = {
        {"load.bConfirm", "true", "true"},
        {"load.bConfirm", " ON ", "true"},
        {"load.bConfirm", "255", "true"},
        {"load.bConfirm", "maybe", nullptr},
        {"load.bConfirm", "256", nullptr},
        {"app.cOctMidC", "-1", nullptr},
        {"app.iPaneSplitL", "300", "300"},
        {"app.iPaneSplitL", "16", nullptr},
        {"aio.nLatency", "0xFFFFFFFF", "-1"},
        {"aio.nLatency", "2147483648", nullptr},
        {"fmt.vox.dwDataFormat", "0x8002000", "134225920"},
        {"aio.fdbMixGain", "-0.1", "-0.1"},
        {"aio.fdbMixGain", "nan", nullptr},
        {"aio.fdbMixGain", "3 dB", nullptr},
        {"app.ptLastPos", "-10, 20", "-10,20"},
        {"app.ptLastPos", "1,2,3", nullptr},
        {"app.awColWidths", "1,2,3,4,65535", "1,2,3,4,65535"},
        {"aio.acVKhi", "QWERTY", "QWERTY"},
        {"aio.acVKhi", "123456789012345678901234567890123456789", nullptr},
        {"app.wszMidi", "  as typed ", "  as typed "},
        {"APP.WSZMIDI", "any case", "any case"},
    };
    for (const auto& one : cases) {
        SettingsStore store;
        const std::string before = *store.print(one.name);
        EXPECT_EQ(store.parse(one.name, one.text), one.printed != nullptr) << one.name << " = " << one.text;
        EXPECT_EQ(store.print(one.name), one.printed ? one.printed : before) << one.name << " = " << one.text;
    }
    SettingsStore store;
    EXPECT_EQ(store.print("app.bCheckForUpdates"), "true");
    EXPECT_FALSE(store.parse("load.bConfirm", "maybe"));
    EXPECT_EQ(LastErrorText, "load.bConfirm expects true or false, not \"maybe\"");
    EXPECT_FALSE(store.parse("app.cOctMidC", "x"));
    EXPECT_EQ(LastErrorText, "app.cOctMidC expects a whole number from 0 to 255, not \"x\"");
    EXPECT_FALSE(store.parse("app.wszMidi", std::string("a\0b", 3)));
}

TEST(SettingsText, UnknownNamesGetTheNearest) {
    EXPECT_FALSE(findSetting("load.bAutoSplitSterio"));
    EXPECT_EQ(LastErrorText.find("There is no setting \"load.bAutoSplitSterio\". Did you mean "
                                 "load.bAutoSplitStereo, "),
              0u)
        << LastErrorText;
    EXPECT_FALSE(findSetting("bShowNoteName"));
    EXPECT_NE(LastErrorText.find("mean app.bShowNoteNames,"), std::string::npos) << LastErrorText;
    // Two settings whose names differ by their groups alone are both named.
    EXPECT_FALSE(findSetting("bWriteAP"));
    EXPECT_NE(LastErrorText.find("mean fmt.mp3.bWriteAPE, fmt.aac.bWriteAPE or "), std::string::npos)
        << LastErrorText;
    EXPECT_FALSE(findSetting(std::string(100'000, 'x')));
    EXPECT_LT(LastErrorText.size(), 300u);
}

// Each row's values of any content, through the text of files and back, byte for byte.
TEST(SettingsText, FilesLoseNothing) {
    const SettingTextCodec codec = settingTextCodec();
    std::mt19937 random(11);
    for (const SettingRow& row : settingRows()) {
        for (int round = 0; round < 20; ++round) {
            SettingValue value = defaultSetting(row);
            if (auto* stored = std::get_if<std::vector<Byte>>(&value)) {
                for (Byte& byte : *stored)
                    byte = static_cast<Byte>(row.type == SettingType::Chars ? 1 + random() % 255 : random());
            } else if (auto* number = std::get_if<std::uint32_t>(&value)) {
                *number = row.name == "app.iPaneSplitL" ? 17 + static_cast<std::uint32_t>(random() % 1000)
                                                        : static_cast<std::uint32_t>(random());
                if (row.type == SettingType::Float)  // any finite one
                    *number &= 0xBFFFFFFFu;
            } else {
                std::get<std::string>(value) =
                    std::string(random() % 30, static_cast<char>('!' + random() % 90));
            }
            SettingsFile file;
            file.set(row.name, codec.print(row.name, value));
            SettingsFile again;
            ASSERT_TRUE(again.parse(file.print()));
            ASSERT_EQ(again.entries().size(), 1u) << row.name;
            SettingValue back;
            ASSERT_TRUE(codec.parse(row.name, again.entries()[0].value, back))
                << row.name << ": " << LastErrorText;
            EXPECT_EQ(back, value) << row.name;
        }
    }
}

TEST(SettingsList, EntriesOfAnyTextRoundTrip) {
    EXPECT_EQ(joinList({"C:\\a b\\c.wav", "/home/x/y|z", "100%.wav", "50%25", ""}),
              "C:\\a b\\c.wav|/home/x/y%7Cz|100%.wav|50%2525");
    EXPECT_EQ(splitList("|a||b|"), (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(splitList("").empty());
    std::mt19937 random(5);
    for (int round = 0; round < 20'000; ++round) {
        std::vector<std::string> entries(random() % 4);
        for (std::string& entry : entries)
            for (std::size_t length = 1 + random() % 7; length > 0; --length)
                entry += "%|257C/c"[random() % 8];
        EXPECT_EQ(splitList(joinList(entries)), entries);
    }
}

TEST(SettingsList, RecentEntriesComeFirstAndFit) {
    SettingsStore store;
    for (const char* file : {"a", "b", "c", "a"})
        ASSERT_TRUE(store.addRecent("app.LastFilesA", file));
    EXPECT_EQ(store.getList("app.LastFilesA"), (std::vector<std::string>{"a", "c", "b"}));
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(store.addRecent("app.LastFilesA", std::string(300, static_cast<char>('d' + i))));
    const auto list = store.getList("app.LastFilesA");
    EXPECT_EQ(list.size(), 3u);
    EXPECT_EQ(list.front().front(), 'd' + 19);
    EXPECT_EQ(store.getBytes("app.LastFilesA").size(), 1024u);
    ASSERT_TRUE(store.addRecent("app.LastFilesA", std::string(2000, 'z')));
    EXPECT_TRUE(store.getList("app.LastFilesA").empty());
}

TEST(GmBank, PrefersDefaultsThenGeneralMidi) {
    const test::TemporaryFolder folder;
    const std::vector<fs::path> folders{folder / "none", folder / "one", folder / "two"};
    const auto found = [&] { return utf8FromPath(findGmBank(folders).filename()); };
    fs::create_directories(folder / "one" / "folder.sf2");
    fs::create_directories(folder / "two");
    EXPECT_EQ(found(), "");
    for (const char* name :
         {"two/zzz.sf3", "one/readme.txt", "one/piano.SF2", "one/TimGM.sf2", "one/default-GM.sf2"}) {
        std::ofstream(folder / name).put('x');
        EXPECT_EQ(found(),
                  fs::path(std::string_view(name).starts_with("one/readme") ? "zzz.sf3" : name).filename());
    }

    SettingsStore store;
    EXPECT_EQ(store.gmBank(), defaultGmBank());
    ASSERT_TRUE(store.setText("mid2wav.wszGMBank", "my.sf2"));
    EXPECT_EQ(store.gmBank(), "my.sf2");
#ifdef _WIN32
    EXPECT_EQ(defaultGmBank(), utf8FromPath(systemFolder()) + "\\drivers\\gm.dls");
#endif
}

TEST(SettingsCommands, GetSetResetList) {
    SettingsStore store;
    ASSERT_TRUE(store.setText("VersionNumber", SettingsStore::kVersion));
    EXPECT_EQ(setSetting(store, "load.bConfirm = yes").text, "load.bConfirm = true\n");
    EXPECT_TRUE(setSetting(store, "app.szVSTPaths", "/a|/b").ok);
    EXPECT_EQ(getSetting(store, "LOAD.bconfirm").text, "true\n");
    EXPECT_EQ(listSettings(store, true),
              "# Application\n# default: \"\"\napp.szVSTPaths = /a|/b\n"
              "\n# After loading\n# default: false\nload.bConfirm = true\n");
    const std::string explained = explainSetting(store, "mid2wav.dwSampleRate").text;
    EXPECT_NE(explained.find("default: 48000"), std::string::npos) << explained;
    EXPECT_EQ(resetSetting(store, "load").text, "load.bConfirm = false\n");
    EXPECT_EQ(resetSetting(store, "load").text, "Nothing to reset\n");
    EXPECT_EQ(resetSetting(store, "all").text, "app.szVSTPaths = \"\"\n");
    EXPECT_EQ(listSettings(store, true), "");
    for (const CommandResult& result :
         {getSetting(store, "no.such"), explainSetting(store, ""), setSetting(store, "load.bConfirm"),
          setSetting(store, "load.bConfirm=2000"), setSetting(store, "VersionNumber=1"),
          resetSetting(store, "loa"), resetSetting(store, ""), resetSetting(store, "VersionNumber")})
        EXPECT_TRUE(!result.ok && !result.text.empty()) << result.text;
}

// A listing kept in a file brings every value back.
TEST(SettingsCommands, AListingIsASettingsFile) {
    const test::TemporaryFolder folder;
    const fs::path path = folder / "listing.conf";
    SettingsStore store;
    ASSERT_TRUE(store.setText("app.wszWave", "  \"C:\\Programs\\édit.exe\" "));
    ASSERT_TRUE(store.setFloat("aio.fdbMixGain", 0.1F));
    ASSERT_TRUE(store.setBool("app.bCheckForUpdates", false));
    ASSERT_TRUE(store.setText("VersionNumber", SettingsStore::kVersion));
    std::ofstream(path, std::ios::binary) << listSettings(store, false);
    SettingsStore again;
    const auto backend = fileSettings(path, settingTextCodec());
    ASSERT_TRUE(again.load(*backend)) << LastErrorText;
    EXPECT_TRUE(again.warnings().empty());
    EXPECT_EQ(listSettings(again, false), listSettings(store, false));
}

TEST(UserSettings, TheVariableNamesTheFile) {
    const test::TemporaryFolder folder;
    const fs::path path = folder.path() / pathFromUtf8("velor séttings.conf");
    const std::string variable = "VELOR_SETTINGS=" + utf8FromPath(path);
#ifdef _WIN32
    const auto setVariable = [](const std::string& text) { ::_wputenv(pathFromUtf8(text).c_str()); };
#else
    const auto setVariable = [](const std::string& text) {
        const std::size_t equals = text.find('=');
        ::setenv(text.substr(0, equals).c_str(), text.substr(equals + 1).c_str(), 1);
    };
#endif
    const std::string before = environmentVariable("VELOR_SETTINGS");
    setVariable(variable);
    const auto backend = openSettings();
    setVariable("VELOR_SETTINGS=" + before);
    ASSERT_EQ(backend->place(), utf8FromPath(path));
    SettingsStore store;
    ASSERT_TRUE(store.load(*backend));
    ASSERT_TRUE(store.setNumber("mid2wav.iMaxPolyphony", 64));
    ASSERT_TRUE(store.setBool("load.bConfirm", true));
    ASSERT_TRUE(store.save(*backend)) << LastErrorText;
    const std::vector<Byte> written = test::readFile(path);
    const std::string text(written.begin(), written.end());
    EXPECT_NE(text.find("\nload.bConfirm = 1\nmid2wav.iMaxPolyphony = 64\nVersionNumber = 12.6\n"),
              std::string::npos)
        << text;
    SettingsStore again;
    ASSERT_TRUE(again.load(*backend));
    EXPECT_EQ(again.getNumber("mid2wav.iMaxPolyphony"), 64);
}

TEST(RegistrySettings, RoundTripOfAllKinds) {
    const std::string key = "Software\\Qen-Software\\Velor Studio test " + test::uniqueName();
    const auto backend = registrySettings(key);
#ifdef _WIN32
    SettingValues found;
    EXPECT_TRUE(backend->read(found));  // no key yet
    EXPECT_TRUE(found.empty());
    const SettingValues values{{"text", SettingValue("é日 \\ \"")},
                               {"empty", SettingValue("")},
                               {"long", SettingValue(std::string(40'000, 'x'))},
                               {"bytes", bytes({0, 255, 1})},
                               {"none", std::vector<Byte>()},
                               {"number", std::uint32_t{0xFFFFFFFF}},
                               {"gone", std::uint32_t{1}}};
    SettingChanges changes(values.begin(), values.end());
    ASSERT_TRUE(backend->write(changes)) << LastErrorText;
    ASSERT_TRUE(backend->write({{"gone", std::nullopt}, {"never was", std::nullopt}}));
    ASSERT_TRUE(backend->read(found));
    SettingValues expected = values;
    expected.erase("gone");
    EXPECT_EQ(found, expected);

    const auto reg = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin() + 1, "HKCU\\" + key);
        ChildOptions options;
        options.program = "reg";
        options.arguments = std::move(arguments);
        options.captureOutput = true;
        const auto child = ChildProcess::start(options);
        return child && child->wait() && child->exitCode() == 0 ? child->readOutput() : "failed";
    };
    // The system's own tool sees, and makes, the same kinds.
    EXPECT_NE(reg({"query", "/v", "number"}).find("REG_DWORD"), std::string::npos);
    EXPECT_NE(reg({"query", "/v", "bytes"}).find("00FF01"), std::string::npos);
    EXPECT_NE(reg({"add", "/v", "load.bConfirm", "/t", "REG_BINARY", "/d", "01", "/f"}), "failed");
    EXPECT_NE(reg({"add", "/v", "app.iPaneSplitL", "/t", "REG_DWORD", "/d", "10", "/f"}), "failed");
    EXPECT_NE(reg({"add", "/v", "odd", "/t", "REG_MULTI_SZ", "/d", "a", "/f"}), "failed");
    SettingsStore store;
    ASSERT_TRUE(store.load(*backend));
    EXPECT_TRUE(store.getBool("load.bConfirm"));
    EXPECT_EQ(store.getNumber("app.iPaneSplitL"), 221);
    EXPECT_EQ(store.warnings().size(), 1u);
    EXPECT_NE(reg({"delete", "/f"}), "failed");
#else
    EXPECT_FALSE(backend);
    EXPECT_EQ(LastErrorText, "This system has no registry");
#endif
}

TEST(SettingsGuide, ShowsTheTable) {
    fs::path guide = fs::path(VELOR_SOURCE_DIR) / "docs" / "settings.md";
    std::ifstream file(guide, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(text.find(settingsMarkdown()), std::string::npos)
        << "the table in docs/settings.md should read:\n"
        << settingsMarkdown();
}

}  // namespace

}  // namespace velor
