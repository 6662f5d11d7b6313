#include "platform/command_line.h"

#include <gtest/gtest.h>

#include "test_tools.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "platform/file.h"
#include "platform/process.h"

namespace velor {

namespace {

namespace fs = std::filesystem;

// The examples of "Parsing C command-line arguments" in Microsoft's C documentation, and its older companion.
TEST(WindowsCommandLine, SplitsAsPublished) {
    const struct {
        const char* line;
        std::vector<std::string> arguments;
    } cases[] = {
        {R"(p "abc" d e)", {"abc", "d", "e"}},
        {R"(p a\\\b d"e f"g h)", {R"(a\\\b)", "de fg", "h"}},
        {R"(p a\\\"b c d)", {R"(a\"b)", "c", "d"}},
        {R"(p a\\\\"b c" d e)", {R"(a\\b c)", "d", "e"}},
        {R"(p a"b"" c d)", {R"(ab" c d)"}},
        {"p  \t  one \t", {"one"}},
        {R"("p q\" x)", {"x"}},
        {R"(p "")", {""}},
        {R"(p "open end\)", {R"(open end\)"}},
        {"p", {}},
    };
    for (const auto& one : cases) {
        std::vector<std::string> texts;
        for (const CommandArgument& argument : splitWindowsCommandLine(one.line))
            texts.push_back(argument.text);
        ASSERT_FALSE(texts.empty());
        texts.erase(texts.begin());
        EXPECT_EQ(texts, one.arguments) << one.line;
    }
    EXPECT_EQ(splitWindowsCommandLine(R"("C:\my programs\p.exe" x)").front().text, R"(C:\my programs\p.exe)");
}

TEST(WindowsCommandLine, QuotedWildcardsAreNone) {
    const auto arguments = splitWindowsCommandLine(R"(p *.wav "*.wav" a"b"? "a b"\*)");
    std::vector<bool> wildcards;
    for (const CommandArgument& argument : arguments)
        wildcards.push_back(argument.wildcard);
    EXPECT_EQ(wildcards, (std::vector<bool>{false, true, false, true, true}));
}

TEST(WindowsCommandLine, QuotingIsUndoneBySplitting) {
    std::mt19937 random(7);
    const std::string_view letters = "ab \\\"\t*'";
    for (int round = 0; round < 5000; ++round) {
        std::vector<std::string> arguments(1 + random() % 3);
        std::string line = "p";
        for (std::string& argument : arguments) {
            for (std::size_t length = random() % 8; length > 0; --length)
                argument += letters[random() % letters.size()];
            line += ' ' + quoteWindowsArgument(argument);
        }
        std::vector<CommandArgument> split = splitWindowsCommandLine(line);
        ASSERT_EQ(split.size(), arguments.size() + 1) << line;
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            EXPECT_EQ(split[i + 1].text, arguments[i]) << line;
            EXPECT_FALSE(split[i + 1].wildcard) << line;
        }
    }
}

TEST(Wildcards, Match) {
    const struct {
        const char *name, *pattern;
        bool matches;
    } cases[] = {
        {"kick.wav", "*.wav", true},
        {"KICK.WAV", "k*.wav", true},
        {"kick.wave", "*.wav", false},
        {"kick", "*", true},
        {"", "*", true},
        {"", "?", false},
        {"é.wav", "?.wav", true},
        {"aab", "*ab", true},
        {"abcabd", "a*b?", true},
        {"mississippi", "m*iss*pi", true},
        {"mississippi", "m*iss*x", false},
        {"a", "a**", true},
        {"snare 2.aif", "snare ?.aif*", true},
    };
    for (const auto& one : cases)
        EXPECT_EQ(matchesWildcards(one.name, one.pattern), one.matches) << one.name << " in " << one.pattern;
    // Many stars over a name that almost fits stay cheap.
    std::string pattern;
    for (int i = 0; i < 200; ++i)
        pattern += "a*";
    EXPECT_FALSE(matchesWildcards(std::string(5000, 'a'), pattern + "b"));
}

TEST(Wildcards, ExpandInEveryPartOfAPath) {
    const test::TemporaryFolder folder;
    for (const char* name : {"set1/b.wav", "set1/A.wav", "set1/c.txt", "set2/d.wav", "set2/none"}) {
        fs::create_directories((folder / name).parent_path());
        std::ofstream(folder / name).put('x');
    }
    const auto names = [&](const char* pattern) {
        std::vector<std::string> texts = expandWildcards(utf8FromPath(folder / pattern));
        for (std::string& text : texts)
            text = fs::relative(pathFromUtf8(text), folder.path()).generic_string();
        return texts;
    };
    EXPECT_EQ(names("set1/*.wav"), (std::vector<std::string>{"set1/A.wav", "set1/b.wav"}));
    EXPECT_EQ(names("set?/*.wav"), (std::vector<std::string>{"set1/A.wav", "set1/b.wav", "set2/d.wav"}));
    EXPECT_EQ(names("set2/*.*"), (std::vector<std::string>{"set2/d.wav", "set2/none"}));
    EXPECT_TRUE(names("set3/*").empty());
    EXPECT_TRUE(names("*/x*").empty());
}

}  // namespace

}  // namespace velor
