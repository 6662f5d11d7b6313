#include "app/processing/audio/processes.h"

#include "base/error.h"
#include "base/rounding.h"
#include "base/text.h"

#include <algorithm>

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "template",
     .label = "New name",
     .kind = ProcessValueKind::Text,
     .standardText = "{name} {note}",
     .help =
         "{name} is the name so far, {note} the root key as a note, {key} as a number, {cents} the tuning "
         "as \"+5\", {index} the place in the list from 1 on. {key:3} and {index:3} fill up with zeros to "
         "three digits."},
    {.key = "first", .label = "First index", .kind = ProcessValueKind::Whole, .most = 999999, .standard = 1},
};

// The text of a field, false for an unknown one.
bool fieldText(const ProcessJob& job, std::string_view field, std::string& text) {
    const Waveform& waveform = job.waveform();
    const std::size_t colon = field.find(':');
    const std::string_view what = field.substr(0, colon);
    long long digits = 1;
    if (colon != std::string_view::npos &&
        (!parseInteger(field.substr(colon + 1), digits) || digits < 1 || digits > 9))
        return false;
    const auto number = [&](long long value) {
        return formatText("%0*lld", static_cast<int>(digits), value);
    };
    if (what == "key") {
        text = number(waveform.rootKey);
        return true;
    }
    if (what == "index") {
        text = number(job.settings.whole("first") + static_cast<long long>(job.index));
        return true;
    }
    if (colon != std::string_view::npos)
        return false;
    if (what == "name")
        text = waveform.name();
    else if (what == "note")
        text = noteName(std::min<std::uint8_t>(waveform.rootKey, 127),
                        {.names = true, .octaveOfMiddleC = job.context.naming.octaveOfMiddleC});
    else if (what == "cents")
        text = formatText(
            "%+lld", static_cast<long long>(roundToInteger(static_cast<double>(waveform.tuningCents()))));
    else
        return false;
    return true;
}

ProcessOutcome run(ProcessJob& job) {
    const std::string_view pattern = job.settings.text("template");
    std::string name;
    for (std::size_t i = 0; i < pattern.size();) {
        const std::size_t close = pattern[i] == '{' ? pattern.find('}', i) : std::string_view::npos;
        if (close == std::string_view::npos) {
            name += pattern[i++];
            continue;
        }
        std::string text;
        const std::string_view field = pattern.substr(i + 1, close - i - 1);
        if (!fieldText(job, field, text))
            return processFailed("There is no field {" + std::string(field) +
                                 "}; there are {name}, {note}, {key}, {cents} and {index}");
        name += text;
        i = close + 1;
    }
    name = trim(name);
    if (name.empty())
        return processFailed("The new name would be empty");
    if (name == job.item.name())
        return ProcessOutcome::Unchanged;
    job.item.setName(name);
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition nameFromKey{
    run, kParameters,
    "Names waveforms by a template with their root keys, \"Piano\" becomes \"Piano C4\". The root key is the "
    "waveform's, not that of regions. Nothing but names changes."};

}  // namespace velor::audio_processes
