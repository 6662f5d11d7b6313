#include "app/processing/name_replacement.h"

namespace velor {

constinit const std::array<ProcessParameter, 5> kReplaceParameters = {{
    {.key = "search", .label = "Search for", .kind = ProcessValueKind::Text},
    {.key = "replace", .label = "Replace by", .kind = ProcessValueKind::Text},
    {.key = "match-case", .label = "Match case", .kind = ProcessValueKind::Switch},
    {.key = "whole-words", .label = "Whole words only", .kind = ProcessValueKind::Switch},
    {.key = "regex", .label = "Regular expression", .kind = ProcessValueKind::Switch},
}};

ProcessOutcome replaceInName(Item& item, const ProcessSettings& settings) {
    const std::string& search = settings.text("search");
    if (search.empty())
        return processFailed("There is no text to search for");
    if (settings.flag("regex") || settings.flag("whole-words"))
        return processFailed("Only plain text can be searched for in this build");
    std::string name = item.name();
    const std::string& replacement = settings.text("replace");
    for (std::size_t at = 0; (at = name.find(search, at)) != std::string::npos; at += replacement.size())
        name.replace(at, search.size(), replacement);
    if (name == item.name())
        return ProcessOutcome::Unchanged;
    item.setName(name);
    return ProcessOutcome::Changed;
}

}  // namespace velor
