// The three catalogues of processes, and what of them is offered.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "app/processing/process.h"

namespace velor {

// All rows in the order the wizard lists them: 39 audio, 8 MIDI and 19 instrument processes.
std::span<const ProcessRow> processCatalogue(ProcessFlavour flavour);

// "Audio processing wizard -"
std::string processWizardTitle(ProcessFlavour flavour);
// "audio", "midi", "instrument"
const char* flavourWord(ProcessFlavour flavour);
// The row's name as scripts write it: "cross-fade-loop".
std::string processWord(const ProcessRow& row);
// False for rows that this build can not run.
bool processBuilt(const ProcessRow& row);

struct NamedProcess {
    ProcessFlavour flavour = ProcessFlavour::Audio;
    const ProcessRow* row = nullptr;
};
// By its name or word, in any case. A name that two catalogues have is the first one's; "instrument:NAME" and
// the like say which is meant. No row for unknown names.
NamedProcess findProcess(std::string_view name);

// What the wizard works on when these items are selected: for audio all waveforms that they use, for MIDI
// their songs and tracks, for instruments the items themselves. Each item once, in order.
ProcessContext processContext(ProcessFlavour flavour, Collection& collection,
                              std::span<const ItemId> selected);

// The rows whose availability test passes.
std::vector<const ProcessRow*> offeredProcesses(ProcessFlavour flavour, const ProcessContext& context);

}  // namespace velor
