// Starts the real program, as a user would, and keeps what it said.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/process.h"
#include "test_places.h"
#include "test_tools.h"

namespace velor::test {

struct ProgramRun {
    int code = -1;  // -1: crashed or could not be started
    std::string out;
    std::string err;
};

// Found once, before any test moves the current folder: under Wine the path has no drive letter.
inline const std::filesystem::path velorProgram = std::filesystem::absolute(VELOR_PROGRAM);

inline ChildOptions velorOptions(const std::filesystem::path& folder, std::vector<std::string> arguments) {
    ChildOptions options;
    options.program = velorProgram;
    options.arguments = std::move(arguments);
    options.folder = folder;
    options.environment = {{"VELOR_SETTINGS", utf8FromPath(folder / "velor-settings")}, {"NO_COLOR", "1"}};
    options.captureOutput = options.captureErrors = true;
    return options;
}

inline ProgramRun runProgram(const ChildOptions& options) {
    ProgramRun run;
    const auto child = ChildProcess::start(options);
    if (!child)
        return run;
    child->wait();
    run.code = child->exitCode().value_or(-1);
    run.out = child->readOutput();
    run.err = child->readErrors();
    // Line ends of texts differ between systems; what is said does not.
    for (std::string* text : {&run.out, &run.err})
        std::erase(*text, '\r');
    return run;
}

// Runs velor in a folder, with settings of that folder's own.
inline ProgramRun runVelor(const std::filesystem::path& folder, std::vector<std::string> arguments) {
    return runProgram(velorOptions(folder, std::move(arguments)));
}

// 16-bit little-endian samples as the bytes of a ".sw" file.
inline std::vector<Byte> words(const std::vector<int>& samples) {
    std::vector<Byte> bytes;
    for (const int sample : samples) {
        bytes.push_back(static_cast<Byte>(sample & 0xFF));
        bytes.push_back(static_cast<Byte>(sample >> 8 & 0xFF));
    }
    return bytes;
}

inline bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The files below a folder by relative name with forward slashes, sorted, without the settings file.
inline std::vector<std::string> tree(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::string name = entry.path().lexically_relative(folder).generic_string();
        if (!entry.is_directory() && name != "velor-settings")
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace velor::test
