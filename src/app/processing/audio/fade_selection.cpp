#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"
#include "dsp/fade.h"

namespace velor::audio_processes {

namespace {

enum Direction : std::size_t { kIn, kOut };

constexpr ProcessParameter kParameters[] = {
    {.key = "direction",
     .label = "Fade:",
     .kind = ProcessValueKind::Choice,
     .words = "in|out",
     .help = "In rises from the quiet level to the full one, out falls."},
    {.key = "curve",
     .label = "Curve:",
     .kind = ProcessValueKind::Choice,
     .words = kFadeCurveWords,
     .help = "Exponential is slow at the quiet end, logarithmic fast; s-curve has no corner at either end; "
             "equal-power suits cross-fades of different sounds."},
    {.key = "quiet",
     .label = "Quiet level:",
     .kind = ProcessValueKind::Number,
     .unit = "%",
     .most = 1000,
     .help = "The first frame of a fade in and the last of a fade out are multiplied by this."},
    {.key = "full",
     .label = "Full level:",
     .kind = ProcessValueKind::Number,
     .unit = "%",
     .most = 1000,
     .standard = 100,
     .help = "The last frame of a fade in and the first of a fade out are multiplied by this."},
};

ProcessOutcome run(ProcessJob& job) {
    const ProcessSettings& set = job.settings;
    const double quiet = set.number("quiet") / 100, full = set.number("full") / 100;
    if (quiet == 1 && full == 1)
        return ProcessOutcome::Unchanged;
    Waveform& waveform = job.waveform();
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    const FrameSelection range = chosenFrames(job);
    const bool out = set.choice("direction") == kOut;
    const auto curve = static_cast<FadeCurve>(set.choice("curve"));
    const std::size_t channels = waveform.channels;
    const double last = static_cast<double>(range.end) - static_cast<double>(range.first) - 1;
    return editSamples(job, range, [&](std::span<float> piece, std::uint32_t first) {
        for (std::size_t i = 0; i * channels < piece.size(); ++i) {
            const double at = static_cast<double>(first - range.first) + static_cast<double>(i);
            // A single frame is the quiet end.
            const double t = !(last > 0) ? 0 : out ? (last - at) / last : at / last;
            const auto gain = static_cast<float>(quiet + (full - quiet) * fadeShare(curve, t));
            for (std::size_t c = 0; c < channels; ++c)
                piece[i * channels + c] *= gain;
        }
    });
}

}  // namespace

constinit const ProcessDefinition fadeSelection{
    run, kParameters,
    "Fades the selection in or out; both ends get exactly their levels. Frames outside it, loops, keys and "
    "regions stay as they are."};

}  // namespace velor::audio_processes
