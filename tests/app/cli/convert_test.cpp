#include <gtest/gtest.h>

#include <csignal>

#include "app/cli/output_names.h"
#include "velor_program.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace velor::test {

namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

const std::vector<int> kSamples{0, 0x7F00, -0x8000, 0x1200, -0x1200};
// The same as offset binary in 8 bits.
const std::vector<Byte> kBytes{0x80, 0xFF, 0x00, 0x92, 0x6E};

class Convert : public testing::Test {
  protected:
    Convert() { writeFile(folder / "a.sw", words(kSamples)); }

    ProgramRun velor(std::vector<std::string> arguments) {
        return runVelor(folder.path(), std::move(arguments));
    }
    std::vector<Byte> bytesOf(const std::string& name) { return readFile(folder / name); }
    // A stereo WAVE file whose halves are told apart by their samples.
    void writeStereoWave(const std::string& name) {
        std::vector<int> samples;
        for (int i = 0; i < 200; ++i)
            samples.insert(samples.end(), {i * 100, -i * 50});
        writeFile(folder / "stereo.raw16", words(samples));
        const ProgramRun run =
            velor({"convert", "stereo.raw16", "-o", name, "--source", "PCM 16-bit,channels=2,rate=22050"});
        ASSERT_EQ(run.code, 0) << run.err;
        fs::remove(folder / "stereo.raw16");
    }

    TemporaryFolder folder;
};

TEST_F(Convert, BothFormsWriteTheSameSamples) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"a.sw", "short.ub"},
                                                      {"convert", "a.sw", "-o", "long.ub"},
                                                      {"--quiet", "convert", "a.sw", "--output=long2.ub"}}) {
        const ProgramRun run = velor(arguments);
        EXPECT_EQ(run.code, 0) << run.err;
        EXPECT_EQ(run.out + run.err, "");
    }
    for (const char* name : {"short.ub", "long.ub", "long2.ub"})
        EXPECT_EQ(bytesOf(name), kBytes) << name;
}

