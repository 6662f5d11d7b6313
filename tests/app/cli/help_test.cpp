// Help, manual page, completions and the demo.
#include <gtest/gtest.h>

#include "app/cli/cli.h"
#include "app/cli/help_text.h"
#include "app/cli/option_table.h"
#include "base/text.h"
#include "velor_program.h"

namespace velor::test {

namespace {

using cli::OptionSpec;
using cli::VerbSpec;

TEST(Help, VersionAndHelpAnswerEverywhere) {
    const TemporaryFolder folder;
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--version"},
                                                      {"-V"},
                                                      {"info", "--version", "x"},
                                                      {"--quiet", "--version"}})
        EXPECT_EQ(runVelor(folder.path(), arguments).out, "velor 12.6\n") << arguments.front();
    const std::string general = runVelor(folder.path(), {}).out;
    EXPECT_EQ(runVelor(folder.path(), {"--help"}).out, general);
    EXPECT_EQ(runVelor(folder.path(), {"help"}).out, general);
    for (const VerbSpec& verb : cli::verbTable()) {
        EXPECT_TRUE(contains(general, std::string("\n  ") + verb.name + " ")) << verb.name;
        const ProgramRun run = runVelor(folder.path(), {verb.name, "--help"});
        EXPECT_EQ(run.code, 0);
        EXPECT_EQ(run.err, "");
        EXPECT_TRUE(contains(run.out, std::string("Usage: velor ") + verb.name)) << run.out;
        EXPECT_TRUE(contains(run.out, "\nExample")) << verb.name;
        EXPECT_EQ(runVelor(folder.path(), {"help", verb.name}).out, run.out);
    }
    const ProgramRun unknown = runVelor(folder.path(), {"help", "inf"});
    EXPECT_EQ(unknown.code, 2);
    EXPECT_TRUE(contains(unknown.err, "nearest: info,")) << unknown.err;
}

TEST(Help, LinesFitAndOptionsAreInEveryForm) {
    std::string man = cli::manualPage();
    std::erase(man, '\\');
    const std::string fish = cli::completionScript("fish");
    const std::string others[] = {cli::completionScript("bash"), cli::completionScript("zsh"),
                                  cli::completionScript("powershell")};
    for (const VerbSpec& verb : cli::verbTable()) {
        const std::string help = cli::verbHelp(verb);
        for (const std::string_view line : split(help, '\n'))
            EXPECT_LE(line.size(), 100u) << line;
        for (const OptionSpec& option : verb.options) {
            const std::string name = "--" + std::string(option.name);
            EXPECT_EQ(contains(help, name), !option.hidden) << name;
            EXPECT_EQ(contains(man, name), !option.hidden) << name;
            for (const std::string& script : others)
                EXPECT_EQ(contains(script, name), !option.hidden) << name;
            EXPECT_EQ(contains(fish, "-l " + std::string(option.name) + " "), !option.hidden) << name;
        }
    }
}

TEST(Help, TextIsBrokenBetweenWords) {
    EXPECT_EQ(cli::wrapText("one two three", 9, 2), "one two\n  three");
    EXPECT_EQ(cli::wrapText("", 9, 2), "");
    EXPECT_EQ(cli::wrapText("overlongword a", 5, 0), "overlongword\na");
}

TEST(Help, TheManualPageFormatsWithoutWarnings) {
    if (!haveProgram("man"))
        GTEST_SKIP() << "no man";
    const TemporaryFolder folder;
    const ProgramRun page = runVelor(folder.path(), {"help", "--man"});
    writeFile(folder / "velor.1", {page.out.begin(), page.out.end()});
    ChildOptions options = velorOptions(folder.path(), {"--warnings", "-l", "velor.1"});
    options.program = "man";
    options.environment = {{"MANWIDTH", "80"}, {"LC_ALL", "C.UTF-8"}};
    const ProgramRun run = runProgram(options);
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_TRUE(contains(run.out, "EXIT STATUS"));
}

// Starts a shell with the script in a file beside it.
ProgramRun runShell(const TemporaryFolder& folder, const std::string& shell,
                    const std::vector<std::string>& arguments) {
    const std::string script = cli::completionScript(shell);
    writeFile(folder / "completion", {script.begin(), script.end()});
    ChildOptions options = velorOptions(folder.path(), arguments);
    options.program = shell;
    return runProgram(options);
}

