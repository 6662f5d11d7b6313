#include <algorithm>
#include <cmath>

#include "app/processing/audio/level_measures.h"
#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "together",
     .label = "The same gain for all",
     .kind = ProcessValueKind::Switch,
     .help = "Raises all waveforms of the list by what the loudest of them allows, so that their balance "
             "stays."},
};

struct CommonFactor final : ProcessState {
    double factor = 1;
};

// What brings the waveform's peak to full scale. Infinite for silence. One that has reached the largest
// number of its format is at full scale: its samples stay exact.
bool findFactor(Waveform& waveform, UserInterface& ui, double to, double& factor) {
    Levels levels;
    if (!waveform.loadSamples() || !measureLevels(waveform, {}, ui, levels, 0, to))
        return false;
    const auto full = static_cast<double>(fullScaleOf(waveform));
    factor = levels.peak >= full && levels.peak <= 1 ? 1 : full / levels.peak;
    return true;
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    double factor = 1;
    constexpr double kMeasured = 0.3;  // of the progress
    if (job.settings.flag("together")) {
        if (!job.state) {
            auto common = std::make_unique<CommonFactor>();
            common->factor = HUGE_VAL;
            for (Waveform* each : job.context.waveforms()) {
                double own = 1;
                if (findFactor(*each, job.ui, 0, own))
                    common->factor = std::min(common->factor, own);
                else if (job.ui.aborted())
                    return cancelled();
            }
            job.state = std::move(common);
        }
        factor = static_cast<const CommonFactor&>(*job.state).factor;
        if (!waveform.loadSamples())
            return ProcessOutcome::Failed;
    } else if (!findFactor(waveform, job.ui, kMeasured, factor)) {
        return ProcessOutcome::Failed;
    }
    if (factor == 1 || !(factor < kLargestFactor))
        return ProcessOutcome::Unchanged;
    const auto gain = static_cast<float>(factor);
    const ProcessOutcome outcome = editSamples(
        job, {0, waveform.frames},
        [=](std::span<float> piece, std::uint32_t) {
            for (float& sample : piece)
                sample *= gain;
        },
        kMeasured);
    if (outcome == ProcessOutcome::Changed)
        job.measure("gain", decibelsOfFactor(factor), "dB");
    return outcome;
}

}  // namespace

constinit const ProcessDefinition maximizeAmplitude{
    run, kParameters,
    "Multiplies each waveform so that its largest sample reaches full scale, down as well as up. Silence and "
    "what is at full scale stay as they are. Loops, keys and regions are not touched."};

}  // namespace velor::audio_processes