TEST_F(Convert, WrongUsageSaysWhatIsMeantAndDoesNothing) {
    const struct {
        Names arguments;
        const char* message;
    } cases[] = {
        {{"convrt", "a.sw"}, "unknown verb \"convrt\"; nearest: convert,"},
        {{"a.sw"}, "velor IN OUT"},
        {{"convert"}, "no input is given"},
        {{"convert", "a.sw"}, "say what to write"},
        {{"convert", "a.sw", "-o"}, "lacks its value"},
        {{"convert", "a.sw", "-o", "b.ub", "--enc", "x"}, "unknown option \"--enc\"; nearest:"},
        {{"convert", "a.sw", "-o", "b.ub", "--encoding", "pcm25"}, "PCM 24-bit"},
        {{"convert", "a.sw", "-o", "b.wv1"}, "unknown extension to write \"wv1\"; nearest:"},
        {{"convert", "a.sw", "--to", "aifv"}, "nearest: aif,"},
        {{"convert", "a.sw", "-o", "b.aif", "--type", "Audio interchanges"}, "nearest: Audio interchange,"},
        {{"convert", "a.sw", "-o", "b"}, "has no extension"},
        {{"convert", "a.sw", "-o", "b.ub", "-d", "out"}, "not both"},
        {{"convert", "a.sw", "a.sw", "-o", "b.ub"}, "-o takes one input"},
        {{"convert", "-", "-o", "b.ub"}, "needs --from"},
        {{"convert", "a.sw", "-o", "-"}, "-o - needs --to"},
        {{"convert", "a.sw", "--to", "ub", "-o", "-", "--json"}, "would mix"},
        {{"convert", "a.sw", "--to", "ub", "--rate", "0"}, "--rate takes a whole number"},
        {{"convert", "a.sw", "--to", "ub", "--channels", "3"}, "nearest: 1, 2"},
        {{"convert", "a.sw", "--to", "ub", "--row", "527"}, "0 to 526"},
        {{"convert", "a.sw", "--row", "334"}, "can not be written"},
        {{"convert", "a.sw", "--to", "ub", "--overwrite", "--rename"}, "exclude each other"},
        {{"convert", "a.sw", "--to", "ub", "--load", "load.bAutoSplitStere=1"}, "load.bAutoSplitStereo"},
        {{"convert", "a.sw", "--to", "ub", "--load", "load.bAutoSplitStereo=x"}, "true or false"},
        {{"convert", "a.sw", "--to", "ub", "--source", "pcm16,bigg"}, "nearest: big"},
        {{"convert", "a.sw", "--to", "ub", "--source", "pcm16,channels=3"}, "channels=3"},
        {{"convert", "a.sw", "--to", "ub", "--answer", "x"}, "KEY=LABEL"},
        {{"convert", "a.sw", "--to", "ub", "--name-template", "{stm}"}, "nearest: stem"},
        {{"convert", "a.sw", "--to", "ub", "--name-template", "../{stem}"}, "can not have"},
        {{"convert", "a.sw", "--to", "ub", "--to", "sw"}, "more than once"},
        {{"convert", "a.sw", "--to", "ub", "--from", "sww"}, "unknown extension to read"},
        {{"convert", "a.sw", "--to", "ub", "--rate", "4294967297"}, "--rate takes a whole number"},
        {{"resample", "a.sw", "--to", "ub"}, "either --rate HZ or --length"},
        {{"resample", "a.sw", "--to", "ub", "--rate", "8000", "--length", "9"},
         "either --rate HZ or --length"},
        {{"resample", "a.sw", "--to", "ub", "--rate", "8000", "--method", "fir23"}, "nearest: fir2"},
    };
    for (const auto& each : cases) {
        const ProgramRun run = velor(each.arguments);
        EXPECT_EQ(run.code, 2) << each.message;
        EXPECT_TRUE(contains(run.err, each.message)) << run.err;
        EXPECT_TRUE(contains(run.err, "--help")) << run.err;
        EXPECT_EQ(run.out, "");
    }
    EXPECT_EQ(tree(folder.path()), Names{"a.sw"});
}

TEST_F(Convert, ResamplesToARateOrALength) {
    writeStereoWave("in.wav");
    const std::vector<std::string> head = {"resample", "in.wav", "--overwrite", "-o", "out.wav"};
    const auto resampled = [&](std::vector<std::string> more) {
        more.insert(more.begin(), head.begin(), head.end());
        const ProgramRun run = velor(more);
        EXPECT_EQ(run.code, 0) << run.err;
        return bytesOf("out.wav");
    };
    const auto cubic = resampled({"--rate", "44100", "--method", "cubic"});
    EXPECT_EQ(loadLe<std::uint32_t>(cubic.data() + 24), 44100u);
    EXPECT_NE(cubic, resampled({"--rate", "44100"}));
    EXPECT_EQ(resampled({"--rate", "44100", "--method", "auto"}),
              resampled({"--rate", "44100", "--method", "fir16"}));
    const auto longer = resampled({"--length", "500", "--method", "linear"});
    EXPECT_EQ(loadLe<std::uint32_t>(longer.data() + 24), 55125u);
    EXPECT_GT(longer.size(), 500u * 4);
}

