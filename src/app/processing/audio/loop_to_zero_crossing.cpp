#include "app/processing/audio/processes.h"
#include "base/error.h"
#include "base/rounding.h"
#include "base/text.h"
#include "dsp/editable_samples.h"
#include "dsp/frame_edit.h"

#include <algorithm>
#include <cmath>

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "range",
     .label = "Move points by at most",
     .kind = ProcessValueKind::Number,
     .unit = "ms",
     .most = 10000,
     .standard = 25,
     .help = "Where there is no crossing that near, the loop stays as it is."},
    {.key = "keep-length",
     .label = "Keep the length of the loop",
     .kind = ProcessValueKind::Switch,
     .help = "Moves the end as far as the start, which keeps a tuned loop in tune."},
    {.key = "regions",
     .label = "Also loops that regions set for themselves",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Those of which both ends are the region's own."},
};

// Zero crossings of the sum of all channels.
class Crossings {
  public:
    Crossings(const Waveform& waveform, std::int64_t range, UserInterface& ui)
        : samples_(waveform.samples()), channels_(waveform.channels), range_(range), ui_(ui) {
        frames_ = static_cast<std::int64_t>(samples_.size() / channels_);
    }

    // The frame nearest to `frame` that is the first at or above zero after one below (for falling ones the
    // other way round), at `least` or later; -1 when none is in range. Sets `aborted` when the user does.
    std::int64_t nearest(std::int64_t frame, bool rising, std::int64_t least, bool& aborted) const {
        least = std::max<std::int64_t>(least, 1);
        const std::int64_t reach =
            std::min(range_, std::max(std::abs(frame - least), std::abs(frames_ - frame)));
        for (std::int64_t distance = 0; distance <= reach; ++distance) {
            if (distance % kBlock == 0 && ui_.aborted()) {
                aborted = true;
                return -1;
            }
            for (const std::int64_t at : {frame - distance, frame + distance}) {
                if (at >= least && at < frames_ && crosses(at, rising))
                    return at;
            }
        }
        return -1;
    }
    std::int64_t frames() const { return frames_; }

  private:
    static constexpr std::int64_t kBlock = 1 << 16;

    double sum(std::int64_t frame) const {
        double total = 0;
        for (unsigned channel = 0; channel < channels_; ++channel) {
            const float sample = samples_[static_cast<std::size_t>(frame) * channels_ + channel];
            total += std::isfinite(sample) ? static_cast<double>(sample) : 0.0;
        }
        return total;
    }
    bool crosses(std::int64_t frame, bool rising) const {
        const double before = sum(frame - 1), here = sum(frame);
        return rising ? before < 0 && here >= 0 : before > 0 && here <= 0;
    }

    std::span<const float> samples_;
    unsigned channels_;
    std::int64_t range_;
    std::int64_t frames_;
    UserInterface& ui_;
};

enum class Search { Found, None, Aborted };

// The pair of crossings of one direction to which the points move least.
Search moveLoop(const Crossings& crossings, bool keepLength, LoopPoints& loop) {
    const auto last = crossings.frames();
    const auto start = std::clamp<std::int64_t>(roundToInteger(loop.start), 0, last);
    const auto end = std::clamp<std::int64_t>(roundToInteger(loop.end), 0, last);
    std::int64_t best = -1;
    bool aborted = false;
    for (const bool rising : {true, false}) {
        const std::int64_t newStart = crossings.nearest(start, rising, 1, aborted);
        if (aborted)
            return Search::Aborted;
        if (newStart < 0)
            continue;
        const std::int64_t newEnd =
            keepLength ? newStart + (end - start) : crossings.nearest(end, rising, newStart + 1, aborted);
        if (aborted)
            return Search::Aborted;
        if (newEnd < 0 || newEnd > last)
            continue;
        const std::int64_t moved = std::abs(newStart - start) + std::abs(newEnd - end);
        if (best < 0 || moved < best) {
            best = moved;
            loop = {static_cast<double>(newStart), static_cast<double>(newEnd)};
        }
    }
    return best < 0 ? Search::None : Search::Found;
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    const bool keepLength = job.settings.flag("keep-length");
    if (!(waveform.loopEnd > waveform.loopStart) || !waveform.looped)
        return ProcessOutcome::Unchanged;
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    const auto range =
        static_cast<std::int64_t>(framesOfTime(job.settings.number("range"), waveform.sampleRate));
    const Crossings crossings(waveform, range, job.ui);
    const LoopPoints before{waveform.loopStart, waveform.loopEnd};
    LoopPoints moved = before;
    std::vector<std::pair<Region*, LoopPoints>> regions;
    bool missed = false;
    const auto move = [&](LoopPoints& loop) {
        const Search search = moveLoop(crossings, keepLength, loop);
        missed |= search == Search::None;
        return search != Search::Aborted;
    };
    if (!move(moved))
        return cancelled();
    for (Region* region : job.collection().all<Region>()) {
        const RegionOverrides& own = region->overrides;
        if (!job.settings.flag("regions") || region->waveform() != &waveform ||
            !own.has(RegionOverrides::LoopStart) || !own.has(RegionOverrides::LoopEnd) ||
            own.loopEnd <= own.loopStart)
            continue;
        LoopPoints loop{static_cast<double>(own.loopStart), static_cast<double>(own.loopEnd)};
        if (!move(loop))
            return cancelled();
        regions.emplace_back(region, loop);
    }
    if (missed)
        job.ui.warn({"\"" + displayText(job.report.name) +
                         "\" has no matching zero crossings near the points of a loop, which stays as it is",
                     "", 0});
    bool changed = moved != before;
    waveform.loopStart = moved.start;
    waveform.loopEnd = moved.end;
    for (const auto& [region, loop] : regions) {
        RegionOverrides own = region->overrides;
        own.loopStart = static_cast<std::uint32_t>(loop.start);
        own.loopEnd = static_cast<std::uint32_t>(loop.end);
        changed |= own != region->overrides;
        region->overrides = own;
    }
    return changed ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition loopToZeroCrossing{
    run, kParameters,
    "Moves both loop points to the nearest places where the sum of all channels passes zero in the same "
    "direction, so that the jump from end to start is small. The samples stay as they are; the loop changes "
    "its length a little, and with it the pitch of very short loops, unless you keep the length."};

}  // namespace velor::audio_processes
