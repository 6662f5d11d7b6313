// Reads hostile bytes as a file of a chosen type. The first two bytes choose among the readers of this build,
// the rest is the file. What a reader accepts must also decode, without more memory than the file warrants.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <vector>

#include "formats/framework/format_table.h"
#include "formats/framework/pipeline.h"

using namespace velor;
namespace fs = std::filesystem;

namespace {

// A folder of this process alone, in memory where the system has such a place: readers look for companion
// files beside the file they read, and those must not be another process's.
class Folder {
  public:
    Folder() {
        const fs::path base = fs::is_directory("/dev/shm") ? "/dev/shm" : fs::temp_directory_path();
        std::random_device random;
        do
            path_ = base / ("velor-fuzz-" + std::to_string(random()));
        while (!fs::create_directory(path_));
    }
    ~Folder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    const fs::path& path() const { return path_; }

  private:
    fs::path path_;
};

std::vector<int> builtReaders() {
    std::vector<int> rows;
    for (int cursor = 0, row; (row = nextReader(cursor)) >= 0;)
        if (readerBuilt(row))
            rows.push_back(row);
    return rows;
}

// The pattern's extension as a file would have it: wildcards match the end of a name too, so they go.
std::string extensionOfRow(int row) {
    std::string extension;
    for (const char c : rowExtension(row))
        if (c != '?' && c != '*')
            extension += c;
    return extension;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Folder folder;
    static const std::vector<int> rows = builtReaders();
    if (size < 3 || rows.empty())
        return -1;
    const int row = rows[(data[0] + 256u * data[1]) % rows.size()];
    const fs::path path = folder.path() / ("file." + extensionOfRow(row));
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (!file || std::fwrite(data + 2, 1, size - 2, file) != size - 2 || std::fclose(file) != 0)
        std::abort();

    UserInterface quiet;
    PipelineServices services;
    services.ui = &quiet;
    Collection collection;
    if (openFileAs(collection, path, row, services))
        for (Waveform* waveform : collection.all<Waveform>())
            waveform->loadSamples();
    fs::remove(path);
    return 0;
}
