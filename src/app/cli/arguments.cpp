#include "app/cli/arguments.h"

#include <algorithm>

#include "app/cli/option_table.h"
#include "base/error.h"
#include "base/text.h"

namespace velor::cli {

std::string Arguments::value(std::string_view option, std::string_view fallback) const {
    const auto found = options.find(option);
    return found == options.end() || found->second.empty() ? std::string(fallback) : found->second.back();
}

const std::vector<std::string>& Arguments::values(std::string_view option) const {
    static const std::vector<std::string> kNone;
    const auto found = options.find(option);
    return found == options.end() ? kNone : found->second;
}

long long Arguments::whole(std::string_view option, long long fallback) const {
    long long number = 0;
    return has(option) && parseInteger(value(option), number) ? number : fallback;
}

double Arguments::number(std::string_view option, double fallback) const {
    double parsed = 0;
    return has(option) && parseNumber(value(option), parsed) ? parsed : fallback;
}

namespace {

// Letters and digits only, without the unit of encodings: "PCM 24-bit" → "pcm24".
std::string compactName(std::string_view name) {
    std::string compact;
    for (const char c : lowerAscii(name.ends_with("-bit") ? name.substr(0, name.size() - 4) : name)) {
        if (c != ' ' && c != '-' && c != '_')
            compact += c;
    }
    return compact;
}

}  // namespace

std::string unknownName(std::string_view what, std::string_view name,
                        const std::vector<std::string>& candidates) {
    std::string text = "unknown " + std::string(what) + " \"" + std::string(name) + "\"";
    const std::string compact = compactName(name);
    std::vector<std::pair<std::size_t, const std::string*>> ranked;
    for (const std::string& each : candidates)
        ranked.emplace_back(std::min(editDistance(name, each), editDistance(compact, compactName(each))),
                            &each);
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::string list;
    for (std::size_t i = 0; i < ranked.size() && i < 3; ++i)
        list += (i == 0 ? "" : ", ") + *ranked[i].second;
    return list.empty() ? text : text + "; nearest: " + list;
}

}  // namespace velor::cli
