// Running a process on the items of a file that was read.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/processing/catalogue.h"
#include "app/processing/changes.h"
#include "app/processing/runner.h"

namespace velor::cli {

// A place in a waveform as the user gave it: "1000" frames, "0.5s", "20ms", "75%".
struct FramePlace {
    enum class Unit : std::uint8_t { Frames, Seconds, Milliseconds, Percent };
    double value = 0;
    Unit unit = Unit::Frames;
};
// "FROM:TO", either side may be empty for the beginning or the end. A message when it is malformed.
struct RangeChoice {
    FramePlace first;
    FramePlace end{100, FramePlace::Unit::Percent};
};
std::string parseRange(std::string_view text, RangeChoice& range);

// What a command line asks for.
struct ProcessRequest {
    NamedProcess process;
    ProcessSettings settings;
    std::optional<RangeChoice> selection;
    std::vector<std::string> only;  // names or #numbers of the items to process; empty: all
    NoteNaming naming;
};

// What came of it.
struct ProcessResult {
    bool ran = false;
    std::string name;           // of the process
    bool measuresOnly = false;  // it changes nothing
    ProcessRun run;
    std::vector<ItemChange> changes;
};

// False with LastErrorText when nothing could be processed: no such item, nothing that the process works on,
// every item failed, or the user ended it. Items that failed beside others that did not are in the result.
bool processItems(Collection& collection, const ProcessRequest& request, UserInterface& ui,
                  ProcessResult& result);

}  // namespace velor::cli
