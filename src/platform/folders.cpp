#include "platform/folders.h"

#include "base/error.h"

namespace velor {

namespace fs = std::filesystem;

fs::path currentFolder() {
    std::error_code error;
    fs::path folder = fs::current_path(error);
    return error ? fs::path(".") : folder;
}

bool changeCurrentFolder(const fs::path& folder) {
    std::error_code error;
    fs::current_path(folder, error);
    return !error || fail("Could not change to the folder");
}

fs::path tempFolder() {
    std::error_code error;
    fs::path folder = fs::temp_directory_path(error);
    return error ? currentFolder() : folder;
}

}  // namespace velor
