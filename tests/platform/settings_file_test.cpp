#include "platform/settings_file.h"

#include <gtest/gtest.h>

#include "test_tools.h"

#include <fstream>
#include <map>
#include <random>

#include "base/error.h"
#include "platform/file.h"
#include "platform/settings_backend.h"

namespace velor {

namespace {

namespace fs = std::filesystem;

std::map<std::string, std::string> valuesOf(const SettingsFile& file) {
    std::map<std::string, std::string> values;
    for (const SettingsFile::Entry& entry : file.entries())
        values[entry.name] = entry.value;
    return values;
}

TEST(SettingsFile, ReadsWhatPeopleWrite) {
    SettingsFile file;
    ASSERT_TRUE(
        file.parse("\xEF\xBB\xBF# comment\r\n"
                   "a.one=1\r\n"
                   "  a.two  =  two words # not a comment  \n"
                   "\n; another\n"
                   "a.three = \"  kept \\\"blanks\\\" \\x41\\n\\t\\\\ \"\n"
                   "a.empty =\n"
                   "a.equals = x=y\n"
                   "a.twice = first\nA.TWICE = second\n"
                   "a.last = no line end"));
    EXPECT_TRUE(file.problems().empty());
    const std::map<std::string, std::string> expected{{"a.one", "1"},
                                                      {"a.two", "two words # not a comment"},
                                                      {"a.three", "  kept \"blanks\" A\n\t\\ "},
                                                      {"a.empty", ""},
                                                      {"a.equals", "x=y"},
                                                      {"a.twice", "first"},
                                                      {"A.TWICE", "second"},
                                                      {"a.last", "no line end"}};
    EXPECT_EQ(valuesOf(file), expected);
}

TEST(SettingsFile, PassesOverWhatMakesNoSenseAndKeepsIt) {
    const std::string text =
        "just words\nbad name! = 1\n= nothing\nx = \"open\nx = \"end\" more\nx = \"\\q\"\nx = \"\\x4\"\n"
        "good = 1\n\x01\xFF\xFE\n";
    SettingsFile file;
    ASSERT_TRUE(file.parse(text));
    EXPECT_EQ(file.problems().size(), 8u);
    EXPECT_EQ(file.problems().front(), "line 1: expected name = value");
    EXPECT_EQ(file.entries().size(), 1u);
    EXPECT_EQ(file.print(), text);
}

TEST(SettingsFile, ChangesOnlyTheNamedLine) {
    SettingsFile file;
    ASSERT_TRUE(file.parse("# mine\na =  1 \nb=2\nA = 3\nnonsense\n"));
    file.set("a", "4");
    file.set("b", "2");  // the same: stays as written
    file.set("c", " blank ");
    EXPECT_EQ(file.print(), "# mine\na =  1 \nb=2\na = 4\nnonsense\nc = \" blank \"\n");
    file.remove("a");
    EXPECT_EQ(file.print(), "# mine\nb=2\nnonsense\nc = \" blank \"\n");
}

TEST(SettingsFile, CarriesAnyValue) {
    std::mt19937 random(3);
    SettingsFile file;
    std::map<std::string, std::string> expected{
        {"empty", ""}, {"quote", "\""}, {"hash", "#"}, {"utf8", "é日"}};
    for (int i = 0; i < 500; ++i) {
        std::string value(random() % 12, ' ');
        for (char& c : value)
            c = static_cast<char>(i % 2 != 0 ? random() : " \"\\\n#=;\t"[random() % 8]);
        expected[formatText("v%d", i)] = value;
    }
    for (const auto& [name, value] : expected)
        file.set(name, value);
    SettingsFile again;
    ASSERT_TRUE(again.parse(file.print()));
    EXPECT_EQ(valuesOf(again), expected);
    EXPECT_TRUE(isUtf8(file.print()));
}

TEST(SettingsFile, RefusesHugeTexts) {
    SettingsFile file;
    EXPECT_FALSE(file.parse(std::string(SettingsFile::kMostBytes + 1, '#')));
    EXPECT_FALSE(file.parse(std::string(SettingsFile::kMostLines + 1, '\n')));
    EXPECT_EQ(LastErrorText, SettingsFile::kTooLarge);
    std::string many;
    for (int i = 0; i < 5000; ++i)
        many += "?\n";
    ASSERT_TRUE(file.parse(many));
    EXPECT_EQ(file.problems().size(), SettingsFile::kMostProblems);
}

// The back end, with a codec that keeps texts as they are and knows no name with a "z".
SettingTextCodec plainCodec() {
    return {[](std::string_view name, std::string_view text, SettingValue& value) {
                value = std::string(text);
                return name.find('z') == std::string_view::npos || fail("z is unheard of");
            },
            [](std::string_view, const SettingValue& value) { return std::get<std::string>(value); }};
}

struct FileSettings : testing::Test {
    static std::string contents(const fs::path& path) {
        const std::vector<Byte> bytes = test::readFile(path);
        return {bytes.begin(), bytes.end()};
    }
    static void store(const fs::path& path, const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
    }

