// What a process is: an operation that transforms items in bulk, offered by the processing wizard and by the
// command line.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "app/processing/parameters.h"
#include "base/user_interface.h"
#include "items/collection.h"

namespace velor {

enum class ProcessFlavour : std::uint8_t { Audio, Midi, Instrument };
inline constexpr std::size_t kProcessFlavours = 3;

// Frames of the waveform editor's selection, the end exclusive. Empty (first == end) for a mere position.
struct FrameSelection {
    std::uint32_t first = 0;
    std::uint32_t end = 0;
};

// What the wizard works on.
struct ProcessContext {
    Collection* collection = nullptr;
    // In the order they are processed: waveforms, songs, or what is selected for the instrument wizard. Items
    // that a process has removed meanwhile are passed over.
    std::vector<ItemId> items;
    std::optional<FrameSelection> selection;
    NoteNaming naming;

    // The listed waveforms that still exist.
    std::vector<Waveform*> waveforms() const;
};

// The value of something that a process measures without changing it.
struct ProcessMeasure {
    std::string what;  // "RMS level"
    double value = 0;
    std::string unit;  // "dB", "LUFS" …; empty for none
    std::string text;  // instead of the number, where that is what a reader wants ("C4 plus 3 cents")
};

enum class ProcessOutcome : std::uint8_t {
    Unchanged,
    Changed,
    Failed,  // LastErrorText says why; the item is as it was
};

struct ProcessItemReport {
    ItemId id;
    std::string name;  // before the process
    ProcessOutcome outcome = ProcessOutcome::Unchanged;
    std::string error;
    std::vector<ProcessMeasure> measures;
};

// What a process keeps from one item of a run to the next. Made by the process itself.
struct ProcessState {
    virtual ~ProcessState() = default;
};

// One item's turn.
struct ProcessJob {
    const ProcessContext& context;
    Item& item;
    std::size_t index;  // of the item in the run, and how many there are
    std::size_t count;
    const ProcessSettings& settings;
    UserInterface& ui;  // progress of this item, 0..1
    ProcessItemReport& report;
    std::unique_ptr<ProcessState>& state;  // empty for the first item

    Collection& collection() const { return *context.collection; }
    // For processes of the audio catalogue.
    Waveform& waveform() const { return static_cast<Waveform&>(item); }
    // The selection within the waveform's frames; all of them when nothing is selected.
    FrameSelection range() const;
    void measure(std::string what, double value, std::string unit) {
        report.measures.push_back({std::move(what), value, std::move(unit), {}});
    }
};

// Processes one item. Rules that every process keeps:
// - Samples that something else shares (copies, states to undo) are never written to: see editableCopy().
// - It asks ui.aborted() at least every 50 ms and then returns cancelled().
// - What fails or is cancelled leaves the item as it was. For waveforms the runner sees to that; processes
// that
//   change several items do all that can fail first.
using ProcessFunction = ProcessOutcome (*)(ProcessJob& job);

// Failed with "Processing was cancelled".
ProcessOutcome cancelled();
// Failed with a message.
ProcessOutcome processFailed(std::string_view message);

struct ProcessDefinition {
    ProcessFunction run = nullptr;  // nullptr: not in this build
    std::span<const ProcessParameter> parameters = {};
    const char* help = "";  // a few sentences: what it does and what becomes of loops, keys and regions
    bool measures = false;  // reports and changes nothing
};

// Availability tests look at the context alone.
using AvailabilityTest = bool (*)(const ProcessContext& context);

// Bits of a row's flags.
inline constexpr std::uint8_t kWorksOnSelection = 1;  // on the selected range, or at its position
inline constexpr std::uint8_t kNoSettingsNeeded =
    2;  // can be run at once: the defaults are all there is to say

struct ProcessRow {
    const char* name;
    std::uint32_t page;  // the dialog resource of its settings page
    const ProcessDefinition* process;
    AvailabilityTest available;
    std::uint8_t flags = 0;
};

}  // namespace velor