TEST_F(Convert, FailuresNameTheFileAndLeaveNothing) {
    writeFile(folder / "empty.sw", {});
    writeFile(folder / "odd.zzz", words({1, 2, 3, 4}));
    fs::create_directory(folder / "folder.sw");
    const struct {
        Names arguments;
        const char* message;
    } cases[] = {
        {{"none.sw", "b.ub"}, "velor: none.sw: Could not open file: no such file"},
        {{"folder.sw", "b.ub"}, "velor: folder.sw: is a folder; -r"},
        {{"empty.sw", "b.ub"}, "velor: empty.sw: File is of zero size"},
        {{"odd.zzz", "b.ub"}, "velor: odd.zzz: Not detected as any supported file type"},
        {{"a.sw", "none/b.ub"}, "does not exist"},
        {{"a.sw", "empty.sw/b.ub"}, "is a file, not a folder"},
        {{"a.sw", "a.sw"}, "the output is the input itself"},
        {{"convert", "a.sw", "-o", "./x/../a.sw", "--overwrite"}, "the output is the input itself"},
        {{"convert", "a.sw", "--to", "sw"}, "the output is the input itself"},
        {{"a.sw", "folder.sw"}, "is a folder"},
        {{"convert", "a.sw", "-o", "b.ub", "--encoding", "pcm24"},
         "\"Unsigned bytes (8-bit)\" files can not store PCM 24-bit; they store PCM 8-bit"},
        {{"convert", "a.sw", "-o", "b.mid"}, "files hold songs; this file has none"},
        {{"convert", "a.sw", "-o", "b.ub", "--item", "kick"}, "unknown item \"kick\"; nearest: a"},
        {{"convert", "a.sw", "-o", "b.ub", "--item", "#2"}, "unknown item \"#2\""},
    };
    const Names before = tree(folder.path());
    for (const auto& each : cases) {
        const ProgramRun run = velor(each.arguments);
        EXPECT_EQ(run.code, 1) << each.message;
        EXPECT_TRUE(contains(run.err, each.message)) << each.message << "\n" << run.err;
    }
    EXPECT_EQ(tree(folder.path()), before);
    EXPECT_EQ(bytesOf("a.sw"), words(kSamples));
}

TEST_F(Convert, UnreadableInputsAndFoldersFail) {
    fs::create_directory(folder / "closed");
    fs::permissions(folder / "closed", fs::perms::owner_read | fs::perms::owner_exec);
    fs::permissions(folder / "a.sw", fs::perms::none);
    const bool unhindered = File::open(folder / "a.sw") != nullptr;  // administrators read anything
    const ProgramRun unread = velor({"a.sw", "b.ub"});
    fs::permissions(folder / "a.sw", fs::perms::owner_all);
    const ProgramRun unwritten = velor({"a.sw", "closed/b.ub"});
    fs::permissions(folder / "closed", fs::perms::owner_all);
    if (unhindered)
        GTEST_SKIP() << "this user may read and write everything";
    EXPECT_EQ(unread.code, 1);
    EXPECT_TRUE(contains(unread.err, "velor: a.sw: Could not open file")) << unread.err;
    EXPECT_EQ(unwritten.code, 1);
    EXPECT_TRUE(contains(unwritten.err, "Could not create file")) << unwritten.err;
}

TEST_F(Convert, ExistingOutputsFollowThePolicy) {
    const std::vector<Byte> old{1, 2, 3};
    const struct {
        const char* policy;
        int code;
        bool replaced;
        Names files;
    } cases[] = {
        {"--verbose", 1, false, {"a.sw", "a.ub"}},
        {"--overwrite", 0, true, {"a.sw", "a.ub"}},
        {"--skip-existing", 0, false, {"a.sw", "a.ub"}},
        {"--rename", 0, false, {"a.sw", "a.ub", "a_2.ub"}},
    };
    for (const char* jobs : {"", "--jobs=2"}) {
        for (const auto& each : cases) {
            writeFile(folder / "a.ub", old);
            Names arguments{"convert", "a.sw", "--to", "ub", each.policy};
            if (*jobs)
                arguments.push_back(jobs);
            const ProgramRun run = velor(arguments);
            EXPECT_EQ(run.code, each.code) << each.policy << run.err;
            EXPECT_EQ(bytesOf("a.ub"), each.replaced ? kBytes : old) << each.policy;
            EXPECT_EQ(tree(folder.path()), each.files) << each.policy;
            fs::remove(folder / "a_2.ub");
        }
    }
}

