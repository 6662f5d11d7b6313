#include "app/processing/process.h"

#include <algorithm>

#include "base/error.h"
#include "dsp/loop_crossfade.h"

namespace velor {

std::vector<Waveform*> ProcessContext::waveforms() const {
    std::vector<Waveform*> waveforms;
    for (const ItemId id : items) {
        if (Waveform* waveform = collection->find<Waveform>(id))
            waveforms.push_back(waveform);
    }
    return waveforms;
}

FrameSelection ProcessJob::range() const {
    const std::uint32_t frames = waveform().frames;
    if (!context.selection)
        return {0, frames};
    const std::uint32_t first = std::min(context.selection->first, frames);
    return {first, std::clamp(context.selection->end, first, frames)};
}

ProcessOutcome cancelled() {
    return processFailed(kProcessingCancelled);
}

ProcessOutcome processFailed(std::string_view message) {
    fail(message);
    return ProcessOutcome::Failed;
}

}  // namespace velor
