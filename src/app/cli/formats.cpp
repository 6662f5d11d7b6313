// velor formats
#include <algorithm>

#include "app/cli/arguments.h"
#include "app/cli/cli.h"
#include "app/cli/json_documents.h"
#include "app/cli/terminal.h"
#include "app/cli/verbs.h"
#include "base/error.h"
#include "base/text.h"
#include "formats/framework/format_table.h"

namespace velor::cli {

namespace {

// A name is an extension where one fits exactly, else a part of a description.
std::vector<int> rowsNamed(std::string_view name) {
    std::vector<int> byExtension;
    std::vector<int> byDescription;
    if (name.starts_with('.'))
        name.remove_prefix(1);
    for (int row = 0; row < kFormatRows; ++row) {
        if (name.empty() || equalNoCase(rowExtension(row), name))
            byExtension.push_back(row);
        if (containsNoCase(rowDescription(row), name))
            byDescription.push_back(row);
    }
    return byExtension.empty() ? byDescription : byExtension;
}

std::string rowLine(int row) {
    const FormatEntry& entry = *formatRow(row);
    const char reads = !entry.read ? '-' : readerBuilt(row) ? 'R' : 'r';
    const char writes = !entry.write ? '-' : writerBuilt(row) ? 'W' : 'w';
    return formatText("%3d  %c%c  %-12s %s\n", row, reads, writes, entry.extension, entry.description);
}

}  // namespace

int runFormats(const Arguments& arguments) {
    const std::string name = arguments.positionals.empty() ? "" : arguments.positionals.front();
    std::vector<int> rows = rowsNamed(name);
    if (rows.empty()) {
        std::vector<std::string> known;
        for (const FormatEntry& entry : FormatTable()) {
            for (const char* each : {entry.extension, entry.description}) {
                if (std::find(known.begin(), known.end(), each) == known.end())
                    known.emplace_back(each);
            }
        }
        return usageError("formats", unknownName("format", name, known));
    }
    std::erase_if(rows, [&](int row) {
        return (arguments.has("readable") && !readerBuilt(row)) ||
               (arguments.has("writable") && !writerBuilt(row));
    });
    Output output;
    if (arguments.has("json")) {
        JsonListDocument document("formats");
        for (const int row : rows)
            document.add(formatObject(row));
        output.add(document.text());
    } else {
        for (const int row : rows)
            output.add(rowLine(row));
    }
    return output.flush() ? kExitDone : kExitFailed;
}

}  // namespace velor::cli
