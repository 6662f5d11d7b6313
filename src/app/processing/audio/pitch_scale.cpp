#include <cmath>

#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"
#include "app/processing/audio/stretch_settings.h"
#include "app/processing/part_progress.h"
#include "base/error.h"
#include "base/rounding.h"
#include "dsp/resampler.h"
#include "dsp/resampler_blocks.h"
#include "dsp/time_stretch.h"

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "semitones",
     .label = "Change pitch by:",
     .kind = ProcessValueKind::Whole,
     .unit = "semitones",
     .least = -36,
     .most = 36,
     .help = "Upwards or, when negative, downwards; 12 are an octave."},
    {.key = "cents",
     .label = "and:",
     .kind = ProcessValueKind::Number,
     .unit = "cents",
     .least = -100,
     .most = 100,
     .help = "Hundredths of a semitone, added to the semitones."},
    {.key = "root-key",
     .label = "Adjust root key so that it still plays in tune",
     .kind = ProcessValueKind::Switch,
     .help = "Moves root key and fine tune, also those of regions, along with the pitch, so that keys sound "
             "as high as before, in another timbre. Otherwise every key sounds higher or lower."},
    {.key = "formants",
     .label = "Keep formants",
     .kind = ProcessValueKind::Switch,
     .help = "Keeps the resonances of a voice or a body where they are, so that a voice does not sound "
             "smaller or larger. Takes the mode music."},
    kStretchMode,
    kKeepAttacks,
    {.key = "quality",
     .label = "Resampling:",
     .kind = ProcessValueKind::Choice,
     .standard = 8,
     .words = kResampleMethodWords,
     .help = "How frames are read between old ones; auto is fir20 for waveforms of more than 16 bits and "
             "fir16 for others."},
};

// The root key and fine tune that make up for a change of pitch by `cents`. The fine tune stays within half a
// semitone. False when the key would leave the keyboard.
bool movedKey(std::uint8_t& key, double& fineTune, double cents) {
    const double all = 100.0 * key - fineTune + cents;
    const double nearest = std::floor(all / 100 + 0.5);
    if (nearest < 0 || nearest > 127)
        return fail("The root key would leave the keys 0 to 127");
    key = static_cast<std::uint8_t>(nearest);
    fineTune = 100.0 * nearest - all;
    return true;
}

struct MovedRegion {
    Region* region;
    std::uint8_t key;
    double fineTune;
};

// Everything that can fail of moving the keys, before anything is moved.
bool moveKeys(ProcessJob& job, double cents) {
    Waveform& waveform = job.waveform();
    std::uint8_t key = waveform.rootKey;
    double fineTune = waveform.fineTune;
    if (!movedKey(key, fineTune, cents))
        return false;
    std::vector<MovedRegion> moved;
    for (Region* region : job.collection().all<Region>()) {
        const Waveform* played = region->waveform();
        if (!played || played->id() != waveform.id())
            continue;
        const RegionOverrides& own = region->overrides;
        const bool ownKey = own.has(RegionOverrides::RootKey);
        const bool ownTuning = own.has(RegionOverrides::Tuning);
        if (!ownKey && !ownTuning)
            continue;
        // A region with only one of the two takes the other from the waveform; it then gets both.
        MovedRegion each{
            region, ownKey ? own.rootKey : waveform.rootKey,
            ownTuning ? static_cast<double>(own.tuning) : static_cast<double>(waveform.tuningCents())};
        if (!std::isfinite(each.fineTune) || !movedKey(each.key, each.fineTune, cents))
            return false;
        moved.push_back(each);
    }
    waveform.rootKey = key;
    // What whole cents can not say goes to the further tuning, in semitones.
    const double whole = std::round(fineTune);
    waveform.fineTune = static_cast<std::int8_t>(whole);
    waveform.tuning += static_cast<float>((fineTune - whole) / 100);
    for (const MovedRegion& each : moved) {
        RegionOverrides& own = each.region->overrides;
        own.rootKey = each.key;
        own.tuning = static_cast<float>(each.fineTune);
        own.flags |= RegionOverrides::RootKey | RegionOverrides::Tuning;
    }
    return true;
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    const double cents =
        100.0 * static_cast<double>(job.settings.whole("semitones")) + job.settings.number("cents");
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    if (cents == 0 || waveform.frames == 0)
        return ProcessOutcome::Unchanged;
    const double factor = std::exp2(cents / 1200);
    const std::span<const float> old = std::as_const(waveform).samples();
    const StretchOptions options{.ratio = factor,
                                 .mode = static_cast<StretchMode>(job.settings.choice("mode")),
                                 .keepAttacks = job.settings.flag("keep-attacks"),
                                 .formantScale = job.settings.flag("formants") ? factor : 1};
    PartProgress stretching(job.ui, 0, 0.8);
    const StretchedSound sound = stretched(job.collection(), waveform, options, stretching);
    if (!sound.buffer)
        return ProcessOutcome::Failed;
    // What the stretching left at its length gets shorter or longer, all else has its old length again.
    double kept = 0;
    for (const StretchZone& zone : sound.map.zones())
        kept += static_cast<double>(zone.anchor.last - zone.anchor.first);
    const double framesOut = std::round(static_cast<double>(sound.map.frames()) - kept + kept / factor);
    PartProgress resampling(job.ui, 0.8, 1);
    const auto method = static_cast<std::uint8_t>(job.settings.choice("quality"));
    SampleBufferRef buffer = resampledCopy({.frames = sound.buffer->samples(),
                                            .channels = waveform.channels,
                                            .method = method,
                                            .firLevel = firLevelOf(method, waveform.bits),
                                            .ratio = 1 / factor,
                                            .limit = false},
                                           static_cast<std::uint32_t>(std::min(framesOut, 4294967295.0)),
                                           waveform.sampleRate, &resampling);
    if (!buffer)
        return ProcessOutcome::Failed;
    float before = 0, after = 0;
    if (!findPeak(old, job.ui, before) || !findPeak(std::as_const(*buffer.get()).samples(), job.ui, after))
        return ProcessOutcome::Failed;
    if (job.settings.flag("root-key") && !moveKeys(job, cents))
        return ProcessOutcome::Failed;
    waveform.replaceSamples(buffer);
    moveLoops(job.collection(), waveform, sound.map, 1 / factor);
    if (before <= 1)  // what was too loud before is no news
        warnAboveFullScale(job, before, after);
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition pitchScale{
    run, kParameters,
    "Makes waveforms higher or lower without changing their length, by stretching them and resampling the "
    "result. Loops and the loop overrides of regions follow and stay as seamless as they were; a loop of "
    "less "
    "than about a quarter of a second gets the length of its new pitch, maybe a fraction of a frame. Root "
    "key "
    "and tuning stay unless they are to be adjusted."};

}  // namespace velor::audio_processes