TEST_F(Convert, FoldersKeepTheirShapeAndStrangersAreSkipped) {
    fs::create_directories(folder / "in/deep/er");
    for (const char* name : {"in/x.sw", "in/deep/x.sw", "in/deep/er/y.sw"})
        writeFile(folder / name, words(kSamples));
    writeFile(folder / "in/notes.txt", {'h', 'i', '!', '\n'});
    const Names expected{"deep/er/y.ub", "deep/x.ub", "x.ub"};
    for (const char* jobs : {"--verbose", "--jobs=3"}) {
        const ProgramRun run = velor({"convert", "-r", "in", "--to", "ub", "-d", "out", jobs});
        EXPECT_EQ(run.code, 0) << run.err;
        EXPECT_EQ(tree(folder / "out"), expected);
        EXPECT_TRUE(contains(run.err, "notes.txt: skipped")) << run.err;
        EXPECT_TRUE(contains(run.err, "3 done, 0 with warnings, 1 skipped, 0 failed")) << run.err;
        for (const std::string& name : expected)
            EXPECT_EQ(bytesOf("out/" + name), kBytes) << name;
        fs::remove_all(folder / "out");
    }
    // Without -d the outputs lie beside their inputs; outputs of an earlier run are no inputs of the next.
    EXPECT_EQ(velor({"convert", "-r", "in", "--to", "sb", "-d", "in/out"}).code, 0);
    EXPECT_EQ(velor({"convert", "-r", "in", "--to", "sb", "-d", "in/out", "--overwrite"}).code, 0);
    EXPECT_EQ(tree(folder / "in/out"), (Names{"deep/er/y.sb", "deep/x.sb", "x.sb"}));
}

TEST_F(Convert, OneNameForTwoInputsIsNumberedAndSaid) {
    fs::create_directory(folder / "b");
    writeFile(folder / "b/a.sw", words({1, 2}));
    writeFile(folder / "a.sb", {1, 2, 3});
    for (const char* jobs : {"--verbose", "--jobs=4"}) {
        const ProgramRun run = velor({"convert", "a.sw", "b/a.sw", "a.sb", "--to", "ub", "-d", "out", jobs});
        EXPECT_EQ(run.code, 0) << run.err;
        EXPECT_EQ(tree(folder / "out"), (Names{"a.ub", "a_2.ub", "a_3.ub"}));
        EXPECT_EQ(bytesOf("out/a.ub"), kBytes);
        EXPECT_EQ(bytesOf("out/a_3.ub"), (std::vector<Byte>{129, 130, 131}));
        EXPECT_TRUE(contains(run.err, "a_2.ub, because a.ub comes from a.sw")) << run.err;
        fs::remove_all(folder / "out");
    }
    // What one input would overwrite of another is refused.
    const ProgramRun refused = velor({"convert", "b/a.sw", "a.sw", "--to", "sw", "-d", ".", "--overwrite"});
    EXPECT_EQ(refused.code, 1);
    EXPECT_TRUE(contains(refused.err, "is another input")) << refused.err;
    EXPECT_EQ(bytesOf("a.sw"), words(kSamples));
}

TEST_F(Convert, GoesOnAfterFailuresAndReportsInOrder) {
    for (int i = 0; i < 6; ++i)
        writeFile(folder / (std::to_string(i) + ".sw"), i % 2 ? words(kSamples) : std::vector<Byte>{});
    for (const char* jobs : {"--verbose", "--jobs=3"}) {
        const ProgramRun run = velor(
            {"convert", "0.sw", "1.sw", "2.sw", "3.sw", "4.sw", "5.sw", "--to", "ub", "-d", "out", jobs});
        EXPECT_EQ(run.code, 1);
        EXPECT_EQ(tree(folder / "out"), (Names{"1.ub", "3.ub", "5.ub"}));
        const std::size_t first = run.err.find("0.sw: File is of zero size");
        const std::size_t second = run.err.find("2.sw: File is of zero size");
        EXPECT_LT(first, second);
        EXPECT_LT(second, run.err.find("4.sw: File is of zero size"));
        EXPECT_TRUE(contains(run.err, "3 done, 0 with warnings, 0 skipped, 3 failed")) << run.err;
        fs::remove_all(folder / "out");
    }
}