TEST(Completion, ScriptsLoadInTheirShells) {
    for (const std::string shell : {"bash", "zsh", "fish"}) {
        if (!haveProgram(shell))
            continue;
        const TemporaryFolder folder;
        const ProgramRun syntax = runShell(folder, shell, {"-n", "completion"});
        EXPECT_EQ(syntax.code, 0) << shell << syntax.err;
        const std::string load = shell == "zsh" ? "autoload -U compinit; compinit -u -D; source ./completion"
                                                : "source ./completion";
        const ProgramRun run = runShell(folder, shell, {"-c", load});
        EXPECT_EQ(run.code, 0) << shell << run.err;
        EXPECT_EQ(run.err, "") << shell;
    }
    EXPECT_EQ(runVelor(TemporaryFolder().path(), {"completion", "tcsh"}).code, 2);
}

// What is typed, and one offer that must be among those made, and one that must not.
const struct CompletionCase {
    std::vector<std::string> words;
    std::string offered;
    std::string notOffered;
} kCompletions[] = {
    {{"co"}, "convert", "info"},
    {{"convert", "--enc"}, "--encoding", "--explain"},
    {{"info", "--"}, "--tree", "--encoding"},
    {{"convert", "--encoding", "Float"}, "Float 32-bit", "PCM 8-bit"},
    {{"convert", "--to", "ai"}, "aif", "wav"},
    {{"settings", "g"}, "get", "set"},
    {{"settings", "set", "load.bAutoSpl"}, "load.bAutoSplitStereo", "load.bConfirm"},
    {{"completion", "f"}, "fish", "bash"},
    {{"convert", "-o", "ki"}, "kick.wav", "convert"},
};

TEST(Completion, BashAndFishOfferWhatFits) {
    for (const std::string shell : {"bash", "fish"}) {
        if (!haveProgram(shell))
            continue;
        const TemporaryFolder folder;
        writeFile(folder / "kick.wav", {});
        for (const CompletionCase& each : kCompletions) {
            std::string quotedWords, plainWords;
            for (const std::string& word : each.words) {
                quotedWords += " '" + word + "'";
                plainWords += ' ' + word;
            }
            const std::string ask =
                shell == "bash"
                    ? "COMP_WORDS=(velor" + quotedWords +
                          "); COMP_CWORD=" + std::to_string(each.words.size()) +
                          "; _velor; for each in \"${COMPREPLY[@]}\"; do eval \"echo $each\"; done"
                    : "complete -C 'velor" + plainWords + "'";
            const ProgramRun run = runShell(folder, shell, {"-c", "source ./completion; " + ask});
            const std::string offers = '\n' + run.out;
            EXPECT_TRUE(contains(offers, '\n' + each.offered)) << shell << plainWords << offers << run.err;
            EXPECT_FALSE(contains(offers, '\n' + each.notOffered)) << shell << plainWords << offers;
        }
    }
}

TEST(Demo, ShowsWhatIsKeptAndTouchesNothingForeign) {
    const TemporaryFolder folder;
    const ProgramRun first = runVelor(folder.path(), {"demo"});
    EXPECT_EQ(first.code, 0) << first.out << first.err;
    EXPECT_EQ(tree(folder.path()),
              (std::vector<std::string>{"velor-demo/demo.aif", "velor-demo/demo.sw", "velor-demo/demo.wav"}));
    EXPECT_TRUE(contains(first.out, "Microsoft wave (100 %)")) << first.out;
    EXPECT_TRUE(contains(first.out, "sound bit for bit")) << first.out;
    EXPECT_FALSE(contains(first.out, "LOST")) << first.out;
    const std::vector<Byte> wave = readFile(folder / "velor-demo/demo.wav");
    EXPECT_EQ(runVelor(folder.path(), {"demo"}).out, first.out);
    EXPECT_EQ(readFile(folder / "velor-demo/demo.wav"), wave);
    writeFile(folder / "velor-demo/demo.aif", {1, 2, 3});
    writeFile(folder / "velor-demo/new-demo.wav", {4});
    EXPECT_EQ(runVelor(folder.path(), {"demo"}).code, 1);
    std::filesystem::remove(folder / "velor-demo/new-demo.wav");
    const ProgramRun foreign = runVelor(folder.path(), {"demo"});
    EXPECT_EQ(foreign.code, 1);
    EXPECT_TRUE(contains(foreign.err, "not the demo's own")) << foreign.err;
    EXPECT_EQ(readFile(folder / "velor-demo/demo.aif"), (std::vector<Byte>{1, 2, 3}));
    EXPECT_EQ(tree(folder.path()).size(), 3u);
}

}  // namespace

}  // namespace velor::test
