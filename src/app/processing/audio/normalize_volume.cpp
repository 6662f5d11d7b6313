#include <algorithm>
#include <cmath>
#include <limits>

#include "app/processing/audio/level_measures.h"
#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"

namespace velor::audio_processes {

namespace {

enum Measure : std::size_t { kLoudness, kRms, kPeak, kTruePeak };
enum Balance : std::size_t { kEach, kTogether };

constexpr double kSmallestChange = 0.005;  // dB: what nobody hears is not worth new samples

constexpr ProcessParameter kParameters[] = {
    {.key = "measure",
     .label = "Bring to the same:",
     .kind = ProcessValueKind::Choice,
     .words = "loudness|rms|peak|true-peak",
     .help = "Loudness after EBU R 128 is closest to what is heard; the true peak is that of the sound "
             "between the samples."},
    {.key = "loudness",
     .label = "Loudness:",
     .kind = ProcessValueKind::Number,
     .unit = "LUFS",
     .least = -70,
     .standard = -18,
     .help = "-18 suits sampled instruments and is what players level music to; broadcasters ask for -23."},
    {.key = "rms",
     .label = "RMS level:",
     .kind = ProcessValueKind::Number,
     .unit = "dBFS",
     .least = -100,
     .standard = -18,
     .help = "0 is a square wave of full scale, a full-scale sine has -3."},
    {.key = "peak",
     .label = "Peak:",
     .kind = ProcessValueKind::Number,
     .unit = "dBFS",
     .least = -100,
     .most = 20,
     .help = "The largest sample."},
    {.key = "true-peak",
     .label = "True peak:",
     .kind = ProcessValueKind::Number,
     .unit = "dBTP",
     .least = -100,
     .most = 20,
     .standard = -1,
     .help = "The largest value of the sound between the samples."},
    {.key = "limit",
     .label = "Keep the true peak below the ceiling",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Where loudness or RMS level would drive the true peak above the ceiling the gain is less, and "
             "the waveform stays quieter; nothing is clipped."},
    {.key = "ceiling",
     .label = "Ceiling:",
     .kind = ProcessValueKind::Number,
     .unit = "dBTP",
     .least = -60,
     .most = 0,
     .standard = -1,
     .help = "What the true peak may reach."},
    {.key = "balance",
     .label = "Gain:",
     .kind = ProcessValueKind::Choice,
     .words = "each|together",
     .help = "\"each\" brings every waveform to the level; \"together\" gives all in the list the one gain "
             "that brings the loudest of them there, so that their balance stays."},
};

struct Level {
    double value = Loudness::kSilence;     // in the unit of the target
    double truePeak = Loudness::kSilence;  // dBTP; only where the ceiling counts
};

bool hasCeiling(const ProcessSettings& set) {
    return set.flag("limit") && (set.choice("measure") == kLoudness || set.choice("measure") == kRms);
}

double target(const ProcessSettings& set) {
    static constexpr const char* kTargets[] = {"loudness", "rms", "peak", "true-peak"};
    return set.number(kTargets[set.choice("measure")]);
}

bool measure(Waveform& waveform, const ProcessSettings& set, UserInterface& ui, double from, double to,
             Level& level) {
    if (!waveform.loadSamples())
        return false;
    const std::size_t what = set.choice("measure");
    Levels levels;
    if (!measureLevels(waveform,
                       {.truePeak = what == kTruePeak || hasCeiling(set),
                        .rms = what == kRms,
                        .loudness = what == kLoudness},
                       ui, levels, from, to))
        return false;
    level.truePeak = decibelsOfFactor(levels.truePeak);
    switch (what) {
        case kLoudness:
            level.value = levels.loudness.integrated;
            break;
        case kRms:
            level.value = decibelsOfFactor(levels.rms);
            break;
        case kPeak:
            level.value = decibelsOfFactor(levels.peak);
            break;
        default:
            level.value = level.truePeak;
    }
    return true;
}

// The gain in dB; 0 for silence, which no gain brings anywhere.
double gainFor(const Level& level, const ProcessSettings& set) {
    if (!std::isfinite(level.value))
        return 0;
    const double gain = target(set) - level.value;
    return hasCeiling(set) ? std::min(gain, set.number("ceiling") - level.truePeak) : gain;
}

struct CommonGain final : ProcessState {
    double gain = 0;
};

// The levels of all waveforms in the list, measured when the first has its turn. One that can not be measured
// does not count.
bool measureTogether(ProcessJob& job, double to, CommonGain& common) {
    const std::vector<Waveform*> waveforms = job.context.waveforms();
    const double part = to / static_cast<double>(waveforms.size());
    Level loudest;
    for (std::size_t i = 0; i < waveforms.size(); ++i) {
        Level level;
        const double from = part * static_cast<double>(i);
        if (!measure(*waveforms[i], job.settings, job.ui, from, from + part, level)) {
            if (job.ui.aborted())
                return false;
            continue;
        }
        loudest.value = std::max(loudest.value, level.value);
        loudest.truePeak = std::max(loudest.truePeak, level.truePeak);
    }
    common.gain = gainFor(loudest, job.settings);
    return true;
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    constexpr double kMeasured = 0.8;  // of the progress
    double gain = 0;
    double from = kMeasured;
    if (job.settings.choice("balance") == kTogether) {
        if (!job.state) {
            auto common = std::make_unique<CommonGain>();
            if (!measureTogether(job, kMeasured, *common))
                return cancelled();
            job.state = std::move(common);
        } else {
            from = 0;
        }
        gain = static_cast<const CommonGain&>(*job.state).gain;
        if (!waveform.loadSamples())
            return ProcessOutcome::Failed;
    } else {
        Level level;
        if (!measure(waveform, job.settings, job.ui, 0, kMeasured, level))
            return ProcessOutcome::Failed;
        gain = gainFor(level, job.settings);
    }
    if (std::fabs(gain) < kSmallestChange || factorOfDecibels(gain) > kLargestFactor)
        return ProcessOutcome::Unchanged;
    const auto factor = static_cast<float>(factorOfDecibels(gain));
    const ProcessOutcome outcome = editSamples(
        job, {0, waveform.frames},
        [=](std::span<float> piece, std::uint32_t) {
            for (float& sample : piece)
                sample *= factor;
        },
        from);
    if (outcome == ProcessOutcome::Changed)
        job.measure("gain", gain, "dB");
    return outcome;
}

}  // namespace

constinit const ProcessDefinition normalizeVolume{
    run, kParameters,
    "Measures each waveform and multiplies it so that its loudness, RMS level or peak becomes the "
    "chosen one. The samples alone count, not the gain setting; silence stays as it is. A sound shorter "
    "than the 400 ms of the loudness meter counts as if silence followed, a looped one as if its loop "
    "went on. Loops, keys and regions are not touched."};

}  // namespace velor::audio_processes
