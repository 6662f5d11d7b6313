#include "dsp/time_stretch.h"

#include <cmath>

#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"
#include "app/processing/audio/stretch_settings.h"
#include "base/error.h"

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "ratio",
     .label = "New length:",
     .kind = ProcessValueKind::Number,
     .unit = "%",
     .least = 10,
     .most = 1000,
     .standard = 100,
     .help = "Of the old length: 200 is twice as long, half as fast."},
    {.key = "length",
     .label = "Or new length:",
     .kind = ProcessValueKind::Number,
     .unit = "ms",
     .most = 86400000,
     .help = "Of each waveform; 0 to use the other settings."},
    {.key = "tempo-from",
     .label = "Or tempo, from:",
     .kind = ProcessValueKind::Number,
     .unit = "BPM",
     .most = 1000,
     .help = "The tempo that the waveforms have; 0 to use the other settings."},
    {.key = "tempo-to",
     .label = "To:",
     .kind = ProcessValueKind::Number,
     .unit = "BPM",
     .most = 1000,
     .help = "The tempo that they shall have."},
    kStretchMode,
    kKeepAttacks,
};

// The wished ratio; 0 with LastErrorText when the settings contradict each other.
double ratioOf(const ProcessJob& job) {
    const ProcessSettings& set = job.settings;
    const Waveform& waveform = job.waveform();
    const bool byLength = set.number("length") > 0;
    const bool byTempo = set.number("tempo-from") > 0 || set.number("tempo-to") > 0;
    const bool byRatio = set.isSet("ratio") && set.number("ratio") != 100;
    if (byLength + byTempo + byRatio > 1) {
        fail("Only one of new length in %, new length in ms and tempo can be chosen");
        return 0;
    }
    if (byLength)
        return set.number("length") / 1000 * waveform.sampleRate / waveform.frames;
    if (!byTempo)
        return set.number("ratio") / 100;
    if (set.number("tempo-from") > 0 && set.number("tempo-to") > 0)
        return set.number("tempo-from") / set.number("tempo-to");
    fail("Both tempos are needed");
    return 0;
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    if (waveform.frames == 0 || waveform.sampleRate == 0)
        return ProcessOutcome::Unchanged;
    LastErrorText.clear();
    const double ratio = ratioOf(job);
    if (ratio == 0 && !LastErrorText.empty())
        return ProcessOutcome::Failed;
    if (!(ratio >= 0.0999999 && ratio <= 10.0000001))
        return processFailed(
            formatText("A new length of %.4g %% is not within 10 to 1000 %% of the old one", ratio * 100));
    if (ratio == 1.0)
        return ProcessOutcome::Unchanged;
    const StretchOptions options{.ratio = ratio,
                                 .mode = static_cast<StretchMode>(job.settings.choice("mode")),
                                 .keepAttacks = job.settings.flag("keep-attacks")};
    const StretchedSound sound = stretched(job.collection(), waveform, options, job.ui);
    if (!sound.buffer)
        return ProcessOutcome::Failed;
    if (sound.map.framesOut() == waveform.frames && sound.map.zones().size() == 1 &&
        sound.map.zones()[0].anchor.last - sound.map.zones()[0].anchor.first == waveform.frames) {
        job.ui.warn(
            {"The whole waveform is one short loop, which already sounds for as long as a key is held; "
             "it was left as it is",
             waveform.name()});
        return ProcessOutcome::Unchanged;
    }
    float before = 0, after = 0;
    if (!findPeak(std::as_const(waveform).samples(), job.ui, before) ||
        !findPeak(std::as_const(*sound.buffer.get()).samples(), job.ui, after))
        return ProcessOutcome::Failed;
    waveform.replaceSamples(sound.buffer);
    moveLoops(job.collection(), waveform, sound.map);
    if (before <= 1)  // what was too loud before is no news
        warnAboveFullScale(job, before, after);
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition timeStretch{
    run, kParameters,
    "Makes waveforms longer or shorter without changing their pitch; root key and tuning stay. Loops and the "
    "loop overrides of regions follow and stay as seamless as they were. A loop of less than about a quarter "
    "of a second keeps its length, and only what precedes and follows it is stretched."};

}  // namespace velor::audio_processes
