#include "app/processing/instruments/processes.h"
#include "items/item_scope.h"
#include "items/name_format.h"

namespace velor::instrument_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "case",
     .label = "Letters",
     .kind = ProcessValueKind::Choice,
     .words = "keep|upper|lower|title",
     .help = "Title makes the first letter of each word a capital and the others small."},
    {.key = "trim",
     .label = "Trim spaces",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Takes away spaces at both ends, and makes one of several in a row."},
    {.key = "underscores",
     .label = "Underscores to spaces",
     .kind = ProcessValueKind::Switch,
     .help = "Before spaces are trimmed."},
    {.key = "file-names",
     .label = "Remove characters that file names can not have",
     .kind = ProcessValueKind::Switch,
     .help = "These are < > : \" / \\ | ? * and control characters, on whatever system."},
    {.key = "length",
     .label = "Cut to",
     .kind = ProcessValueKind::Whole,
     .unit = "characters",
     .most = 255,
     .help = "0 for any length. Names that a cut makes equal get a number at the end, within the length."},
    {.key = "unique",
     .label = "Number equal names",
     .kind = ProcessValueKind::Switch,
     .help = "All names of a kind that are equal, but for case, get numbers from 2 on; the first one stays."},
    {.key = "instruments",
     .label = "Instruments",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Format their names."},
    {.key = "layers",
     .label = "Layers",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Format their names."},
    {.key = "regions",
     .label = "Regions",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Format their names."},
    {.key = "waveforms",
     .label = "Waveforms",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Format their names."},
    {.key = "songs",
     .label = "Songs",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Format their names."},
    {.key = "tracks",
     .label = "Tracks",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Format their names."},
};

ProcessOutcome run(ProcessJob& job) {
    const ProcessSettings& set = job.settings;
    const NameFormat format{.letters = static_cast<NameCase>(set.choice("case")),
                            .trim = set.flag("trim"),
                            .underscores = set.flag("underscores"),
                            .fileSafe = set.flag("file-names"),
                            .length = static_cast<std::size_t>(set.whole("length")),
                            .unique = set.flag("unique")};
    const ItemScope scope(job.item);
    std::size_t changed = 0;
    const auto apply = [&](std::string_view key, const auto& items) {
        if (set.flag(key))
            changed += formatItemNames({items.begin(), items.end()}, format);
    };
    apply("instruments", scope.instruments);
    apply("layers", scope.layers);
    apply("regions", scope.regions);
    apply("waveforms", scope.waveforms);
    apply("songs", scope.songs);
    apply("tracks", scope.tracks);
    return changed > 0 ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition formatNames{
    run, kParameters,
    "Tidies up the names of the chosen items and of everything below them: letters, spaces, characters that "
    "file names can not have, length. Names that were different stay different. Nothing but names changes."};

}  // namespace velor::instrument_processes
