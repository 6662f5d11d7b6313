#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "app/processing/instruments/processes.h"
#include "base/error.h"
#include "dsp/editable_samples.h"
#include "items/item_scope.h"
#include "items/region_loop.h"

namespace velor::instrument_processes {

namespace {

// Kept behind the last loop, for samplers whose interpolation reads over the end of a loop.
constexpr std::uint32_t kKept = 32;

// How many frames of a waveform its regions ever play, and the loop that ends there.
struct Played {
    std::uint32_t frames = 0;
    RegionLoop last;
    bool all = false;

    void add(const Waveform& waveform, const RegionLoop& loop) {
        if (!loop.on || loop.untilRelease) {
            all = true;
            return;
        }
        const auto end = static_cast<std::uint32_t>(std::min<double>(std::ceil(loop.end), waveform.frames));
        if (end > frames) {
            frames = end;
            last = loop;
        }
    }
};

// The frame that is heard i frames behind the loop's end.
std::uint32_t continued(const RegionLoop& loop, std::uint32_t i) {
    const auto start = static_cast<std::uint32_t>(loop.start), end = static_cast<std::uint32_t>(loop.end);
    const std::uint32_t length = end - start;
    const std::uint32_t pass = i / length, at = i % length;
    // There and back turns at both ends; backwards, the first pass is forwards and all others are not.
    const bool back =
        loop.mode == LoopMode::Backward || (loop.mode == LoopMode::Alternating && pass % 2 == 0);
    return back ? end - 1 - at : start + at;
}

// The first frames of a waveform; empty with LastErrorText.
SampleBufferRef trimmedCopy(const Waveform& waveform, const Played& played, std::uint32_t frames,
                            UserInterface& ui) {
    SampleBufferRef copy = editableCopy(waveform, frames, ui);
    const std::span<const float> from = waveform.samples();
    if (!copy)
        return copy;
    if (from.size() < copy->sampleCount()) {
        fail(kReadFailed);
        return {};
    }
    // Between whole frames there is no frame to take; what follows the loop is then the best there is.
    if (played.last.start != std::floor(played.last.start) || played.last.end != std::floor(played.last.end))
        return copy;
    const std::size_t channels = waveform.channels;
    for (std::uint32_t i = 0; played.frames + i < frames; ++i)
        std::copy_n(from.data() + continued(played.last, i) * channels, channels,
                    copy->data() + (std::size_t{played.frames} + i) * channels);
    return copy;
}

ProcessOutcome run(ProcessJob& job) {
    std::unordered_map<const Waveform*, Played> played;
    // Whoever plays a waveform counts, also outside of what is processed.
    for (const Region* region : job.collection().all<Region>()) {
        if (const Waveform* waveform = region->waveform())
            played[waveform].add(*waveform, regionLoop(*waveform, region->overrides));
    }
    struct Trimmed {
        Waveform* waveform;
        SampleBufferRef samples;
    };
    std::vector<Trimmed> trimmed;
    const std::vector<Waveform*> waveforms = ItemScope(job.item).waveforms;
    for (std::size_t i = 0; i < waveforms.size(); ++i) {
        job.ui.progress(static_cast<double>(i) / static_cast<double>(waveforms.size()));
        Waveform& waveform = *waveforms[i];
        const auto found = played.find(&waveform);
        if (found == played.end())
            continue;
        // The waveform's own loop must not end up outside of it.
        if (waveform.looped)
            found->second.add(waveform, regionLoop(waveform, {}));
        const Played& needed = found->second;
        const std::uint64_t frames = std::uint64_t{needed.frames} + kKept;
        if (needed.all || frames >= waveform.frames)
            continue;
        if (job.ui.aborted())
            return cancelled();
        const bool wasLoaded = waveform.samplesLoaded();
        if (!waveform.loadSamples())
            return ProcessOutcome::Failed;
        SampleBufferRef samples = trimmedCopy(waveform, needed, static_cast<std::uint32_t>(frames), job.ui);
        if (!wasLoaded && waveform.source())
            waveform.releaseSamples();
        if (!samples)
            return ProcessOutcome::Failed;
        trimmed.push_back({&waveform, std::move(samples)});
    }
    std::uint64_t freed = 0;
    for (Trimmed& each : trimmed) {
        freed += each.waveform->frames - each.samples->frames();
        each.waveform->replaceSamples(std::move(each.samples));
    }
    if (trimmed.empty())
        return ProcessOutcome::Unchanged;
    job.measure("frames cut off", static_cast<double>(freed), "frames");
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition trimToRegions{
    .run = run,
    .help =
        "Cuts off the ends of waveforms that no region can play: what follows the last loop, unless it is "
        "heard after the key is released. 32 frames stay behind the loop and continue it. Start and end "
        "offsets of regions are applied when a file is read, so nothing else has to be cut here; loops and "
        "root keys stay."};

}  // namespace velor::instrument_processes