TEST_F(Convert, DryRunSaysWhatWouldBeAndWritesNothing) {
    writeStereoWave("s.wav");
    const Names before = tree(folder.path());
    const ProgramRun run =
        velor({"convert", "a.sw", "s.wav", "--to", "aif", "-d", "out", "--dry-run", "--encoding", "pcm24"});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_TRUE(contains(run.out, "a.aif (Audio interchange, PCM 24-bit, mono)")) << run.out;
    EXPECT_TRUE(contains(run.out, "s.aif (Audio interchange, PCM 24-bit, stereo)")) << run.out;
    EXPECT_EQ(tree(folder.path()), before);
    EXPECT_FALSE(fs::exists(folder / "out"));
    writeFile(folder / "a.ub", {1});
    EXPECT_EQ(velor({"convert", "a.sw", "--to", "ub", "--dry-run"}).code, 1);
}

TEST_F(Convert, RowsAreChosenByNumberTypeAndExtension) {
    std::vector<Byte> swapped = words(kSamples);
    for (std::size_t i = 0; i < swapped.size(); i += 2)
        std::swap(swapped[i], swapped[i + 1]);
    EXPECT_EQ(velor({"convert", "a.sw", "-o", "row.x", "--row", "421"}).code, 0);
    EXPECT_EQ(bytesOf("row.x"), swapped);
    EXPECT_EQ(velor({"convert", "a.sw", "-d", "out", "--type", "signed words (16-bit) - big endian"}).code,
              0);
    EXPECT_EQ(bytesOf("out/a.sw"), swapped);
    // A description that several extensions share goes by the extension.
    EXPECT_EQ(velor({"convert", "a.sw", "--to", "alw", "--type", "G.711 A-law", "-d", "out"}).code, 0);
    EXPECT_EQ(tree(folder / "out"), (Names{"a.alw", "a.sw"}));
}

TEST_F(Convert, RawInputsAreReadAsTheUserSays) {
    const struct {
        const char* source;
        std::vector<Byte> input;
        std::vector<int> expected;
    } cases[] = {
        {"PCM 16-bit,big", {0x12, 0x34, 0x80, 0x00}, {0x1234, -0x8000}},
        {"pcm16,offset=2", {9, 9, 0x34, 0x12}, {0x1234}},
        {"pcm8,unsigned", {0x80, 0x00, 0xFF}, {0, -0x8000, 0x7F00}},
        {"pcm8,planar,channels=2", {1, 2, 3, 4}, {0x100, 0x300, 0x200, 0x400}},
        {"pcm24,little", {0, 0x34, 0x12}, {0x1234}},
    };
    for (const auto& each : cases) {
        writeFile(folder / "in.dat", each.input);
        const ProgramRun run =
            velor({"convert", "in.dat", "-o", "out.sw", "--source", each.source, "--overwrite"});
        EXPECT_EQ(run.code, 0) << run.err;
        EXPECT_EQ(bytesOf("out.sw"), words(each.expected)) << each.source;
    }
    writeFile(folder / "in.dat", kBytes);
    EXPECT_EQ(velor({"convert", "in.dat", "-o", "from.sw", "--from", ".ub"}).code, 0);
    EXPECT_EQ(bytesOf("from.sw"), words(kSamples));
    // The question that a window would ask can be answered in advance, and only then is it put.
    EXPECT_EQ(velor({"convert", "in.dat", "-o", "x.sb"}).code, 1);
    EXPECT_EQ(velor({"convert", "in.dat", "-o", "x.sb", "--answer", "raw.unrecognized=ok"}).code, 0);
    const ProgramRun wrong = velor({"convert", "in.dat", "-o", "y.sb", "--answer", "raw.unrecognized=Okay"});
    EXPECT_EQ(wrong.code, 1);
    EXPECT_TRUE(contains(wrong.err, "nearest: OK,")) << wrong.err;
    EXPECT_TRUE(contains(wrong.err, "taken: Cancel")) << wrong.err;
}

