#include <cmath>

#include "app/processing/audio/processes.h"
#include "app/processing/audio/stretch_tools.h"
#include "base/error.h"
#include "base/rounding.h"
#include "dsp/editable_samples.h"
#include "dsp/level.h"
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
    {.key = "mode",
     .label = kStretchModeLabel,
     .kind = ProcessValueKind::Choice,
     .words = kStretchModeWords,
     .help = kStretchModeHelp},
    {.key = "keep-attacks",
     .label = "Keep attacks sharp",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Drum hits, plucks and consonants are not stretched themselves."},
    {.key = "quality",
     .label = "Resampling:",
     .kind = ProcessValueKind::Choice,
     .standard = 8,
     .words = "nearest|linear|cubic|fir8|fir12|fir16|fir20|fir24|auto",
     .help = "How frames are read between old ones; auto is fir20 for waveforms of more than 16 bits and "
             "fir16 for others."},
};

// The share of an item's progress that stretching takes.
class PartOfProgress final : public UserInterface {
  public:
    PartOfProgress(UserInterface& whole, double from, double until)
        : whole_(whole), from_(from), until_(until) {}
    void progress(double share) override { whole_.progress(from_ + share * (until_ - from_)); }
    bool aborted() override { return whole_.aborted(); }
    void warn(const Warning& warning) override { whole_.warn(warning); }

  private:
    UserInterface& whole_;
    double from_, until_;
};

constexpr std::size_t kBlock = 1 << 20;  // samples between two looks at the abort flag

bool findPeak(std::span<const float> samples, float& peak, UserInterface& ui) {
    for (std::size_t at = 0; at < samples.size(); at += kBlock) {
        if (ui.aborted())
            return fail(kProcessingCancelled);
        peak = std::max(peak, peakOf(samples.subspan(at, std::min(kBlock, samples.size() - at))));
    }
    return true;
}

bool multiply(std::span<float> samples, float factor, UserInterface& ui) {
    for (std::size_t at = 0; at < samples.size(); at += kBlock) {
        if (ui.aborted())
            return fail(kProcessingCancelled);
        for (float& sample : samples.subspan(at, std::min(kBlock, samples.size() - at)))
            sample *= factor;
    }
    return true;
}

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
    PartOfProgress stretching(job.ui, 0, 0.8);
    const StretchedSound sound = stretched(job.collection(), waveform, options, stretching);
    if (!sound.buffer)
        return ProcessOutcome::Failed;
    // The resampler limits to full scale; what is beyond must get through.
    float peak = 0;
    if (!findPeak(sound.buffer->samples(), peak, job.ui))
        return ProcessOutcome::Failed;
    const float scale = peak > 0.5f ? 0.5f / peak : 1.0f;
    if (scale != 1.0f && !multiply(sound.buffer->samples(), scale, job.ui))
        return ProcessOutcome::Failed;
    // What the stretching left at its length gets shorter or longer, all else has its old length again.
    double kept = 0;
    for (const StretchZone& zone : sound.map.zones())
        kept += static_cast<double>(zone.anchor.last - zone.anchor.first);
    const double framesOut = std::round(static_cast<double>(sound.map.frames()) - kept + kept / factor);
    SampleBufferRef buffer(SampleBuffer::create(static_cast<std::uint32_t>(std::min(framesOut, 4294967295.0)),
                                                waveform.channels, static_cast<float>(waveform.sampleRate)));
    if (!buffer)
        return processFailed(kOutOfMemory);
    PartOfProgress resampling(job.ui, 0.8, 1);
    const auto method = static_cast<std::uint8_t>(job.settings.choice("quality"));
    switch (resampleFrames(
        {sound.buffer->samples(), waveform.channels, method, firLevelOf(method, waveform.bits), 1 / factor},
        buffer->samples(), &resampling)) {
        case ResampleOutcome::Done:
            break;
        case ResampleOutcome::Aborted:
            return cancelled();
        case ResampleOutcome::OutOfMemory:
            return processFailed(kOutOfMemory);
    }
    if (scale != 1.0f && !multiply(buffer->samples(), 1 / scale, job.ui))
        return ProcessOutcome::Failed;
    if (!warnOfOverload(job, old, *buffer.get()))
        return cancelled();
    if (job.settings.flag("root-key") && !moveKeys(job, cents))
        return ProcessOutcome::Failed;
    installStretched(job, buffer);
    moveLoops(job.collection(), waveform, sound.map, 1 / factor);
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
