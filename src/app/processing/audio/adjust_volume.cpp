#include <algorithm>
#include <cmath>

#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"

namespace velor::audio_processes {

namespace {

enum ApplyTo : std::size_t { kSamples, kGainSetting };
enum Beyond : std::size_t { kKeep, kClip, kLimit };

constexpr double kLimiterKnee = 0.7;  // below it the limiter passes samples as they are

constexpr ProcessParameter kParameters[] = {
    {.key = "gain",
     .label = "Gain:",
     .kind = ProcessValueKind::Number,
     .unit = "dB",
     .least = -200,
     .most = 96,
     .help = "6 dB make it about twice as large, -6 dB half."},
    {.key = "factor",
     .label = "Multiply by:",
     .kind = ProcessValueKind::Number,
     .most = 1000,
     .standard = 1,
     .help = "The same as a factor, on top of the gain; 0 is silence."},
    {.key = "ramp",
     .label = "Change the gain gradually",
     .kind = ProcessValueKind::Switch,
     .help = "From the gain at the first frame to the end gain at the last one, evenly in dB."},
    {.key = "end-gain",
     .label = "End gain:",
     .kind = ProcessValueKind::Number,
     .unit = "dB",
     .least = -200,
     .most = 96,
     .help = "Where a gradual change ends; not used without one."},
    {.key = "apply-to",
     .label = "Apply to:",
     .kind = ProcessValueKind::Choice,
     .words = "samples|gain",
     .help =
         "\"gain\" leaves the samples alone and changes the waveform's gain setting, which counts for all "
         "of it; not every file type keeps that."},
    {.key = "above-full-scale",
     .label = "Samples above full scale:",
     .kind = ProcessValueKind::Choice,
     .words = "keep|clip|limit",
     .help = "\"keep\" leaves them there and warns, \"clip\" cuts them off, \"limit\" bends everything above "
             "-3 dB softly so that nothing goes beyond full scale."},
};

float limited(double value) {
    const double size = std::fabs(value);
    if (!(size > kLimiterKnee))
        return static_cast<float>(value);
    const double bent =
        kLimiterKnee + (1 - kLimiterKnee) * std::tanh((size - kLimiterKnee) / (1 - kLimiterKnee));
    return static_cast<float>(std::copysign(bent, value));
}

void settle(std::span<float> frame, double gain, std::size_t beyond) {
    if (gain == 0) {  // also of what is not finite
        std::fill(frame.begin(), frame.end(), 0.0f);
        return;
    }
    switch (beyond) {
        case kKeep: {
            const auto factor = static_cast<float>(gain);
            for (float& sample : frame)
                sample *= factor;
            return;
        }
        case kClip: {
            const auto factor = static_cast<float>(gain);
            for (float& sample : frame)
                sample = std::clamp(sample * factor, -1.0f, 1.0f);
            return;
        }
        default:
            for (float& sample : frame)
                sample = limited(static_cast<double>(sample) * gain);
    }
}

ProcessOutcome changeGainSetting(ProcessJob& job, double gain) {
    if (job.settings.flag("ramp"))
        return processFailed("A gradual change can not be put into the gain setting");
    if (!(gain > 0))
        return processFailed("The gain setting can not be silence");
    if (gain == 1)
        return ProcessOutcome::Unchanged;
    Waveform& waveform = job.waveform();
    waveform.gain = static_cast<float>(static_cast<double>(waveform.gain) + decibelsOfFactor(gain));
    return ProcessOutcome::Changed;
}

ProcessOutcome run(ProcessJob& job) {
    const ProcessSettings& set = job.settings;
    const double start = factorOfDecibels(set.number("gain")) * set.number("factor");
    const double end = factorOfDecibels(set.number("end-gain")) * set.number("factor");
    if (set.choice("apply-to") == kGainSetting)
        return changeGainSetting(job, start);
    const std::size_t beyond = set.choice("above-full-scale");
    const bool ramp = set.flag("ramp") && start != end;
    if (!ramp && start == 1 && beyond == kKeep)
        return ProcessOutcome::Unchanged;
    Waveform& waveform = job.waveform();
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    const FrameSelection range = chosenFrames(job);
    if (!ramp && start == 1) {
        // Only peaks could change. Where there are none the samples stay exact.
        const std::size_t channels = waveform.channels;
        float peak = 0;
        if (!findPeak(
                waveform.samples().subspan(range.first * channels, (range.end - range.first) * channels),
                job.ui, peak))
            return ProcessOutcome::Failed;
        if (static_cast<double>(peak) <= (beyond == kClip ? 1 : kLimiterKnee))
            return ProcessOutcome::Unchanged;
    }
    if (!ramp)
        return editSamples(job, range,
                           [&](std::span<float> piece, std::uint32_t) { settle(piece, start, beyond); });
    const std::size_t channels = waveform.channels;
    // A single frame takes the start gain.
    const double steps = std::max(1.0, static_cast<double>(range.end - range.first) - 1);
    const double perFrame = std::log(end / start) / steps;
    return editSamples(job, range, [&](std::span<float> piece, std::uint32_t first) {
        const double from = first - range.first;
        for (std::size_t i = 0; i * channels < piece.size(); ++i)
            settle(piece.subspan(i * channels, channels),
                   start * std::exp(perFrame * (from + static_cast<double>(i))), beyond);
    });
}

}  // namespace

constinit const ProcessDefinition adjustVolume{
    run, kParameters,
    "Multiplies the selection, or the whole waveform, by a gain, which can change gradually. Loops, keys "
    "and regions stay as they are. Levels above full scale are kept and reported unless they are to be "
    "clipped or limited."};

}  // namespace velor::audio_processes
