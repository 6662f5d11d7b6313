#include "app/processing/audio/processes.h"
#include "items/key_in_name.h"

#include "base/text.h"

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "prefer",
     .label = "Where a name holds both, prefer",
     .kind = ProcessValueKind::Choice,
     .words = "notes|numbers|only-notes|only-numbers",
     .help = "notes: names of notes, then numbers that are surely MIDI keys (\"060\", \"key 60\"); numbers: "
             "also any other number from 0 to 127, then notes."},
    {.key = "middle-c",
     .label = "Middle C is called",
     .kind = ProcessValueKind::Choice,
     .words = "as-shown|C3|C4|C5",
     .help = "as-shown: as the application names keys."},
    {.key = "german",
     .label = "German note names",
     .kind = ProcessValueKind::Switch,
     .help = "H is the note below C and B the one below that; Cis, Es and As are read too."},
};

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    const std::size_t middle = job.settings.choice("middle-c");
    const KeyInName options{
        .prefer = static_cast<KeyInName::Prefer>(job.settings.choice("prefer")),
        .octaveOfMiddleC = middle ? static_cast<int>(middle) + 2 : job.context.naming.octaveOfMiddleC,
        .german = job.settings.flag("german")};
    const auto key = keyInName(displayText(waveform.name()), options);
    if (!key || *key == waveform.rootKey)
        return ProcessOutcome::Unchanged;
    waveform.rootKey = *key;
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition keyFromName{
    run, kParameters,
    "Reads the root key from the waveform's name: \"Piano C#3\", \"pno_Db4_vel2\", \"Violin-060\". Sets it "
    "only where the name says one key for certain. Samples, tuning and loops stay, and so do root keys that "
    "regions set for themselves."};

}  // namespace velor::audio_processes
