#include <algorithm>
#include <cmath>

#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"
#include "base/error.h"
#include "dsp/filter_design.h"
#include "dsp/waveform_filter.h"

namespace velor::audio_processes {

namespace {

enum Design : std::size_t { kButterworth, kResonant };

constexpr ProcessParameter kParameters[] = {
    {.key = "type",
     .label = "Filter:",
     .kind = ProcessValueKind::Choice,
     .words = "low-pass|high-pass|band-pass|notch|peak|low-shelf|high-shelf|all-pass",
     .help = "Peak raises or lowers a band, the shelves everything below or above the frequency; all-pass "
             "turns phases only."},
    {.key = "frequency",
     .label = "Frequency:",
     .kind = ProcessValueKind::Number,
     .unit = "Hz",
     .least = 0.01,
     .most = 1e9,
     .standard = 1000,
     .help = "Where a pass has lost 3 dB, the centre of a band or a peak, the middle of a shelf."},
    {.key = "design",
     .label = "Design of the passes:",
     .kind = ProcessValueKind::Choice,
     .words = "butterworth|resonant",
     .help = "Butterworth filters are as flat as their order allows; resonant ones have 12 dB per octave and "
             "a resonance by Q. For low-pass, high-pass, band-pass and notch."},
    {.key = "order",
     .label = "Order:",
     .kind = ProcessValueKind::Whole,
     .least = 1,
     .most = kHighestFilterOrder,
     .standard = 4,
     .help = "Of Butterworth filters: 6 dB per octave for each; of bands for each edge."},
    {.key = "q",
     .label = "Q:",
     .kind = ProcessValueKind::Number,
     .least = 0.05,
     .most = 100,
     .standard = 0.7071,
     .help = "Frequency over bandwidth of bands and peaks, resonance of resonant passes, steepness of "
             "shelves."},
    {.key = "bandwidth",
     .label = "Bandwidth:",
     .kind = ProcessValueKind::Number,
     .unit = "octaves",
     .most = 8,
     .help = "Of band-pass, notch and peak, instead of Q; 0 to use Q."},
    {.key = "gain",
     .label = "Gain:",
     .kind = ProcessValueKind::Number,
     .unit = "dB",
     .least = -60,
     .most = 60,
     .help = "Of peak and shelves."},
    {.key = "zero-phase",
     .label = "Zero phase (filter forwards and backwards)",
     .kind = ProcessValueKind::Switch,
     .help = "Keeps every transient at its place; Butterworth filters become twice as steep with the same "
             "-3 dB point, gains stay as they are set."},
};

FilterDesign designOf(const ProcessSettings& set, double rate) {
    const auto kind = static_cast<FilterKind>(set.choice("type"));
    const bool band = kind == FilterKind::BandPass || kind == FilterKind::Notch || kind == FilterKind::Peak;
    return {.kind = kind,
            .rate = rate,
            .frequency = set.number("frequency"),
            .q = set.number("q"),
            .bandwidth = band ? set.number("bandwidth") : 0,
            .gain = set.number("gain"),
            .order = set.choice("design") == kButterworth ? static_cast<unsigned>(set.whole("order")) : 0,
            .twice = set.flag("zero-phase")};
}

// Filters that leave everything far below their frequency as it is.
bool passesBelow(FilterKind kind) {
    return kind == FilterKind::LowPass || kind == FilterKind::Notch || kind == FilterKind::Peak ||
           kind == FilterKind::HighShelf;
}

bool hasGain(FilterKind kind) {
    return kind == FilterKind::Peak || kind == FilterKind::LowShelf || kind == FilterKind::HighShelf;
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    const FilterDesign design = designOf(job.settings, waveform.sampleRate);
    if (waveform.frames == 0 || (hasGain(design.kind) && design.gain == 0))
        return ProcessOutcome::Unchanged;
    if (!canDesign(design.frequency, design.rate)) {
        const bool tooHigh = design.frequency >= 0.5 * design.rate;
        if (tooHigh && design.rate > 0 && passesBelow(design.kind))
            return ProcessOutcome::Unchanged;  // there is nothing up there
        return processFailed(formatText("A filter at %g Hz is too %s for a sample rate of %u Hz",
                                        design.frequency, tooHigh ? "high" : "low",
                                        static_cast<unsigned>(waveform.sampleRate)));
    }
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    SampleBufferRef copy = editableCopy(waveform, waveform.frames, job.ui);
    if (!copy)
        return ProcessOutcome::Failed;
    float before = 0, after = 0;
    if (!findPeak(copy->samples(), job.ui, before))
        return ProcessOutcome::Failed;
    // The correction before the loop takes a period of the filter's frequency, in which its ringing has
    // mostly gone, but no less than a few samples and no more than is still part of the attack.
    constexpr double kShortestBlend = 32, kLongestBlendSeconds = 0.1;
    const double period = design.rate / design.frequency;
    const double longest = std::max(kShortestBlend, kLongestBlendSeconds * design.rate);
    const WaveformFilter filter{
        .sections = designFilter(design),
        .zeroPhase = design.twice,
        .loop = periodicLoop(waveform),
        .blend = static_cast<std::size_t>(std::clamp(period, kShortestBlend, longest)),
    };
    if (!filterFrames(copy->samples(), waveform.channels, filter, job.ui) ||
        !findPeak(copy->samples(), job.ui, after))
        return ProcessOutcome::Failed;
    waveform.replaceSamples(std::move(copy));
    warnAboveFullScale(job, before, after);
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition filterWaveform{
    run, kParameters,
    "Filters each waveform. The frames of a forward or backward loop become what the filter gives after the "
    "loop has gone round for ever, so that the jump back does not click, and the frames before the loop are "
    "led into it. Loop points, keys and regions stay as they are; a loop that only a region has is filtered "
    "like any other sound."};

}  // namespace velor::audio_processes
