#include "dsp/loop_finder.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "base/error.h"
#include "base/rounding.h"
#include "dsp/filter_design.h"
#include "dsp/loop_crossfade.h"
#include "dsp/loop_search.h"
#include "dsp/pitch.h"
#include "items/collection.h"
#include "items/region_loop.h"

namespace velor {

namespace {

constexpr std::int64_t kShortestRange = 32;  // frames
constexpr std::int64_t kShortestLoop = 32;   // frames
constexpr std::uint32_t kFramesAfterLoop = 32;
constexpr std::size_t kBlock = 1 << 16;  // samples filtered between two looks at the abort flag
constexpr double kFirstBound = 2;        // squared difference of two samples
// 24 dB per octave: an octave above the cutoff all but 0.02 dB passes.
constexpr unsigned kHighPassOrder = 4;

// share × length in frames, within low..high; the high bound wins.
std::int64_t framesOf(float share, std::int64_t length, std::int64_t low, std::int64_t high) {
    const double frames = static_cast<double>(share) * static_cast<double>(length);
    if (!(frames > static_cast<double>(low)))
        return std::min(low, high);
    return frames >= static_cast<double>(high) ? high : static_cast<std::int64_t>(frames + 0.5);
}

LoopRange rangeOf(const LoopFinderOptions& options, std::int64_t length) {
    LoopRange range;
    range.end = std::max(framesOf(options.rangeEnd, length, kShortestRange, length), kShortestRange);
    range.start = framesOf(options.rangeStart, length, 0, range.end - kShortestRange);
    const std::int64_t most = range.end - range.start;
    range.shortest = framesOf(options.minimumLength, length, 0, most / 2);
    range.longest = most;
    return range;
}

// Bounds the length by whole periods, then makes the range hold it.
void fitToPitch(LoopRange& range, const SpectralEstimate* pitch, double rate, std::int64_t length) {
    if (pitch && pitch->frequency > pitch->binWidth / 2) {
        const double half = pitch->binWidth / 2;
        const std::int64_t minimum = range.shortest;
        range.shortest =
            std::max<std::int64_t>(1, static_cast<std::int64_t>(rate / (pitch->frequency + half)));
        range.longest = static_cast<std::int64_t>(
            std::min(std::ceil(rate / (pitch->frequency - half)), static_cast<double>(length) + 1));
        range.longest = std::max(range.longest, range.shortest);
        for (; range.shortest < minimum; range.shortest *= 2)
            range.longest = std::min(2 * range.longest, length + 1);
    }
    range.longest = std::max<std::int64_t>(range.longest, 1);
    if (range.shortest < kShortestLoop) {
        range.shortest = kShortestLoop;
        while (range.longest < kShortestLoop)
            range.longest *= 2;
    }
    if (range.longest > range.end - range.start) {
        range.end = length;
        range.start = std::max<std::int64_t>(0, range.end - range.longest);
        range.longest = std::min(range.longest, range.end);
    }
}

bool filter(std::span<float> samples, unsigned channels, double cutoff, double rate, UserInterface& ui) {
    std::vector<BiquadCascade> filters(
        channels, BiquadCascade(designButterworth(FilterKind::HighPass, kHighPassOrder, cutoff, rate)));
    const std::size_t block = kBlock * channels;
    for (std::size_t at = 0; at < samples.size(); at += block) {
        if (ui.aborted())
            return fail(kProcessingCancelled);
        const auto piece = samples.subspan(at, std::min(block, samples.size() - at));
        for (unsigned c = 0; c < channels; ++c)
            filters[c].process(piece.subspan(c), channels);
    }
    return true;
}

// The start moved by up to half a frame, to where the interpolated sample is closest to the one at the end.
double fractionalStart(std::span<const float> mono, std::int64_t start, std::int64_t end) {
    const auto sample = [mono](std::int64_t i) {
        return static_cast<double>(mono[static_cast<std::size_t>(i)]);
    };
    // Cubic Hermite through four samples, the slopes those of the neighbours (Catmull and Rom).
    const auto between = [&](double place) {
        const auto i = static_cast<std::int64_t>(std::floor(place));
        const double t = place - static_cast<double>(i);
        const double a = sample(i - 1), b = sample(i), c = sample(i + 1), d = sample(i + 2);
        return b + 0.5 * t * (c - a + t * (2 * a - 5 * b + 4 * c - d + t * (3 * (b - c) + d - a)));
    };
    const double wanted = sample(end);
    double best = static_cast<double>(start);
    double bound = kFirstBound;
    for (int step = -50; step <= 50; ++step) {
        const double place = static_cast<double>(start) + 0.01 * step;
        const double difference = between(place) - wanted;
        if (difference * difference < bound) {
            bound = difference * difference;
            best = place;
        }
    }
    return best;
}

// Semitones, in hundredths, by which the loop must be raised to sound at f0: its length counts as the nearest
// whole number of periods.
float loopTuning(double length, double f0, double rate) {
    const double period = rate / f0;
    const double periods = std::max(1.0, std::round(length / period));
    return static_cast<float>(std::round(1200 * std::log2(length / (periods * period))) / 100);
}

bool findAndSetLoop(Waveform& waveform, const LoopFinderOptions& options, UserInterface& ui,
                    FoundLoop* found) {
    ui.status(formatText("Finding loop for: \"%s\"", waveform.name().c_str()));
    if (!waveform.loadSamples())
        return false;
    std::vector<float> mono = monoCopy(waveform.samples(), waveform.channels, &ui);
    if (mono.size() != waveform.frames)
        return fail(kProcessingCancelled);
    const auto length = static_cast<std::int64_t>(mono.size());
    const double rate = waveform.sampleRate;

    SpectralEstimate pitch;
    const bool hasPitch = estimateFundamental(mono, playedOn(waveform, mono), waveform.sampleRate, pitch);
    LoopRange range = rangeOf(options, length);
    fitToPitch(range, hasPitch ? &pitch : nullptr, rate, length);
    if (hasPitch && (options.loopTuning || options.highPass)) {
        double refined = 0;
        if (refinePitch(mono, waveform.sampleRate, pitch.frequency, pitch.binWidth, refined))
            pitch.frequency = refined;
    }
    const bool filtered = options.highPass && hasPitch;
    const double cutoff = pitch.frequency * std::sqrt(0.5);
    if (filtered && !filter(mono, 1, cutoff, rate, ui))
        return false;

    LoopCandidate best;
    if (!searchLoop(mono, range, ui, best))
        return false;
    double start = static_cast<double>(best.start);
    const double end = static_cast<double>(best.end);
    if (options.fractionalStart && best.start >= 2 && best.end + 2 <= length)
        start = fractionalStart(mono, best.start, best.end);
    if (found)
        *found = {start, end, best.similarity};

    // All is done to a copy, so that an abort leaves no trace.
    const bool cut = options.cutAfterEnd && !options.breakOnRelease;
    const bool faded = options.crossfade && std::floor(start) > 0;
    SampleBufferRef samples;
    if (cut || faded || filtered) {
        const auto frames = static_cast<std::uint32_t>(cut ? best.end + kFramesAfterLoop : length);
        samples = editableCopy(waveform, frames, ui);
        if (!samples || (filtered && !filter(samples->samples(), waveform.channels, cutoff, rate, ui)))
            return false;
    }
    if (faded) {
        start = std::floor(start);
        const LoopCrossfade fade{.start = static_cast<std::uint32_t>(start),
                                 .end = static_cast<std::uint32_t>(best.end),
                                 .reverse = options.breakOnRelease};
        if (!crossfadeSamples(samples->samples(), waveform.channels, fade, ui))
            return fail(kProcessingCancelled);
    }
    if (cut) {
        const std::size_t channels = waveform.channels;
        const auto first = static_cast<std::size_t>(start) * channels;
        const std::size_t after = static_cast<std::size_t>(best.end) * channels;
        for (std::size_t i = 0; i < kFramesAfterLoop * channels; ++i)  // beyond a loop's end it begins again
            samples->data()[after + i] = samples->data()[first + i];
    }
    if (samples)
        waveform.replaceSamples(std::move(samples));
    waveform.setLoop(LoopMode::Forward, start, end);
    waveform.loopUntilRelease = options.breakOnRelease;
    if (options.loopTuning && hasPitch)
        waveform.tuning = loopTuning(end - start, pitch.frequency, rate);
    if (cut)
        limitLoopOverrides(waveform);
    return true;
}

}  // namespace

bool findLoop(Waveform& waveform, const LoopFinderOptions& options, UserInterface& ui, FoundLoop* found) {
    try {
        return findAndSetLoop(waveform, options, ui, found);
    } catch (const std::bad_alloc&) {  // of the copies that the search works on
        return fail(kOutOfMemory);
    }
}

}  // namespace velor