    test::TemporaryFolder folder_;
};

TEST_F(FileSettings, AreMadeWithTheirFolderAndReadBack) {
    const fs::path path = folder_ / "deeper" / "down" / "settings.conf";
    const auto backend = fileSettings(path, plainCodec());
    SettingValues values;
    EXPECT_TRUE(backend->read(values));
    EXPECT_TRUE(values.empty());
    ASSERT_TRUE(backend->write({{"a", SettingValue("one")}, {"b", SettingValue("")}})) << LastErrorText;
    ASSERT_TRUE(fileSettings(path, plainCodec())->read(values));
    EXPECT_EQ(values, (SettingValues{{"a", SettingValue("one")}, {"b", SettingValue("")}}));
    EXPECT_EQ(contents(path).front(), '#');
    EXPECT_EQ(backend->place(), utf8FromPath(path));
}

TEST_F(FileSettings, KeepWhatOthersWroteMeanwhileAndWarnOfTheRest) {
    const fs::path path = folder_ / "settings.conf";
    store(path, "# note\na = 1\nz = 2\nwords\n");
    const auto backend = fileSettings(path, plainCodec());
    SettingValues values;
    ASSERT_TRUE(backend->read(values));
    EXPECT_EQ(values.size(), 1u);
    const std::vector<std::string> warnings = backend->warnings();
    ASSERT_EQ(warnings.size(), 2u);
    EXPECT_NE(warnings[0].find("line 4"), std::string::npos) << warnings[0];
    EXPECT_NE(warnings[1].find("line 3: z is unheard of"), std::string::npos) << warnings[1];
    store(path, "# note\na = 1\nz = 2\nwords\nnew = 5\n");
    ASSERT_TRUE(backend->write({{"a", SettingValue("9")}, {"gone", std::nullopt}}));
    EXPECT_EQ(contents(path), "# note\na = 9\nz = 2\nwords\nnew = 5\n");
    EXPECT_EQ(test::filesIn(folder_.path()), 1u);
}

TEST_F(FileSettings, NeverReplaceWhatTheyCannotRead) {
    const fs::path path = folder_ / "settings.conf";
    const auto backend = fileSettings(path, plainCodec());
    SettingValues values;
    store(path, std::string(SettingsFile::kMostBytes + 1, '#'));
    EXPECT_FALSE(backend->read(values));
    EXPECT_FALSE(backend->write({{"a", SettingValue("1")}}));
    EXPECT_EQ(fs::file_size(path), SettingsFile::kMostBytes + 1);
    fs::remove(path);
    fs::create_directory(path);
    EXPECT_FALSE(backend->read(values));
    EXPECT_FALSE(backend->write({{"a", SettingValue("1")}}));
    EXPECT_TRUE(fs::is_directory(path));
    EXPECT_FALSE(backend->write({{"a", SettingValue(std::string(SettingsFile::kMostBytes, 'x'))}}));
    EXPECT_EQ(test::filesIn(folder_.path()), 1u);
}

#ifndef _WIN32
TEST_F(FileSettings, FollowALinkToTheirFile) {
    const fs::path target = folder_ / "real.conf", link = folder_ / "settings.conf";
    store(target, "a = 1\n");
    fs::create_symlink(target, link);
    fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write);
    ASSERT_TRUE(fileSettings(link, plainCodec())->write({{"a", SettingValue("2")}}));
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(contents(target), "a = 2\n");
    EXPECT_EQ(fs::status(target).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}
#endif

}  // namespace

}  // namespace velor
