// Running a process over a list of items.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/processing/process.h"

namespace velor {

struct ProcessRun {
    std::size_t changed = 0;  // items
    std::size_t failed = 0;
    bool cancelled = false;
    // "Processed 3 items", "No items were modified" or "Processing was cancelled".
    std::string message;
    // One for each item that had its turn.
    std::vector<ProcessItemReport> items;
};

// Calls the process for each listed item that still exists. An item that fails is reported and the rest goes
// on; the user can end the run between items and inside long ones, and keeps what was done before. A waveform
// whose turn failed or was cancelled is as it was. The status line says what is being worked on, progress is
// that of the list.
ProcessRun runProcess(const ProcessRow& row, const ProcessContext& context, const ProcessSettings& settings,
                      UserInterface& ui);

inline constexpr const char* kPreviewName = "<preview>";

// The process on a copy of a waveform, which stays as it is: a collection with one waveform named
// "<preview>", of the selection where the process works on one. nullptr when it failed or was cancelled, with
// LastErrorText.
std::unique_ptr<Collection> previewProcess(const ProcessRow& row, const Waveform& waveform,
                                           const std::optional<FrameSelection>& selection,
                                           const ProcessSettings& settings, UserInterface& ui);

// How texts call a list of items: "All waveforms", "3 waveforms", "3 items", "multiple items".
std::string processItemsText(const ProcessContext& context);

}  // namespace velor