TEST_F(Convert, BanksBecomeOneFileForEachSound) {
    writeStereoWave("s.wav");
    const auto split = [&](Names more) {
        Names arguments{"convert", "s.wav", "--to", "sw", "-d", "out", "--load", "load.bAutoSplitStereo=1"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        fs::remove_all(folder / "out");
        const ProgramRun run = velor(arguments);
        EXPECT_EQ(run.code, 0) << run.err;
        return fs::exists(folder / "out") ? tree(folder / "out") : Names{};
    };
    const Names all = split({});
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].substr(0, 6), "s_001_");
    EXPECT_EQ(all[1].substr(0, 6), "s_002_");
    std::vector<int> left, right;
    for (int i = 0; i < 200; ++i) {
        left.push_back(i * 100);
        right.push_back(-i * 50);
    }
    EXPECT_EQ(bytesOf("out/" + all[0]), words(left));
    EXPECT_EQ(bytesOf("out/" + all[1]), words(right));
    EXPECT_EQ(split({"--jobs", "1"}), all);
    EXPECT_EQ(split({"--name-template", "{index}-{stem}.{ext}"}), (Names{"1-s.sw", "2-s.sw"}));
    EXPECT_EQ(split({"--name-template", "same.{ext}"}), (Names{"same.sw", "same_2.sw"}));
    EXPECT_EQ(split({"--item", "#2"}), Names{"s.sw"});
    EXPECT_EQ(bytesOf("out/s.sw"), words(right));
    const std::string leftName = all[0].substr(6, all[0].size() - 9);
    EXPECT_EQ(split({"--item", leftName}), Names{"s.sw"});
    EXPECT_EQ(bytesOf("out/s.sw"), words(left));
    const ProgramRun many =
        velor({"convert", "s.wav", "--to", "sw", "-o", "-", "--load", "load.bAutoSplitStereo=1"});
    EXPECT_EQ(many.code, 1);
    EXPECT_TRUE(contains(many.err, "--item")) << many.err;
}

TEST_F(Convert, SettingsOfTheUserAreTheDefaults) {
    writeStereoWave("s.wav");
    EXPECT_EQ(velor({"settings", "set", "load.bAutoSplitStereo", "true"}).code, 0);
    EXPECT_EQ(velor({"convert", "s.wav", "--to", "sw", "-d", "out"}).code, 0);
    EXPECT_EQ(tree(folder / "out").size(), 2u);
    EXPECT_EQ(
        velor({"convert", "s.wav", "--to", "ub", "-d", "one", "--load", "load.bAutoSplitStereo=0"}).code, 0);
    EXPECT_EQ(tree(folder / "one"), Names{"s.ub"});
}

TEST_F(Convert, PipesCarryBytesUnchanged) {
    std::vector<int> samples;  // with every byte value, line ends and end-of-file marks among them
    for (int i = -32768; i < 32768; i += 7)
        samples.push_back(i);
    writeFile(folder / "in.sw", words(samples));
    const std::string program = quoted(velorProgram);
    std::string command = program + " convert - --from sw --to aif -o - -q < " + quoted(folder / "in.sw") +
                          " | " + program + " convert - --from aif --to sw -o - -q > " +
                          quoted(folder / "out.sw");
#ifdef _WIN32
    command = "\"" + command + "\"";
#endif
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(bytesOf("out.sw"), words(samples));
}

TEST_F(Convert, QuietAndProgressGoWhereTheyShould) {
    const ProgramRun json = velor({"convert", "a.sw", "--to", "ub", "-d", "out", "--progress=json"});
    EXPECT_EQ(json.out, "");
    EXPECT_TRUE(
        contains(json.err, "{\"event\":\"done\",\"file\":\"a.sw\",\"index\":1,\"count\":1,\"share\":1.0}\n"))
        << json.err;
    const ProgramRun quiet = velor({"convert", "-q", "a.sw", "none.sw", "--to", "sb", "-d", "out"});
    EXPECT_EQ(quiet.code, 1);
    EXPECT_EQ(quiet.err, "velor: none.sw: Could not open file: no such file\n");
    EXPECT_TRUE(contains(velor({"convert", "a.sw", "--to", "sw", "-d", "out", "-v"}).err, "-> "));
}

