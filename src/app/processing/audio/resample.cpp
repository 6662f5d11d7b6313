#include "app/processing/audio/processes.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "base/rounding.h"
#include "dsp/resampler.h"
#include "items/region_loop.h"

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "method",
     .label =
         "Resample the waveform time domain (i.e. 'convert' the sample rate') using the following algorithm:",
     .kind = ProcessValueKind::Choice,
     .standard = 8,
     .words = kResampleMethodWords,
     .help = "The filters are named by the bits of signal to noise they are made for; auto is fir20 for "
             "waveforms of "
             "more than 16 bits and fir16 for others. Use a filter for un-looped waveforms and cubic for "
             "looped ones."},
    {.key = "rate",
     .label = "New sample rate:",
     .kind = ProcessValueKind::Whole,
     .unit = "Hz",
     .most = 2147483647,
     .help = "0 for none. Without rate and length, several waveforms go to 44100 Hz."},
    {.key = "length",
     .label = "New length:",
     .kind = ProcessValueKind::Whole,
     .unit = "wavesamples",
     .most = 4294967295.0,
     .help = "Only for a single waveform, and only without a rate; 0 for none."},
    {.key = "only-downsample",
     .label = "Only downsample (i.e. never incread s-rate)",
     .kind = ProcessValueKind::Switch,
     .help = "Leaves waveforms alone whose rate is the new one or less."},
};

ProcessOutcome resampleBy(ProcessJob& job, std::uint32_t newLength, std::uint32_t newRate, double ratio) {
    Waveform& waveform = job.waveform();
    const auto method = static_cast<std::uint8_t>(job.settings.choice("method"));
    if (!Resample(waveform, waveform, newLength, newRate, method, ratio, &job.ui))
        return ProcessOutcome::Failed;
    RescaleRegionLoops(job.collection(), waveform, static_cast<float>(ratio));
    // Rounding may have put the end of a loop behind the last frame.
    FixUpLists lists;
    waveform.fixUp(lists);
    limitLoopOverrides(waveform);
    return ProcessOutcome::Changed;
}

ProcessOutcome run(ProcessJob& job) {
    const Waveform& waveform = job.waveform();
    auto rate = static_cast<std::uint32_t>(job.settings.whole("rate"));
    auto length = static_cast<std::uint32_t>(job.settings.whole("length"));
    const bool single = job.count == 1;
    if (!single && rate == 0 && !job.settings.isSet("rate"))
        rate = 44100;
    if (rate == 0 && (length == 0 || !single))
        return processFailed("Invalid length or frequency specified");
    // The frame count is certain only when the samples are there.
    if (!job.waveform().loadSamples())
        return ProcessOutcome::Failed;
    if (waveform.frames == 0 || waveform.sampleRate == 0)
        return ProcessOutcome::Unchanged;
    if (rate != 0 && job.settings.flag("only-downsample") && waveform.sampleRate <= rate)
        return ProcessOutcome::Unchanged;
    const double oldRate = waveform.sampleRate;
    const double oldLength = waveform.frames;
    if (!single) {
        const double ratio = rate / oldRate;
        const double frames = std::trunc(oldLength * ratio);
        if (frames > 4294967295.0)
            return processFailed("The resampled waveform would be too long");
        // Counted also when the rate is the same and nothing happens, as for every waveform of the list.
        return resampleBy(job, static_cast<std::uint32_t>(frames), rate, ratio);
    }
    // What the page fills in: each field from the other.
    if (rate != 0) {
        const double frames = std::trunc(oldLength * rate / oldRate + 0.499);
        if (frames > 4294967295.0)
            return processFailed("The resampled waveform would be too long");
        length = static_cast<std::uint32_t>(frames);
    } else {
        rate = static_cast<std::uint32_t>(
            std::min(4294967295.0, std::trunc(oldRate * length / oldLength + 0.499)));
    }
    // The larger of the two numbers gives the finer ratio.
    const double ratio = length > rate ? length / oldLength : rate / oldRate;
    if (ratio == 1.0)
        return ProcessOutcome::Unchanged;
    return resampleBy(job, length, rate, ratio);
}

}  // namespace

constinit const ProcessDefinition resampleProcess{
    run, kParameters,
    "Changes the sample rate, or the length, which is the same: the number of frames is multiplied by a "
    "ratio and every "
    "new frame is read between old ones. Loops and the loop overrides of regions follow."};

}  // namespace velor::audio_processes
