// Hands hostile bytes to a reader directly, past identification, which would turn most of them away. The first
// two bytes choose among the readers of this build, the rest is the file. What a reader accepts must decode.
#include <cstdlib>
#include <vector>

#include "base/error.h"
#include "formats/framework/format_table.h"
#include "formats/framework/open_file.h"
#include "formats/framework/pipeline.h"

using namespace velor;

namespace {

std::vector<int> builtReaders() {
    std::vector<int> rows;
    for (int cursor = 0, row; (row = nextReader(cursor)) >= 0;)
        if (readerBuilt(row))
            rows.push_back(row);
    return rows;
}

// The end of a file name that the row's pattern matches.
std::string extensionFor(int row) {
    std::string extension;
    for (const char c : rowExtension(row))
        if (c != '*')
            extension += c == '?' ? '0' : c;
    return extension;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::vector<int> rows = builtReaders();
    if (size < 3 || rows.empty())
        return -1;
    UserInterface quiet;
    PipelineServices services;
    services.ui = &quiet;
    Collection collection;
    OpenFile file;
    file.row = rows[(data[0] + 256u * data[1]) % rows.size()];
    file.path = "file." + extensionFor(file.row);
    file.input = File::fromBytes(std::vector<Byte>(data + 2, data + size), file.path);
    file.ui = &quiet;

    const FormatEntry& row = *formatRow(file.row);
    LastErrorText.clear();
    if (!row.read(collection, file, row.variant)) {
        if (LastErrorText.empty())
            std::abort();  // a failure has a message
        return 0;
    }
    if (!fixUpCollection(collection, kAllKinds, true, services))
        return 0;
    for (const ItemId id : collection.list(ItemKind::Waveform))
        static_cast<Waveform*>(collection.find(id))->loadSamples();
    return 0;
}
