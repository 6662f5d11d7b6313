// What `info` says of the settings of instruments, layers and regions.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include <nlohmann/json.hpp>

#include "app/cli/info_text.h"
#include "app/cli/json_documents.h"
#include "items/region_parameters.h"
#include "test_tools.h"

namespace velor {
namespace {

namespace p = parameter;
using Json = nlohmann::ordered_json;

struct InfoArticulation : testing::Test {
    InfoArticulation() {
        instrument->links.add(layer->id());
        layer->links.add(region->id());
    }
    Collection collection;
    Instrument* instrument = collection.create<Instrument>("Piano");
    Layer* layer = collection.create<Layer>("Soft");
    Region* region = collection.create<Region>("Low");
    cli::FileReport report;
};

TEST_F(InfoArticulation, JsonHasNumbersAndUnitsByName) {
    instrument->articulation.set(p::MasterVolume, -6);
    instrument->articulation.set(p::VEnvelope, 0.5f);
    instrument->articulation.set(p::FLfo + p::lfo::Frequency, 2);
    instrument->articulation.set(p::XLfo + p::lfo::Frequency, 3);
    layer->articulation.set(p::XLfo + p::lfo::Frequency, 4);
    region->articulation.set(p::Trigger, 1);
    region->articulation.set(p::PanPosition, -1);
    const Json json = Json::parse(cli::infoObject(report, &collection, {}));
    const Json& items = json["items"];
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items[0]["articulation"], Json::parse(R"({"Master Volume adjustment":-6,
        "F-LFO Frequency":2,"F-LFO Frequency #78":3,"V-ENV Initial Level":0.5})"));
    EXPECT_EQ(items[0]["articulationUnits"], Json::parse(R"({"Master Volume adjustment":"dB",
        "F-LFO Frequency":"Hz","F-LFO Frequency #78":"Hz","V-ENV Initial Level":"amplitude"})"));
    EXPECT_EQ(items[1]["articulation"], Json::parse(R"({"F-LFO Frequency #78":4})"));
    EXPECT_EQ(items[2]["articulation"], Json::parse(R"({"Pan position":-1,"Trigger":1})"));
    EXPECT_EQ(items[2]["articulationUnits"], Json::parse(R"({"Pan position":"fraction","Trigger":"code"})"));
}

TEST_F(InfoArticulation, TheTreeShowsSettingsWhenAsked) {
    layer->articulation.set(p::FilterTypeCode, 2);
    region->articulation.set(p::MasterVolume, 3);
    setRegionParameter(*region, p::LoopEnd, 500);
    const std::string plain = cli::infoText(report, &collection, {}, true);
    EXPECT_EQ(plain.find("Filter type"), std::string::npos) << plain;
    const std::string text = cli::infoText(report, &collection, {}, true, true);
    EXPECT_NE(text.find("\n      sets Filter type low-pass 12 dB/oct\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\n        sets Master Volume adjustment +3.0 dB, Loop end 500 frames\n"),
              std::string::npos)
        << text;

    // Everything at once: lines stay short, and no setting is lost or torn.
    for (std::uint16_t number = 0; number <= p::ExclusiveClass; ++number) {
        if (Articulation::holds(number))
            region->articulation.set(number, 1);
    }
    std::istringstream lines(cli::infoText(report, &collection, {}, true, true));
    std::string line, sets;
    while (std::getline(lines, line)) {
        EXPECT_LE(line.size(), 110u);
        EXPECT_NE(line.back(), ' ');
        if (line.starts_with("        sets ") || line.starts_with("             "))
            sets += line.substr(13) + ' ';
    }
    EXPECT_EQ(std::count(sets.begin(), sets.end(), ','), 189 + 3 - 3) << "the loop end ends the list";
    EXPECT_TRUE(sets.starts_with("Master tuning Pitch adjustment +1 semitone, Key to Pitch +1 semitone, "));
    EXPECT_TRUE(sets.ends_with("Exclusive class 1, Loop end 500 frames "));
}

}  // namespace
}  // namespace velor
