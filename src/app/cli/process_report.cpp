#include "app/cli/process_report.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "base/text.h"

namespace velor::cli {

namespace {

constexpr std::size_t kWidestTable = 7;  // columns of measures; more become lists

// Bytes that begin a character: the width of text on a terminal, near enough for names.
std::size_t widthOf(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

void addPadded(std::string& line, const std::string& text, std::size_t width) {
    line += text;
    line.append(width - std::min(width, widthOf(text)), ' ');
}

const char* outcomeText(const ProcessItemReport& item) {
    switch (item.outcome) {
        case ProcessOutcome::Changed:
            return "changed";
        case ProcessOutcome::Failed:
            return "failed";
        case ProcessOutcome::Unchanged:
            break;
    }
    return "unchanged";
}

using Row = std::vector<std::string>;

std::string aligned(const std::vector<Row>& rows) {
    std::vector<std::size_t> widths;
    for (const Row& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], widthOf(row[i]));
    }
    std::string text;
    for (const Row& row : rows) {
        std::string line = "  ";
        for (std::size_t i = 0; i < row.size(); ++i) {
            addPadded(line, row[i], widths[i]);
            line += "  ";
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + '\n';
    }
    return text;
}

// One table for the items of all runs; with more than one run they are told apart by their files.
std::string measuresTable(std::span<const FileResult> results, bool showOutcomes) {
    std::vector<std::string> columns;
    for (const FileResult& each : results) {
        for (const ProcessItemReport& item : each.result.run.items) {
            for (const ProcessMeasure& measure : item.measures) {
                if (std::find(columns.begin(), columns.end(), measure.what) == columns.end())
                    columns.push_back(measure.what);
            }
        }
    }
    const bool showFiles = results.size() > 1;
    std::vector<Row> rows;
    if (!columns.empty()) {
        Row& head = rows.emplace_back();
        if (showFiles)
            head.push_back("file");
        head.push_back("item");
        if (showOutcomes)
            head.push_back("result");
        head.insert(head.end(), columns.begin(), columns.end());
    }
    for (const FileResult& each : results) {
        for (const ProcessItemReport& item : each.result.run.items) {
            Row& row = rows.emplace_back();
            if (showFiles)
                row.push_back(each.file);
            row.push_back(displayText(item.name));
            if (showOutcomes || item.outcome == ProcessOutcome::Failed)
                row.push_back(outcomeText(item));
            if (item.outcome == ProcessOutcome::Failed) {
                row.back() += ": " + item.error;
                continue;
            }
            for (const std::string& column : columns) {
                const auto found =
                    std::find_if(item.measures.begin(), item.measures.end(),
                                 [&](const ProcessMeasure& measure) { return measure.what == column; });
                row.push_back(found == item.measures.end() ? "-" : measureText(*found));
            }
        }
    }
    return aligned(rows);
}

std::string measuresLists(const ProcessRun& run) {
    std::string text;
    for (const ProcessItemReport& item : run.items) {
        text += "  " + displayText(item.name);
        text += item.outcome == ProcessOutcome::Failed ? ": failed: " + item.error + '\n' : "\n";
        std::vector<Row> rows;
        for (const ProcessMeasure& measure : item.measures)
            rows.push_back({"  " + measure.what, measureText(measure)});
        text += aligned(rows);
    }
    return text;
}

std::string changesText(const std::vector<ItemChange>& changes, std::size_t most) {
    std::string text;
    std::size_t lines = 0;
    for (const ItemChange& change : changes) {
        if (++lines > most) {
            text += formatText("  and %zu more (--verbose shows them)\n", changes.size() - most);
            break;
        }
        text += std::string("  ") + kindName(change.id.kind()) + " " + displayText(change.name);
        if (change.kind == ItemChange::Kind::Added)
            text += ": added";
        else if (change.kind == ItemChange::Kind::Removed)
            text += ": removed";
        const char* separator = ": ";
        for (const FieldChange& field : change.fields) {
            text += separator + changeText(field);
            separator = ", ";
        }
        text += '\n';
    }
    return text;
}

std::size_t mostMeasures(const ProcessRun& run) {
    std::size_t most = 0;
    for (const ProcessItemReport& item : run.items)
        most = std::max(most, item.measures.size());
    return most;
}

}  // namespace

std::string changeText(const FieldChange& change) {
    if (change.from.empty() && change.to.empty())
        return change.what + " changed";
    const auto shown = [](const std::string& value) { return value.empty() ? "\"\"" : displayText(value); };
    return change.what + " " + shown(change.from) + " -> " + shown(change.to);
}

std::string measureText(const ProcessMeasure& measure) {
    if (!measure.text.empty())
        return measure.text;
    if (!std::isfinite(measure.value))
        return std::isnan(measure.value) ? "-" : measure.value > 0 ? "inf" : "-inf";
    // Whole numbers as they are, others with two places, small ones with more.
    std::string text;
    if (measure.value == std::floor(measure.value) && std::abs(measure.value) < 1e15)
        text = formatText("%.0f", measure.value);
    else
        text = std::abs(measure.value) < 0.1 ? formatText("%.3g", measure.value)
                                             : formatText("%.2f", measure.value);
    return measure.unit.empty() ? text : text + " " + measure.unit;
}

std::string processReport(const FileResult& each, std::size_t mostChanges) {
    const ProcessRun& run = each.result.run;
    std::string text = each.file + (each.result.measuresOnly ? ":" : ": " + run.message) + '\n';
    if (mostMeasures(run) > kWidestTable)
        text += measuresLists(run);
    else if (mostMeasures(run) > 0 || run.failed > 0)
        text += measuresTable({&each, 1}, !each.result.changes.empty() || run.failed > 0);
    return text + changesText(each.result.changes, mostChanges);
}

std::string measuresReport(std::span<const FileResult> results) {
    const bool fits = std::ranges::all_of(results, [](const FileResult& each) {
        return mostMeasures(each.result.run) <= kWidestTable && each.result.run.failed == 0;
    });
    if (fits && results.size() > 1)
        return measuresTable(results, false);
    std::string text;
    for (const FileResult& each : results)
        text += processReport(each, 0);
    return text;
}

}  // namespace velor::cli
