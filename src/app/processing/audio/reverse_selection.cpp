#include <algorithm>
#include <utility>

#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"
#include "dsp/sample_blocks.h"

namespace velor::audio_processes {

namespace {

// Loops that lie within the reversed frames keep their sound: what was their end is their start. Others keep
// their place.
class LoopMirror {
  public:
    explicit LoopMirror(FrameSelection range) : first_(range.first), end_(range.end) {}

    bool holds(double start, double end) const { return start >= first_ && start < end && end <= end_; }
    double mirrored(double place) const { return first_ + end_ - place; }

  private:
    double first_;
    double end_;
};

std::uint32_t frameOf(double place) {
    return place > 0 ? static_cast<std::uint32_t>(std::min(place, 4294967295.0)) : 0;
}

void mirrorRegions(Collection& collection, const Waveform& waveform, const LoopMirror& mirror) {
    constexpr std::uint8_t kBoth = RegionOverrides::LoopStart | RegionOverrides::LoopEnd;
    for (Region* region : collection.all<Region>()) {
        RegionOverrides& own = region->overrides;
        if (region->waveform() != &waveform || !(own.flags & kBoth))
            continue;
        const double start = own.has(RegionOverrides::LoopStart) ? own.loopStart : waveform.loopStart;
        const double end = own.has(RegionOverrides::LoopEnd) ? own.loopEnd : waveform.loopEnd;
        const bool waveformMoves = mirror.holds(waveform.loopStart, waveform.loopEnd);
        if (!mirror.holds(start, end)) {
            // It stays where it is, also where it used a point of the waveform that moves away.
            if (waveformMoves) {
                own.flags |= kBoth;
                own.loopStart = frameOf(start);
                own.loopEnd = frameOf(end);
            }
            continue;
        }
        // A region's own end becomes its own start; where the waveform's point was good, its mirrored one is.
        const bool ownStart = own.has(RegionOverrides::LoopStart), ownEnd = own.has(RegionOverrides::LoopEnd);
        own.flags &= static_cast<std::uint8_t>(~kBoth);
        own.flags |= static_cast<std::uint8_t>((ownEnd ? RegionOverrides::LoopStart : 0) |
                                               (ownStart ? RegionOverrides::LoopEnd : 0));
        // When only the region's loop moves along, the waveform's point is no longer what it needs.
        if (!waveformMoves)
            own.flags |= kBoth;
        own.loopStart = frameOf(mirror.mirrored(end));
        own.loopEnd = frameOf(mirror.mirrored(start));
    }
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    const FrameSelection range = chosenFrames(job);
    if (range.end - range.first < 2)
        return ProcessOutcome::Unchanged;
    SampleBufferRef copy = editableCopy(waveform, waveform.frames, job.ui);
    if (!copy)
        return ProcessOutcome::Failed;
    const std::size_t channels = waveform.channels;
    const auto frames = copy->samples().subspan(range.first * channels, (range.end - range.first) * channels);
    const std::size_t count = range.end - range.first;
    if (!inBlocks(count / 2, job.ui, {}, [&](std::size_t first, std::size_t many) {
            for (std::size_t i = first; i < first + many; ++i) {
                for (std::size_t c = 0; c < channels; ++c)
                    std::swap(frames[i * channels + c], frames[(count - 1 - i) * channels + c]);
            }
        }))
        return ProcessOutcome::Failed;
    waveform.replaceSamples(std::move(copy));
    const LoopMirror mirror(range);
    mirrorRegions(job.collection(), waveform, mirror);
    if (mirror.holds(waveform.loopStart, waveform.loopEnd)) {
        const double start = mirror.mirrored(waveform.loopEnd);
        waveform.loopEnd = mirror.mirrored(waveform.loopStart);
        waveform.loopStart = start;
    }
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition reverseSelection{
    .run = run,
    .help =
        "Turns the selection round in time, or the whole waveform when nothing is selected. A loop that "
        "lies within it moves along, also that of regions with loop points of their own; a loop that only "
        "partly does stays where it is. Keys are not touched."};

}  // namespace velor::audio_processes
