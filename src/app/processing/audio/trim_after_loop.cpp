#include "app/processing/audio/processes.h"
#include "base/error.h"
#include "base/text.h"
#include "dsp/frame_edit.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "keep",
     .label = "Frames to keep after the loop",
     .kind = ProcessValueKind::Whole,
     .unit = "frames",
     .most = 65536,
     .standard = 32,
     .help = "Samplers that read ahead while they interpolate want some."},
    {.key = "continue",
     .label = "Let them continue the loop",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "The frames after the loop repeat its beginning, so that reading ahead finds what will be "
             "played. Otherwise those that are there stay and only missing ones are added."},
    {.key = "force",
     .label = "Also where the end is heard",
     .kind = ProcessValueKind::Switch,
     .help = "Trims waveforms that loop until the key is released, and those that some region plays without "
             "a loop."},
};

struct PlayedLoop {
    bool on = false;
    LoopMode mode = LoopMode::Forward;
    LoopPoints points;
};

PlayedLoop playedBy(const Waveform& waveform, const RegionOverrides& own) {
    PlayedLoop loop{waveform.looped, waveform.loopMode, {waveform.loopStart, waveform.loopEnd}};
    if (own.has(RegionOverrides::Looped))
        loop.on = own.looped;
    if (own.has(RegionOverrides::LoopModeFlag))
        loop.mode = own.loopMode;
    if (own.has(RegionOverrides::LoopStart))
        loop.points.start = own.loopStart;
    if (own.has(RegionOverrides::LoopEnd))
        loop.points.end = own.loopEnd;
    loop.on = loop.on && loop.points.start >= 0 && loop.points.end > loop.points.start &&
              loop.points.start < waveform.frames;
    loop.points.end = std::min<double>(loop.points.end, waveform.frames);
    return loop;
}

// What a player hears behind the loop's last frame.
std::vector<float> continuation(const Waveform& waveform, const PlayedLoop& loop, std::uint64_t endFrame,
                                std::uint64_t count) {
    const std::size_t channels = waveform.channels;
    const std::span<const float> samples = waveform.samples();
    const auto start = static_cast<std::uint64_t>(loop.points.start);
    const std::uint64_t length = std::max<std::uint64_t>(endFrame - start, 1);
    const double exactLength = loop.points.end - loop.points.start;
    const bool between =
        loop.mode == LoopMode::Forward && exactLength >= 1 && exactLength != std::floor(exactLength);
    std::vector<float> frames(count * channels);
    for (std::uint64_t i = 0; i < count; ++i) {
        double position = 0;
        switch (loop.mode) {
            case LoopMode::Alternating: {
                const std::uint64_t step = i % length;
                position = static_cast<double>(i / length % 2 == 0 ? endFrame - 1 - step : start + step);
                break;
            }
            case LoopMode::Backward:
                position = static_cast<double>(endFrame - 1 - i % length);
                break;
            default:
                position = between ? loop.points.start +
                                         std::fmod(static_cast<double>(endFrame + i) - loop.points.start,
                                                   exactLength)
                                   : static_cast<double>(start + i % length);
        }
        const double whole = std::floor(position);
        const auto at = std::min<std::uint64_t>(static_cast<std::uint64_t>(whole), waveform.frames - 1u);
        const std::uint64_t next = std::min<std::uint64_t>(at + 1, waveform.frames - 1u);
        const auto share = static_cast<float>(position - whole);
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const float a = samples[at * channels + channel];
            const float b = samples[next * channels + channel];
            frames[i * channels + channel] = share == 0 ? a : a + share * (b - a);
        }
    }
    return frames;
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    if (!waveform.looped)
        return ProcessOutcome::Unchanged;
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    // The loop that ends last decides.
    PlayedLoop last = playedBy(waveform, {});
    if (!last.on)
        return processFailed("The loop lies outside of the data");
    bool endHeard = waveform.loopUntilRelease || waveform.playThrough;
    for (const Region* region : job.collection().all<Region>()) {
        if (region->waveform() != &waveform)
            continue;
        const PlayedLoop loop = playedBy(waveform, region->overrides);
        endHeard |= !loop.on;
        if (loop.on && loop.points.end > last.points.end)
            last = loop;
    }
    if (endHeard && !job.settings.flag("force")) {
        job.ui.warn(
            {"\"" + displayText(job.report.name) + "\" stays as it is: what follows its loop is heard", "",
             0});
        return ProcessOutcome::Unchanged;
    }
    const auto endFrame = static_cast<std::uint32_t>(std::ceil(last.points.end));
    const auto wanted = static_cast<std::uint64_t>(job.settings.whole("keep"));
    const std::uint64_t present = std::min<std::uint64_t>(wanted, waveform.frames - endFrame);
    const std::uint64_t untouched = job.settings.flag("continue") ? 0 : present;
    const std::vector<float> after = continuation(waveform, last, endFrame, wanted);
    const std::size_t channels = waveform.channels;
    const std::span<const float> tail =
        std::as_const(waveform).samples().subspan((endFrame + untouched) * channels);
    if (waveform.frames == endFrame + wanted &&
        (tail.empty() ||
         std::memcmp(tail.data(), after.data() + untouched * channels, tail.size_bytes()) == 0))
        return ProcessOutcome::Unchanged;
    const auto from = static_cast<std::uint32_t>(endFrame + untouched);
    const auto to = static_cast<std::uint32_t>(endFrame + present);
    FrameEdit edit(waveform);
    edit.keep(0, from);
    edit.replace(from, to, std::span(after).subspan(untouched * channels));
    edit.insert(std::span(after).subspan(present * channels));
    return applyFrameEdit(job.collection(), waveform, edit, job.ui) ? ProcessOutcome::Changed
                                                                    : ProcessOutcome::Failed;
}

}  // namespace

constinit const ProcessDefinition trimAfterLoop{
    run, kParameters,
    "Removes what follows the loop and is never heard, but for a few frames that samplers read ahead. The "
    "loop stays; where regions have loops of their own the one that ends last counts. Waveforms whose end is "
    "heard, after the release of a key or in regions without a loop, are left alone."};

}  // namespace velor::audio_processes
