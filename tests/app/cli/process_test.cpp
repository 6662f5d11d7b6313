// velor process, tune and loop, run as programs.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <numbers>
#include <sstream>

#include <nlohmann/json.hpp>

#include "app/cli/process_manual.h"
#include "test_places.h"
#include "velor_program.h"

namespace velor::test {

namespace {

using Json = nlohmann::json;

class ProcessVerb : public testing::Test {
  protected:
    // A second of a tone of 441 Hz that fades out, as a WAVE file.
    ProcessVerb() {
        std::vector<int> samples;
        for (int i = 0; i < 44100; ++i)
            samples.push_back(static_cast<int>(
                std::lround(20000 * std::exp(-i / 40000.0) * std::sin(2 * std::numbers::pi * i / 100))));
        writeFile(folder / "tone.sw", words(samples));
        EXPECT_EQ(velor({"convert", "tone.sw", "-o", "tone.wav", "--source", "PCM 16-bit,rate=44100"}).code,
                  0);
    }

    ProgramRun velor(std::vector<std::string> arguments) {
        return runVelor(folder.path(), std::move(arguments));
    }
    Json info(const std::string& name) {
        return Json::parse(velor({"info", name, "--json"}).out)["files"][0]["items"][0];
    }

    TemporaryFolder folder;
};

TEST_F(ProcessVerb, WrongUsageSaysWhatIsMeant) {
    const struct {
        std::vector<std::string> arguments;
        const char* says;
    } cases[] = {
        {{"process"}, "say which process"},
        {{"process", "tuning", "tone.wav"}, "unknown process \"tuning\"; nearest: calculate-tuning"},
        {{"process", "resample", "tone.wav"}, "say where to write"},
        {{"process", "resample", "--set", "rate=fast", "tone.wav", "-d", "out"},
         "rate takes a whole number from 0"},
        {{"process", "resample", "--set", "speed=1", "tone.wav", "-d", "out"}, "unknown setting \"speed\""},
        {{"process", "vst-plug-in-effects", "tone.wav", "-d", "out"}, "is not supported in this build"},
        {{"process", "calculate-tuning", "tone.wav", "--select", "x:y"}, "--select takes FROM:TO"},
        {{"tune", "tone.wav", "-d", "out", "--by", "ear"}, "unknown value of --by"},
        {{"loop", "tone.wav", "-d", "out", "--search-to", "101"}, "--search-to takes 0 to 100 %"},
    };
    for (const auto& each : cases) {
        const ProgramRun run = velor(each.arguments);
        EXPECT_EQ(run.code, 2) << run.err;
        EXPECT_NE(run.err.find(each.says), std::string::npos) << run.err;
        EXPECT_FALSE(std::filesystem::exists(folder / "out"));
    }
}

TEST_F(ProcessVerb, TunesAndTellsWhatChanged) {
    const ProgramRun dry = velor({"tune", "tone.wav", "--dry-run", "--json"});
    ASSERT_EQ(dry.code, 0) << dry.err;
    const Json process = Json::parse(dry.out)["files"][0]["process"];
    EXPECT_EQ(process["message"], "Processed 1 item");
    EXPECT_NEAR(process["items"][0]["values"][0]["value"].get<double>(), 441, 0.05);
    EXPECT_EQ(process["changes"][0]["fields"][0]["field"], "root key");
    EXPECT_EQ(filesIn(folder.path()), 2u) << "a dry run writes nothing";

    const ProgramRun run = velor({"tune", "tone.wav", "-o", "tuned.wav"});
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_NE(run.out.find("root key C4 -> A4"), std::string::npos) << run.out;
    const Json tuned = info("tuned.wav");
    EXPECT_EQ(tuned["rootKey"], 69);
    EXPECT_EQ(tuned["fineTune"], -4);
    // Tuning changes no sample.
    const auto samplesOf = [&](const std::string& name) {
        EXPECT_EQ(velor({"convert", name, "-o", name + ".sw"}).code, 0);
        return readFile(folder / (name + ".sw"));
    };
    EXPECT_EQ(samplesOf("tuned.wav"), readFile(folder / "tone.sw"));
    const ProgramRun again = velor({"tune", "tuned.wav", "--dry-run"});
    EXPECT_NE(again.out.find("No items were modified"), std::string::npos) << again.out;
}

TEST_F(ProcessVerb, SaysThatATypeCanNotBeWrittenBeforeAnyWork) {
    const std::string bank = "/usr/share/sounds/sf2/TimGM6mb.sf2";
    if (!std::filesystem::exists(bank))
        GTEST_SKIP() << "needs TimGM6mb.sf2";
    const ProgramRun run = velor({"process", "normalize-volume", bank, "-d", "out"});
    EXPECT_EQ(run.code, 1);
    EXPECT_NE(run.err.find("Writing \"SoundFont v2 bank\" files is not supported"), std::string::npos)
        << run.err;
    EXPECT_EQ(run.out, "") << "nothing was processed";
}

// Whichever program does the work, all that is said and written is the same.
TEST_F(ProcessVerb, WorkersGiveTheSameResults) {
    writeFile(folder / "silent.sw", std::vector<Byte>(2000));
    const std::vector<std::vector<std::string>> runs = {
        {"process", "find-volume", "tone.wav", "silent.sw"},
        {"process", "statistics", "--json", "silent.sw"},
        {"loop", "--minimum", "20", "--crossfade", "--to", "wav", "tone.wav", "silent.sw", "none.wav"},
        {"process", "filter-waveform", "-s", "frequency=500", "-s", "order=2", "tone.wav", "--json"},
        {"resample", "tone.wav", "--rate", "8000", "--dry-run"},
    };
    for (const std::vector<std::string>& arguments : runs) {
        const auto runInto = [&](const std::string& out, const std::vector<std::string>& jobs) {
            std::vector<std::string> all = arguments;
            if (arguments[1] != "find-volume" && arguments[1] != "statistics")
                all.insert(all.end(), {"-d", out});
            all.insert(all.end(), jobs.begin(), jobs.end());
            return velor(all);
        };
        const auto placed = [](std::string text, const std::string& out) {
            for (std::size_t at = 0; (at = text.find(out, at)) != std::string::npos;)
                text.replace(at, out.size(), "OUT");
            return text;
        };
        const ProgramRun here = runInto("here", {}), apart = runInto("apart", {"--jobs", "2"});
        EXPECT_EQ(here.code, apart.code);
        EXPECT_EQ(placed(here.out, "here"), placed(apart.out, "apart"));
        EXPECT_EQ(placed(here.err, "here"), placed(apart.err, "apart"));
        EXPECT_NE(here.out, "");
    }
    EXPECT_EQ(filesIn(folder / "here"), filesIn(folder / "apart"));
    EXPECT_EQ(readFile(folder / "here/tone.wav"), readFile(folder / "apart/tone.wav"));
}

TEST_F(ProcessVerb, GoesThroughAFolderAndOverwritesNothing) {
    ASSERT_EQ(velor({"loop", "tone.wav", "-d", "out"}).code, 0);
    const Json looped = info("out/tone.wav");
    EXPECT_EQ(looped["loop"]["mode"], "forward");
    const double length = looped["loop"]["end"].get<double>() - looped["loop"]["start"].get<double>();
    EXPECT_NEAR(std::remainder(length, 100), 0, 1) << "whole periods";
    const std::vector<Byte> before = readFile(folder / "out/tone.wav");
    EXPECT_EQ(velor({"loop", "tone.wav", "-d", "out", "--minimum", "20"}).code, 1);
    EXPECT_EQ(velor({"loop", "tone.wav", "-d", "."}).code, 1) << "not onto its own input";
    EXPECT_EQ(readFile(folder / "out/tone.wav"), before);
    // The good one is written when another fails.
    writeFile(folder / "out/silent.sw", std::vector<Byte>(2000));
    ASSERT_EQ(velor({"convert", "out/silent.sw", "-o", "out/silent.wav"}).code, 0);
    std::filesystem::remove(folder / "out/silent.sw");
    const ProgramRun run = velor({"loop", "-r", "out", "-d", "both"});
    EXPECT_EQ(run.code, 1);
    EXPECT_NE(run.err.find("silent.wav: No loop was found"), std::string::npos) << run.err;
    EXPECT_EQ(filesIn(folder / "both"), 1u);
}

TEST_F(ProcessVerb, HelpAndListsComeFromTheTables) {
    EXPECT_NE(velor({"process", "cross-fade-loop", "--help"}).out.find("Crossfade length:"),
              std::string::npos);
    const Json list = Json::parse(velor({"process", "--list", "--json"}).out)["processes"];
    EXPECT_EQ(list.size(), 39u + 8 + 19);
    std::ifstream page(pathFromUtf8(VELOR_SOURCE_DIR) / "docs/processes.md");
    std::stringstream text;
    text << page.rdbuf();
    EXPECT_EQ(text.str(), cli::processManual())
        << "make it anew: velor process --list --manual > docs/processes.md";
}

}  // namespace

}  // namespace velor::test