#ifndef _WIN32
TEST_F(Convert, AWorkerThatDiesFailsItsFileAlone) {
    writeFile(folder / "big.sw", std::vector<Byte>(400'000, 1));
    // The system ends a process that writes more than the limit; the program itself writes no file.
    ChildOptions options = velorOptions(folder.path(), {});
    options.program = "/bin/sh";
    options.arguments = {
        "-c", "ulimit -f 64; exec " + quoted(velorProgram) + " convert big.sw a.sw --to ub -d out --jobs 2"};
    const ProgramRun run = runProgram(options);
    EXPECT_EQ(run.code, 1);
    EXPECT_TRUE(contains(run.err, "velor: big.sw: the conversion crashed")) << run.err;
    EXPECT_EQ(tree(folder / "out"), Names{"a.ub"});
    EXPECT_EQ(bytesOf("out/a.ub"), kBytes);
}

TEST_F(Convert, InterruptEndsTheBatchCleanly) {
    // The second input is a pipe nobody writes to: the program cannot get past it by itself.
    ASSERT_EQ(::mkfifo((folder / "b.sw").c_str(), 0600), 0);
    writeFile(folder / "c.sw", words(kSamples));
    for (const char* jobs : {"--verbose", "--jobs=1"}) {
        const auto child =
            ChildProcess::start(velorOptions(folder.path(), {"convert", "a.sw", "b.sw", "c.sw", "--to", "ub",
                                                             "-d", "out", "--progress=json", jobs}));
        ASSERT_TRUE(child);
        std::string said;
        ChildProcess* const children[] = {child.get()};
        while (!contains(said, "\"event\":\"done\"") && !child->ended()) {
            ChildProcess::waitForAny(children);
            said += child->readErrors();
        }
        ::kill(static_cast<pid_t>(child->id()), SIGINT);
        const int unblock = ::open((folder / "b.sw").c_str(), O_RDWR);
        child->wait();
        ::close(unblock);
        EXPECT_EQ(child->exitCode().value_or(-1), 130);
        EXPECT_EQ(tree(folder / "out"), Names{"a.ub"});
        EXPECT_TRUE(contains(child->readErrors(), "interrupted"));
        fs::remove_all(folder / "out");
    }
}
#endif

TEST(OutputNames, AreLegalEverywhere) {
    const std::string umlaut = "\xC3\xA4";
    const struct {
        std::string name, expected;
    } cases[] = {
        {"Kick 01", "Kick 01"},
        {"a/b\\c:d*e?f\"g<h>i|j", "a_b_c_d_e_f_g_h_i_j"},
        {"tab\there", "tab_here"},
        {"end. . ", "end"},
        {"  front", "front"},
        {"", "unnamed"},
        {"...", "unnamed"},
        {"CON", "_CON"},
        {"lpt1.wav", "_lpt1.wav"},
        {"com0", "com0"},
        {"console", "console"},
        {"\xE4", umlaut},  // Windows-1252
        {"C#3 " + umlaut, "C#3 " + umlaut},
    };
    for (const auto& each : cases)
        EXPECT_EQ(cli::legalFileName(each.name), each.expected);
    // Cut between characters, never inside one.
    std::string longName;
    for (int i = 0; i < 100; ++i)
        longName += umlaut;
    EXPECT_EQ(cli::legalFileName("x" + longName).size(), 119u);
    // However long the parts are, the file system takes the whole.
    const std::string whole = cli::fillTemplate(cli::kDefaultNameTemplate,
                                                {std::string(100, 's'), 12345, longName + longName, "wav"});
    EXPECT_LE(whole.size(), 250u);
    EXPECT_TRUE(whole.starts_with(std::string(100, 's') + "_12345_")) << whole;
    EXPECT_TRUE(whole.ends_with(".wav")) << whole;
}

}  // namespace

}  // namespace velor::test
