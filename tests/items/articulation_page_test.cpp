// The tables of docs/articulation.md are made from the program's own. When they differ, the failure shows the
// part as it should be; tools/test with VELOR_WRITE_PAGES=1 in the environment writes it into the page.
#include <gtest/gtest.h>

#include <charconv>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "items/articulation_text.h"
#include "items/region_parameters.h"
#include "test_places.h"
#include "test_tools.h"

namespace velor {
namespace {

template <typename Value>
std::string plain(Value value) {
    char digits[64];
    return {digits, std::to_chars(digits, digits + sizeof digits, value).ptr};
}

std::string cell(std::string text) {
    for (std::size_t at = 0; (at = text.find('|', at)) != std::string::npos; at += 2)
        text.insert(at, "\\");
    return ' ' + text + " |";
}

std::string parameters() {
    std::string table =
        "| number | name | unit | range | default | shown as | levels | note "
        "|\n|---|---|---|---|---|---|---|---|\n";
    for (std::uint16_t number = 0; number < kArticulationParameters; ++number) {
        const ArticulationParameter& row = *articulationParameter(number);
        if (!parameterExists(number))
            continue;
        table += '|' + cell(std::to_string(number)) + cell(row.name) +
                 cell(std::string(parameterUnit(number))) +
                 cell(plain(row.minimum) + " to " + plain(row.maximum)) + cell(plain(row.defaultValue)) +
                 cell(parameterText(number, static_cast<double>(row.defaultValue))) +
                 cell(combination(number) == Combination::Sum ? "add up" : "lowest") +
                 cell(row.help ? row.help : "") + '\n';
    }
    return table;
}

std::string regionParameters() {
    std::string table = "| number | name | unit | range |\n|---|---|---|---|\n";
    for (const RegionParameterRow& row : regionParameterRows())
        table += '|' + cell(std::to_string(row.number)) + cell(row.name) + cell(row.unit) +
                 cell(plain(row.minimum) + " to " + plain(row.maximum)) + '\n';
    return table;
}

std::string codes() {
    const struct {
        const char* what;
        std::uint16_t number;
        int last;
    } choices[] = {
        {"LFO wave shape", parameter::PLfo, 5},
        {"Filter type", parameter::FilterTypeCode, 12},
        {"Equaliser mode", parameter::Eq1Mode, 2},
        {"Release mode", parameter::VEnvelope + parameter::envelope::ReleaseMode, 3},
        {"Trigger", parameter::Trigger, 17},
        {"Sustain pedal condition", parameter::PedalCondition, 2},
        {"Loop mode", parameter::LoopModeCode, 3},
    };
    std::string table = "| choice | codes |\n|---|---|\n";
    for (const auto& choice : choices) {
        std::string names;
        for (int code = 0; code <= choice.last; ++code)
            names +=
                (code == 0 ? "" : ", ") + std::to_string(code) + ' ' + parameterText(choice.number, code);
        table += '|' + cell(choice.what) + cell(names) + '\n';
    }
    return table;
}

TEST(ArticulationPage, TablesAreCurrent) {
    const std::filesystem::path path = std::filesystem::path(VELOR_SOURCE_DIR) / "docs" / "articulation.md";
    const std::vector<Byte> bytes = test::readFile(path);
    std::string page(bytes.begin(), bytes.end());
    std::erase(page, '\r');
    const std::string before = page;
    const std::pair<const char*, std::string> parts[] = {
        {"parameters", parameters()}, {"region parameters", regionParameters()}, {"codes", codes()}};
    for (const auto& [name, right] : parts) {
        const std::string start = std::string("<!-- begin: ") + name + " -->\n";
        const std::string end = std::string("<!-- end: ") + name + " -->\n";
        const std::size_t from = page.find(start);
        const std::size_t to = page.find(end);
        ASSERT_TRUE(from != std::string::npos && to != std::string::npos && from < to) << name;
        const std::size_t inside = from + start.size();
        EXPECT_TRUE(page.compare(inside, to - inside, right) == 0)
            << "The part \"" << name << "\" of docs/articulation.md should be:\n"
            << right;
        page.replace(inside, to - inside, right);
    }
    if (page != before && std::getenv("VELOR_WRITE_PAGES"))
        std::ofstream(path, std::ios::binary) << page;
}

}  // namespace
}  // namespace velor
