#include "app/processing/audio/processes.h"

#include "base/error.h"

#include <map>

namespace velor::audio_processes {

namespace {

// The file's name without folders and extension. Paths of files that were read elsewhere may have either
// separator.
std::string_view fileStem(std::string_view path) {
    if (const std::size_t separator = path.find_last_of("/\\"); separator != std::string_view::npos)
        path.remove_prefix(separator + 1);
    const std::size_t dot = path.rfind('.');
    return dot == std::string_view::npos || dot == 0 ? path : path.substr(0, dot);
}

// The place of each waveform, from 1 on, among those that come from the same file; none for an only one.
struct Places final : ProcessState {
    explicit Places(const Collection& collection) {
        std::map<std::string_view, std::vector<ItemId>> files;
        for (const Waveform* waveform : collection.all<Waveform>())
            files[waveform->sourceFile].push_back(waveform->id());
        for (const auto& [file, waveforms] : files) {
            for (std::size_t i = 0; waveforms.size() > 1 && i < waveforms.size(); ++i)
                of[waveforms[i]] = i + 1;
        }
    }
    std::map<ItemId, std::size_t> of;
};

ProcessOutcome run(ProcessJob& job) {
    std::string name(fileStem(job.waveform().sourceFile));
    if (name.empty())
        return ProcessOutcome::Unchanged;
    if (!job.state)
        job.state = std::make_unique<Places>(job.collection());
    const auto& places = static_cast<const Places&>(*job.state).of;
    if (const auto place = places.find(job.item.id()); place != places.end())
        name += formatText(" %u", static_cast<unsigned>(place->second));
    if (name == job.item.name())
        return ProcessOutcome::Unchanged;
    job.item.setName(name);
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition nameFromFile{
    .run = run,
    .help =
        "Names each waveform after the file that it was read from, without folders and extension. Several "
        "from one file are numbered; a waveform whose file is not known keeps its name. Nothing but names "
        "changes."};

}  // namespace velor::audio_processes
