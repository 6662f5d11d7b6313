#include "app/processing/instruments/processes.h"
#include "items/common_parameters.h"

namespace velor::instrument_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "mode",
     .label = "Values are",
     .kind = ProcessValueKind::Choice,
     .words = "offset|set",
     .help =
         "Offset adds volume, pan, tuning, resonance and sends to what there is. Set makes them these values "
         "for everything below the item; only those that are given are set then."},
    {.key = "volume",
     .label = "Volume",
     .kind = ProcessValueKind::Number,
     .unit = "dB",
     .least = -96,
     .most = 96,
     .help = "Master volume."},
    {.key = "pan",
     .label = "Pan position",
     .kind = ProcessValueKind::Number,
     .unit = "%",
     .least = -100,
     .most = 100,
     .help = "-100 is left, 100 right; as an offset it moves everything to one side."},
    {.key = "coarse",
     .label = "Coarse tune",
     .kind = ProcessValueKind::Whole,
     .unit = "semitones",
     .least = -48,
     .most = 48,
     .help = "Together with the fine tune."},
    {.key = "fine",
     .label = "Fine tune",
     .kind = ProcessValueKind::Number,
     .unit = "cents",
     .least = -100,
     .most = 100,
     .help = "Together with the coarse tune."},
    {.key = "cutoff",
     .label = "Filter cutoff frequency",
     .kind = ProcessValueKind::Number,
     .unit = "%",
     .least = 1,
     .most = 10000,
     .standard = 100,
     .help = "Of what it is; 200 is an octave up. Only where a filter is on."},
    {.key = "cutoff-frequency",
     .label = "Filter cutoff set to",
     .kind = ProcessValueKind::Number,
     .unit = "Hz",
     .most = 24000,
     .help =
         "The same frequency for all filters that are on, instead of a share of what they are; 0 for none."},
    {.key = "resonance",
     .label = "Filter resonance",
     .kind = ProcessValueKind::Number,
     .unit = "dB",
     .least = -96,
     .most = 96,
     .help = "Height of the peak. Only where a filter is on."},
    {.key = "attack",
     .label = "Attack times",
     .kind = ProcessValueKind::Number,
     .unit = "%",
     .most = 10000,
     .standard = 100,
     .help = "Of what they are; of the volume envelope."},
    {.key = "decay",
     .label = "Decay times",
     .kind = ProcessValueKind::Number,
     .unit = "%",
     .most = 10000,
     .standard = 100,
     .help = "Of what they are; of the volume envelope."},
    {.key = "release",
     .label = "Release times",
     .kind = ProcessValueKind::Number,
     .unit = "%",
     .most = 10000,
     .standard = 100,
     .help = "Of what they are; of the volume envelope."},
    {.key = "reverb",
     .label = "Reverb send",
     .kind = ProcessValueKind::Number,
     .unit = "%",
     .least = -100,
     .most = 100,
     .help = "The instrument's own level; what the controller adds stays."},
    {.key = "chorus",
     .label = "Chorus send",
     .kind = ProcessValueKind::Number,
     .unit = "%",
     .least = -100,
     .most = 100,
     .help = "The instrument's own level; what the controller adds stays."},
};

ProcessOutcome run(ProcessJob& job) {
    const ProcessSettings& set = job.settings;
    const bool absolute = set.choice("mode") == 1;
    const auto value = [&](std::string_view key, double scale) {
        return static_cast<float>(set.number(key) * scale);
    };
    const auto changeOf = [&](std::string_view key, double scale) {
        CommonParameters::Change change;
        if (!absolute)
            change.add = value(key, scale);
        else if (set.isSet(key))
            change.set = value(key, scale);
        return change;
    };
    CommonParameters how;
    how.volume = changeOf("volume", 1);
    how.pan = changeOf("pan", 0.01);
    how.resonance = changeOf("resonance", 1);
    how.reverb = changeOf("reverb", 0.01);
    how.chorus = changeOf("chorus", 0.01);
    const auto semitones =
        static_cast<float>(static_cast<double>(set.whole("coarse")) + set.number("fine") / 100);
    if (!absolute)
        how.tuning.add = semitones;
    else if (set.isSet("coarse") || set.isSet("fine"))
        how.tuning.set = semitones;
    how.cutoffFactor = value("cutoff", 0.01);
    if (set.number("cutoff-frequency") > 0)
        how.cutoff = value("cutoff-frequency", 1);
    how.attackFactor = value("attack", 0.01);
    how.decayFactor = value("decay", 0.01);
    how.releaseFactor = value("release", 0.01);
    return changeCommonParameters(job.item, how) ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition adjustCommonParameters{
    run, kParameters,
    "Changes volume, pan, tuning, filter, envelope times and effect sends of everything at and below the "
    "item, "
    "by how it sounds: values that lower levels set for themselves follow. Layers that instruments outside "
    "the "
    "selection share are copied first. Waveforms, loops and root keys stay."};

}  // namespace velor::instrument_processes
