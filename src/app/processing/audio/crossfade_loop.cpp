#include "app/processing/audio/processes.h"

#include <cmath>

#include "base/error.h"
#include "dsp/loop_crossfade.h"

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "length",
     .label = "Crossfade length:",
     .kind = ProcessValueKind::Whole,
     .unit = "samples",
     .most = 4294967295.0,
     .help = "0 for the longest: the shorter of the loop and of what precedes it. Only for a single "
             "waveform; of several "
             "each is cross-faded over its own longest length."},
    {.key = "reverse", .label = kCrossfadeReverseText, .kind = ProcessValueKind::Switch},
    {.key = "exponential", .label = kCrossfadeExponentialText, .kind = ProcessValueKind::Switch},
};

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    if (!waveform.looped)
        return ProcessOutcome::Unchanged;
    const std::uint32_t longest = longestCrossfade(waveform);
    // In a list, such loops are left as they are.
    if (longest == 0)
        return job.count > 1 ? ProcessOutcome::Unchanged
                             : processFailed("There is nothing before the loop start to cross-fade with");
    LoopCrossfade fade{.start = static_cast<std::uint32_t>(std::floor(waveform.loopStart)),
                       .end = static_cast<std::uint32_t>(std::ceil(waveform.loopEnd)),
                       .reverse = job.settings.flag("reverse"),
                       .exponential = job.settings.flag("exponential")};
    if (job.count == 1) {
        fade.length = static_cast<std::uint32_t>(job.settings.whole("length"));
        if (fade.length > longest)
            return processFailed(crossfadeTooLongText(longest));
    }
    LastErrorText.clear();
    if (crossfadeLoop(waveform, fade, job.ui))
        return ProcessOutcome::Changed;
    return LastErrorText.empty() ? processFailed("The loop does not lie within the waveform")
                                 : ProcessOutcome::Failed;
}

}  // namespace

constinit const ProcessDefinition crossfadeLoopProcess{run, kParameters, kCrossfadePageText};

}  // namespace velor::audio_processes
