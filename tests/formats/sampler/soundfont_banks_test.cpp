// Real banks, compared item by item with a reading of their own (soundfont_oracle.py), and their list of
// presets with a player's.
#include <array>
#include <fstream>
#include <set>

#include "base/text.h"
#include "formats/framework/collection_fixture.h"
#include "items/region_parameters.h"
#include "test_places.h"

namespace velor {
namespace {

using namespace test;

struct RealBanks : CollectionFixture, testing::WithParamInterface<const char*> {
    RealBanks() {
        LoadOptions& load = services.load;
        load.autoMergeStereo = load.autoCompactLayers = load.autoMoveTriggerParams = false;
        load.autoSortColl = load.autoSortWaves = load.ensureUniqueNames = false;
    }

    std::string path() const { return "/usr/share/sounds/sf2/" + std::string(GetParam()); }
};

std::vector<std::string> fieldsOf(const std::string& line) {
    std::vector<std::string> fields;
    for (const std::string_view field : split(line, '\t'))
        fields.emplace_back(field);
    return fields;
}

// What a region plays, in the words of the oracle.
std::string describe(const Region& region) {
    Waveform& waveform = *region.waveform();
    const RegionOverrides& own = region.overrides;
    const bool looped = own.has(RegionOverrides::Looped) ? own.looped : waveform.looped;
    const auto start =
        own.has(RegionOverrides::LoopStart) ? own.loopStart : static_cast<std::uint32_t>(waveform.loopStart);
    const auto end =
        own.has(RegionOverrides::LoopEnd) ? own.loopEnd : static_cast<std::uint32_t>(waveform.loopEnd);
    std::vector<float> edge(2);
    const auto stream = waveform.source()->openStream(waveform);
    EXPECT_TRUE(stream->read(1, edge.data()));
    // The last frame without decoding those between.
    std::array<Byte, 2> last{};
    if (waveform.frames >= 2) {
        EXPECT_TRUE(waveform.source()->readStored((waveform.frames - 1u) * 2u, last));
        edge[1] = static_cast<float>(static_cast<std::int16_t>(last[0] | last[1] << 8)) / 32768;
    }
    std::string text = "region";
    for (const std::string& field :
         {waveform.name(), std::to_string(region.keys.low), std::to_string(region.keys.high),
          std::to_string(region.velocities.low), std::to_string(region.velocities.high),
          std::to_string(waveform.frames), std::to_string(waveform.sampleRate),
          std::to_string(waveform.fineTune), std::to_string(looped), std::to_string(looped ? start : 0),
          std::to_string(looped ? end : 0),
          std::to_string(regionSetting(nullptr, nullptr, region, parameter::ExclusiveClass)),
          std::to_string(static_cast<int>(edge[0] * 32768)),
          std::to_string(static_cast<int>(edge[1] * 32768))})
        text += '\t' + field;
    return text;
}

TEST_P(RealBanks, HoldWhatAnIndependentReadingFinds) {
    if (!std::filesystem::exists(path()) || !haveProgram("python3"))
        GTEST_SKIP() << "needs " << path() << " and python3";
    const auto script =
        std::filesystem::path(VELOR_SOURCE_DIR) / "tests" / "formats" / "sampler" / "soundfont_oracle.py";
    ASSERT_TRUE(run("python3 " + quoted(script) + " " + path() + " " + quoted(folder / "oracle")));
    ASSERT_TRUE(openFile(collection, path(), false, services)) << LastErrorText;
    std::ifstream oracle(folder / "oracle", std::ios::binary);
    std::size_t instrument = 0, regions = 0, wrong = 0;
    std::uint32_t layer = 0, region = 0;
    const auto instruments = collection.all<Instrument>();
    const Instrument* current = nullptr;
    const Layer* currentLayer = nullptr;
    ArticulationValues values{};
    int root = 60;
    for (std::string line; std::getline(oracle, line) && wrong < 10;) {
        const auto fields = fieldsOf(line);
        if (fields[0] == "preset") {
            ASSERT_LT(instrument, instruments.size());
            current = instruments[instrument++];
            layer = 0;
            EXPECT_EQ(current->name(), fields[1]);
            EXPECT_EQ(std::to_string(current->patch.drum() ? 128 : current->patch.bankMsb()), fields[2]);
            EXPECT_EQ(std::to_string(current->patch.program()), fields[3]);
        } else if (fields[0] == "layer") {
            ASSERT_LT(layer, current->links.count()) << current->name();
            currentLayer = collection.find<Layer>(current->links[layer++]);
            region = 0;
            EXPECT_EQ(currentLayer->name(), fields[1]);
        } else if (fields[0] == "region") {
            ASSERT_LT(region, currentLayer->links.count()) << currentLayer->name();
            const auto& played = *collection.find<Region>(currentLayer->links[region++]);
            values = resolveArticulation(nullptr, nullptr, &played.articulation);
            const std::string found = describe(played);
            wrong += found != line;
            EXPECT_EQ(found, line) << current->name();
            root = played.rootKey();
            ++regions;
        } else if (fields[0] == "pitch") {
            const double found =
                static_cast<double>(values[parameter::MasterTuning]) +
                (std::stod(fields[1]) - root) * static_cast<double>(values[parameter::KeyToPitch]);
            EXPECT_NEAR(found, std::stod(fields[2]), 1e-4) << current->name();
        } else if (fields[0] == "root") {
            EXPECT_EQ(std::to_string(root), fields[1]) << current->name();
        } else {
            const double expected = std::stod(fields[2]);
            const double found = static_cast<double>(values[std::stoul(fields[1])]);
            const bool same = std::fabs(found - expected) <= 1e-4 * std::max(0.01, std::fabs(expected));
            wrong += !same;
            EXPECT_TRUE(same) << current->name() << ", parameter " << fields[1] << ": " << found
                              << " instead of " << expected;
        }
    }
    EXPECT_EQ(instrument, instruments.size());
    EXPECT_EQ(regions, collection.count(ItemKind::Region));
    EXPECT_GT(regions, 0u);
}

TEST_P(RealBanks, HaveThePresetsThatAPlayerLists) {
    if (!std::filesystem::exists(path()) || !haveProgram("fluidsynth"))
        GTEST_SKIP() << "needs " << path() << " and fluidsynth";
    ASSERT_TRUE(openFile(collection, path(), false, services)) << LastErrorText;
    std::set<std::string> found, listed;
    for (const Instrument* each : collection.all<Instrument>())
        found.insert(formatText("%03d-%03d %s",
                                each->patch.drum() ? 128 : static_cast<int>(each->patch.bankMsb()),
                                static_cast<int>(each->patch.program()), each->name().c_str()));
    std::ofstream(folder / "commands") << "inst 1\nquit\n";
    // The player takes its commands from a file and lists the presets; the sound goes nowhere.
    ASSERT_TRUE(run("(fluidsynth -q -a file -o audio.file.name=/dev/null -o shell.prompt='' -f " +
                    quoted(folder / "commands") + " " + path() + " < /dev/null > " + quoted(folder / "list") +
                    ")"));
    std::ifstream list(folder / "list");
    for (std::string line; std::getline(list, line);) {
        if (line.size() > 8 && line[3] == '-')
            listed.insert(line);
    }
    EXPECT_EQ(found, listed);
}

INSTANTIATE_TEST_SUITE_P(Debian, RealBanks,
                         testing::Values("TimGM6mb.sf2", "FluidR3_GS.sf2", "FluidR3_GM.sf2",
                                         "OPL-3_FM_128M.sf2"));

}  // namespace
}  // namespace velor
