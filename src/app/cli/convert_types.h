// What the convert verb is asked to do, and what came of it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "app/cli/process_items.h"
#include "app/cli/read_input.h"
#include "formats/framework/open_file.h"

namespace velor::cli {

enum class ExistingOutputs { Keep, Overwrite, Skip, Rename };

// The choices that hold for all inputs.
struct ConvertRequest {
    ReadChoices read;
    int row = -1;                  // the row to write, -1: by extension
    std::string extension;         // to write; empty with -o or with a row
    std::string output;            // -o; "-" is the standard output
    std::filesystem::path folder;  // -d; empty: beside each input, or the folder of -o
    std::string item;              // --item
    std::string nameTemplate;      // --name-template; empty: the default
    SaveOptions save;
    ExistingOutputs existing = ExistingOutputs::Keep;
    bool recursive = false;
    bool dryRun = false;
    bool songsOnly = false;                 // songs are rendered, everything else is left alone
    std::optional<ProcessRequest> process;  // runs on what is read
    bool reportOnly = false;                // a process that measures: nothing is written
    unsigned jobs = 0;                      // worker processes; 0: in this process
};

// One input with the place its output goes to.
struct ConvertTask {
    std::string shown;             // how messages name the input
    std::filesystem::path input;   // absolute
    std::filesystem::path folder;  // absolute, of the outputs
    std::string stem;
    std::string extension;
    bool standardOutput = false;
    bool makeFolder = false;     // the output folder may be made
    bool foundInFolder = false;  // not named by the user: what is no supported type is skipped
    std::string problem;         // set: the task fails with this, nothing is read
};

struct ConvertTarget {
    std::string path;  // UTF-8
    std::string item;  // name of the item written
    int row = -1;
    std::string encoding;
    int channels = 0;  // 0: not the same for all
};

struct ConvertResult {
    std::string input;
    std::vector<ConvertTarget> targets;  // written, or with --dry-run to be written
    bool ok = false;
    bool skipped = false;
    bool interrupted = false;
    std::string error;
    std::string skipReason;
    std::vector<std::string> warnings;
    ProcessResult process;
};

}  // namespace velor::cli
