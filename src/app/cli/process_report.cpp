#include "app/cli/process_report.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "base/text.h"

namespace velor::cli {

namespace {

constexpr std::size_t kWidestTable = 7;    // columns of measures; more become lists
constexpr std::size_t kMostChanges = 200;  // lines for one file; the rest is counted

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

std::string measuresTable(const ProcessRun& run, bool showOutcomes) {
    std::vector<std::string> columns;
    for (const ProcessItemReport& item : run.items) {
        for (const ProcessMeasure& measure : item.measures) {
            if (std::find(columns.begin(), columns.end(), measure.what) == columns.end())
                columns.push_back(measure.what);
        }
    }
    std::vector<Row> rows;
    if (!columns.empty()) {
        Row& head = rows.emplace_back();
        head.push_back("item");
        if (showOutcomes)
            head.push_back("result");
        head.insert(head.end(), columns.begin(), columns.end());
    }
    for (const ProcessItemReport& item : run.items) {
        Row& row = rows.emplace_back();
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

std::string changesText(const std::vector<ItemChange>& changes) {
    std::string text;
    std::size_t lines = 0;
    for (const ItemChange& change : changes) {
        if (++lines > kMostChanges) {
            text += formatText("  … and %zu more items\n", changes.size() - kMostChanges);
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

}  // namespace

std::string changeText(const FieldChange& change) {
    if (change.from.empty() && change.to.empty())
        return change.what;
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

std::string processReport(std::string_view file, const ProcessResult& result) {
    std::size_t most = 0;
    for (const ProcessItemReport& item : result.run.items)
        most = std::max(most, item.measures.size());
    std::string text = std::string(file) + (result.measuresOnly ? ":" : ": " + result.run.message) + '\n';
    text += most > kWidestTable ? measuresLists(result.run)
                                : measuresTable(result.run, !result.changes.empty() || result.run.failed > 0);
    return text + changesText(result.changes);
}

}  // namespace velor::cli
