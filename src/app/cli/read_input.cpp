#include "app/cli/read_input.h"

#include <algorithm>
#include <array>
#include <system_error>

#include "app/cli/arguments.h"
#include "app/settings.h"
#include "base/error.h"
#include "base/text.h"

namespace velor::cli {

namespace fs = std::filesystem;

namespace {

// Names an extension to the functions that expect a file name.
std::string asFileName(std::string_view extension) {
    if (extension.starts_with('.'))
        extension.remove_prefix(1);
    return "x." + std::string(extension);
}

bool patternMatches(int row, std::string_view extension) {
    const FormatEntry* entry = formatRow(row);
    return entry && entry->read && matchExtension(entry->extension, extension);
}

// The row for --from: what the content says when that fits the extension, else the first row of the
// extension.
int rowForExtension(std::string_view extension, const File& file) {
    const std::string name = asFileName(extension);
    const Identification found = IdentifyFile(name, file);
    if (found.row > 0 && patternMatches(found.row, extensionOf(name)))
        return found.row;
    return findReaderByExtension(name);
}

// One "load.KEY=VALUE" of the command line, into settings that are never saved.
std::string parseLoadOption(const std::string& text, SettingsStore& settings) {
    const std::size_t equals = text.find('=');
    const std::string key = text.substr(0, equals);
    if (equals == std::string::npos)
        return "--load takes KEY=VALUE, not \"" + text + "\"";
    const SettingRow* row = findSetting(key);
    if (!row || !row->name.starts_with("load.")) {
        std::vector<std::string> keys;
        for (const SettingRow& each : settingRows()) {
            if (each.name.starts_with("load."))
                keys.emplace_back(each.name);
        }
        return unknownName("load option", key, keys);
    }
    return settings.parse(key, text.substr(equals + 1)) ? std::string() : "--load: " + LastErrorText;
}

}  // namespace

std::string parseSource(std::string_view text, RawSourceChoice& source) {
    RawFormat format;
    std::uint32_t flags = 0;
    bool first = true;
    for (const std::string_view part : split(text, ',')) {
        const std::string_view word = trim(part);
        const std::size_t equals = word.find('=');
        const std::string_view key = trim(word.substr(0, equals));
        long long value = 0;
        const bool hasNumber =
            equals != std::string_view::npos && parseInteger(word.substr(equals + 1), value) && value >= 0;
        if (first) {
            const auto encoding = encodingFromName(word);
            if (!encoding) {
                std::vector<std::string> names;
                for (int code = 0; code < kSampleEncodings; ++code)
                    names.emplace_back(encodingName(static_cast<SampleEncoding>(code)));
                return unknownName("encoding in --source", word, names);
            }
            format.formatWord = encodingBit(*encoding);
        } else if (equalNoCase(word, "big")) {
            flags |= source_format::kBigEndian;
        } else if (equalNoCase(word, "unsigned")) {
            flags |= source_format::kUnsigned;
        } else if (equalNoCase(word, "planar")) {
            flags |= source_format::kPlanar;
        } else if (equalNoCase(word, "little")) {
            flags &= ~source_format::kBigEndian;
        } else if (equalNoCase(word, "signed")) {
            flags &= ~source_format::kUnsigned;
        } else if (equalNoCase(word, "interleaved")) {
            flags &= ~source_format::kPlanar;
        } else if (equalNoCase(key, "channels") && hasNumber && (value == 1 || value == 2)) {
            format.channels = static_cast<std::uint8_t>(value);
        } else if (equalNoCase(key, "rate") && hasNumber && value > 0 && value <= 0x7FFFFFFF) {
            format.rate = static_cast<std::uint32_t>(value);
        } else if (equalNoCase(key, "offset") && hasNumber) {
            format.offset = static_cast<std::uint64_t>(value);
        } else if (equals != std::string_view::npos &&
                   (equalNoCase(key, "channels") || equalNoCase(key, "rate") || equalNoCase(key, "offset"))) {
            return "--source can not take \"" + std::string(word) + "\"";
        } else {
            return unknownName("word in --source", word,
                               {"big", "little", "unsigned", "signed", "planar", "interleaved",
                                "channels=", "rate=", "offset="});
        }
        first = false;
    }
    format.formatWord |= flags;
    source.active = true;
    source.format = format;
    return {};
}

std::string readChoices(const Arguments& arguments, ReadChoices& choices) {
    SettingsStore settings;
    settings.load(*openSettings());
    for (const std::string& text : arguments.values("load")) {
        if (std::string problem = parseLoadOption(text, settings); !problem.empty())
            return problem;
    }
    choices.load = settings.loadOptions();
    choices.naming = settings.noteNaming();
    choices.render = renderOptions(settings);
    choices.bank = pathFromUtf8(settings.gmBank());
    choices.from = arguments.value("from");
    if (choices.from.starts_with('.'))
        choices.from.erase(0, 1);
    if (!choices.from.empty() && findReaderByExtension(asFileName(choices.from)) < 0) {
        std::vector<std::string> known;
        for (const FormatEntry& row : FormatTable()) {
            if (row.read && (known.empty() || known.back() != row.extension))
                known.emplace_back(row.extension);
        }
        return unknownName("extension to read", choices.from, known);
    }
    if (arguments.has("source")) {
        if (std::string problem = parseSource(arguments.value("source"), choices.source); !problem.empty())
            return problem;
    }
    return parseAnswers(arguments.values("answer"), choices.answers);
}

std::string whyNotOpen(const fs::path& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found)
        return "no such file";
    if (status.type() == fs::file_type::directory)
        return "it is a folder";
    return {};
}

bool readInput(Collection& collection, const fs::path& path, const ReadChoices& choices,
               TerminalInterface& ui, FileReport& report) {
    PipelineServices services;
    services.ui = &ui;
    services.load = choices.load;
    RawSource = choices.source;
    const auto finish = [&](bool ok) {
        report.ok = ok;
        report.error = ok ? std::string() : LastErrorText;
        report.warnings = ui.warnings();
        return ok;
    };

    const auto file = File::open(path);
    if (!file) {
        const std::string reason = whyNotOpen(path);
        if (!reason.empty())
            fail(LastErrorText + ": " + reason);
        return finish(false);
    }
    if (file->size() != 0) {
        if (choices.source.active)
            report.type = {0, 0};
        else if (!choices.from.empty())
            report.type = {rowForExtension(choices.from, *file), 0};
        else
            report.type = IdentifyFile(path, *file);
        if (report.type.confidence > 0 || choices.source.active || !choices.from.empty())
            return finish(openFileAs(collection, path, report.type.row, services));
    }
    // Nothing fits: whether to read it as raw data is a question, put only to who has answered it in advance.
    const bool force = choices.answers.find("raw.unrecognized") != choices.answers.end();
    return finish(openFile(collection, path, force, services));
}

}  // namespace velor::cli
