#include "app/cli/process_manual.h"

#include <algorithm>

#include "app/cli/arguments.h"
#include "app/cli/help_text.h"
#include "app/processing/availability.h"
#include "base/text.h"
#include "platform/console.h"

namespace velor::cli {

namespace {

constexpr ProcessFlavour kFlavours[] = {ProcessFlavour::Audio, ProcessFlavour::Midi,
                                        ProcessFlavour::Instrument};
constexpr const char* kTitles[] = {"Audio", "MIDI", "Instruments"};
constexpr std::size_t kColumn = 24;  // where the texts of settings begin

std::size_t width() {
    return static_cast<std::size_t>(std::clamp(terminalWidth(), 60, 100));
}

// The name to call it by; with the flavour when an earlier catalogue has the same name.
std::string callName(ProcessFlavour flavour, const ProcessRow& row) {
    const std::string word = processWord(row);
    return findProcess(word).row == &row ? word : std::string(flavourWord(flavour)) + ":" + word;
}

std::string defaultShown(const ProcessParameter& parameter) {
    std::string text = defaultText(parameter, {});
    if (text.empty())
        return "none";
    const bool number =
        parameter.kind == ProcessValueKind::Number || parameter.kind == ProcessValueKind::Whole;
    return number && *parameter.unit ? text + ' ' + parameter.unit : text;
}

// Text for a cell of a Markdown table.
std::string cell(std::string text) {
    for (std::size_t at = 0; (at = text.find('|', at)) != std::string::npos; at += 2)
        text.insert(at, "\\");
    return text;
}

std::string notesOf(const ProcessRow& row) {
    std::string notes(offeredFor(row));
    const auto add = [&](const char* note) { notes += (notes.empty() ? "" : "; ") + std::string(note); };
    if ((row.flags & kWorksOnSelection) && row.available != availability::selection)
        add("works on the selection");
    if (row.process->measures)
        add("only measures");
    if (!processBuilt(row))
        add("not in this build");
    return notes;
}

}  // namespace

std::string_view offeredFor(const ProcessRow& row) {
    using namespace availability;
    static constexpr struct {
        AvailabilityTest test;
        const char* text;
    } kTexts[] = {
        {always, ""},
        {selection, "needs a selection"},
        {looped, "for looped waveforms"},
        {single, "for a single waveform"},
        {anyMono, "for mono waveforms"},
        {anyStereo, "for stereo waveforms"},
        {anyCollection, "for collections"},
        {collectionOrInstrument, "for instruments and collections"},
        {layerLevel, "for layers, instruments and collections"},
        {songs, "for songs"},
        {songsOrTracks, "for songs and tracks"},
        {playsWaveforms, "where regions play waveforms"},
        {playsStereoWaveforms, "where regions play stereo waveforms"},
        {drumKits, "for drum kits"},
        {songsAndInstruments, "for collections with songs and instruments"},
    };
    for (const auto& each : kTexts) {
        if (each.test == row.available)
            return each.text;
    }
    return "";
}

std::vector<std::string> processNames() {
    std::vector<std::string> names;
    for (const ProcessFlavour flavour : kFlavours) {
        for (const ProcessRow& row : processCatalogue(flavour))
            names.push_back(callName(flavour, row));
    }
    return names;
}

std::string unknownProcess(std::string_view name) {
    // Part of a name is the likeliest slip: "fade" for "fade-in-out-selection".
    const std::vector<std::string> all = processNames();
    std::vector<std::string> likely;
    std::copy_if(all.begin(), all.end(), std::back_inserter(likely),
                 [&](const std::string& each) { return containsNoCase(each, name); });
    return unknownName("process", name, likely.empty() ? all : likely);
}

std::string settingHelp(const ProcessParameter& parameter, bool values) {
    std::string text = parameter.label;
    if (values) {
        if (!text.ends_with('.') && !text.ends_with(':'))
            text += '.';
        text += " " + rangeText(parameter, {}) + "; default " + defaultShown(parameter);
    }
    if (!text.ends_with('.'))
        text += '.';
    return *parameter.help ? text + " " + parameter.help : text;
}

std::string processHelp(std::string_view name) {
    const NamedProcess named = findProcess(name);
    if (!named.row)
        return unknownProcess(name) + '\n';
    const ProcessRow& row = *named.row;
    const std::string call = callName(named.flavour, row);
    std::string help = std::string(row.name) + "\n\nUsage: velor process " + call +
                       (row.process->measures ? " IN..." : " IN... (-o FILE | --to EXT | -d DIR)");
    help += std::string(row.process->parameters.empty() ? "" : " [--set KEY=VALUE]...") + "\n\n";
    if (!processBuilt(row))
        help += "This process is not in this build.\n\n";
    if (*row.process->help)
        help += wrapText(row.process->help, width(), 0) + '\n';
    if (const std::string notes = notesOf(row); !notes.empty())
        help += "\n(" + notes + ")\n";
    if (!row.process->parameters.empty())
        help += "\nSettings:\n";
    for (const ProcessParameter& parameter : row.process->parameters) {
        std::string line = "  " + std::string(parameter.key);
        if (line.size() + 2 > kColumn)
            line += '\n' + std::string(kColumn, ' ');
        else
            line.append(kColumn - line.size(), ' ');
        help += line + wrapText(settingHelp(parameter), width(), kColumn) + '\n';
    }
    return help + "\nHow files are read and written: velor process --help\n";
}

std::string processList() {
    std::string list;
    for (const ProcessFlavour flavour : kFlavours) {
        list += std::string(list.empty() ? "" : "\n") + kTitles[static_cast<std::size_t>(flavour)] + ":\n";
        std::size_t widest = 0;
        for (const ProcessRow& row : processCatalogue(flavour))
            widest = std::max(widest, callName(flavour, row).size());
        for (const ProcessRow& row : processCatalogue(flavour)) {
            std::string line = "  " + callName(flavour, row);
            line.append(widest + 4 - line.size(), ' ');
            line += row.name;
            if (const std::string notes = notesOf(row); !notes.empty())
                line += " (" + notes + ")";
            list += line + '\n';
        }
    }
    return list;
}

std::string processManual() {
    std::string page =
        "# Processes\n\n"
        "Everything that changes waveforms, songs and instruments in bulk, and a few things that only "
        "measure. Each is "
        "run with\n\n"
        "    velor process NAME [--set KEY=VALUE]... IN... (-o FILE | --to EXT | -d DIR)\n\n"
        "`velor process NAME --help` shows the settings of one, `velor process --list` the names; "
        "`--dry-run` says what "
        "would change. Processes that work on a selection take it from `--select FROM:TO` (frames, or with "
        "`s`, `ms`, "
        "`%`); without one they take the whole waveform where that makes sense. `velor tune`, `velor loop` "
        "and "
        "`velor resample` are short forms of three of them. This page is made from the program's own tables "
        "by\n\n"
        "    velor process --list --manual > docs/processes.md\n";
    for (const ProcessFlavour flavour : kFlavours) {
        page += std::string("\n## ") + kTitles[static_cast<std::size_t>(flavour)] + "\n";
        for (const ProcessRow& row : processCatalogue(flavour)) {
            page += "\n### " + std::string(row.name) + "\n\n`" + callName(flavour, row) + "`";
            if (const std::string notes = notesOf(row); !notes.empty())
                page += " – " + notes;
            page += "\n";
            if (*row.process->help)
                page += "\n" + std::string(row.process->help) + "\n";
            if (row.process->parameters.empty())
                continue;
            page += "\n| setting | | values | default | |\n|---|---|---|---|---|\n";
            for (const ProcessParameter& parameter : row.process->parameters) {
                page += "| `" + std::string(parameter.key) + "` | " + cell(parameter.label) + " | " +
                        cell(rangeText(parameter, {})) + " | " + cell(defaultShown(parameter)) + " | " +
                        cell(parameter.help) + " |\n";
            }
        }
    }
    return page;
}

}  // namespace velor::cli
