#include "dsp/time_stretch.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "base/rounding.h"
#include "dsp/editable_samples.h"
#include "dsp/onsets.h"
#include "dsp/wsola.h"

namespace velor {

namespace {

constexpr double kShortSound = 0.25;  // seconds

struct LoopSpan {
    double start, end;
};

// The loops that are played of a waveform: its own, and those its regions put in its place.
std::vector<LoopSpan> loopsOf(const Collection& collection, const Waveform& waveform) {
    std::vector<LoopSpan> loops;
    const auto add = [&](double start, double end) {
        const double frames = waveform.frames;
        if (std::isfinite(start) && std::isfinite(end) && start >= 0 && end > start && end <= frames)
            loops.push_back({start, end});
    };
    if (waveform.looped)
        add(waveform.loopStart, waveform.loopEnd);
    for (const Region* region : collection.all<Region>()) {
        const Waveform* played = region->waveform();
        if (!played || played->id() != waveform.id())
            continue;
        const RegionOverrides& own = region->overrides;
        const bool start = own.has(RegionOverrides::LoopStart), end = own.has(RegionOverrides::LoopEnd);
        if (start || end)
            add(start ? own.loopStart : waveform.loopStart, end ? own.loopEnd : waveform.loopEnd);
    }
    return loops;
}

void anchorLoops(const std::vector<LoopSpan>& loops, double ratio, StretchMap::Widths widths,
                 std::vector<StretchAnchor>& anchors) {
    const auto shortest = static_cast<double>(4 * widths.exact + widths.glide);
    for (const LoopSpan& loop : loops) {
        const auto start = static_cast<std::int64_t>(std::floor(loop.start));
        const auto end = static_cast<std::int64_t>(std::ceil(loop.end));
        if ((loop.end - loop.start) * std::min(ratio, 1.0) < shortest) {
            anchors.push_back({start, end, false});
        } else {
            // Less than a zone in front of the loop is left as it is.
            anchors.push_back({start < widths.exact + widths.exact / 4 ? 0 : start, start, false});
            anchors.push_back({end, end, false});
        }
    }
}

}  // namespace

StretchedSound stretched(const Collection& collection, Waveform& waveform, const StretchOptions& options,
                         UserInterface& ui) {
    StretchedSound sound{{}, StretchMap(0, 1, {}, {})};
    if (!waveform.loadSamples())
        return sound;
    const StretchSource source{std::as_const(waveform).samples(), waveform.channels, waveform.sampleRate};
    const std::vector<LoopSpan> loops = loopsOf(collection, waveform);
    const bool solo = options.formantScale == 1 && (options.mode == StretchMode::Solo ||
                                                    (options.mode == StretchMode::Auto && loops.empty() &&
                                                     waveform.frames < kShortSound * source.hertz()));
    const StretchMap::Widths widths = solo ? wsolaWidths(source) : vocoderWidths(source);
    std::vector<StretchAnchor> anchors;
    anchorLoops(loops, options.ratio, vocoderWidths(source), anchors);
    if (options.keepAttacks) {
        std::vector<Onset> onsets;
        if (!findOnsets(source.frames, source.channels, waveform.sampleRate, ui, onsets)) {
            fail(kProcessingCancelled);
            return sound;
        }
        for (const Onset& onset : onsets)
            anchors.push_back({onset.frame, onset.frame, true});
    }
    const double longest = 4294967295.0;
    if (!(waveform.frames * options.ratio < longest)) {
        fail("The stretched waveform would be too long");
        return sound;
    }
    sound.map = StretchMap(waveform.frames, options.ratio, anchors, widths);
    if (ui.aborted()) {
        fail(kProcessingCancelled);
        return sound;
    }
    SampleBufferRef buffer(SampleBuffer::create(static_cast<std::uint32_t>(sound.map.framesOut()),
                                                waveform.channels, static_cast<float>(waveform.sampleRate)));
    if (!buffer) {
        fail(kOutOfMemory);
        return sound;
    }
    const bool done =
        solo ? stretchByWsola(source, sound.map, buffer->samples(), ui)
             : stretchByVocoder(source, sound.map, {options.formantScale}, buffer->samples(), ui);
    if (done)
        sound.buffer = std::move(buffer);
    else
        fail(kProcessingCancelled);
    return sound;
}

void moveLoops(Collection& collection, Waveform& waveform, const StretchMap& map, double scale) {
    // Fractions of a frame stay what they are where the map does not change time.
    const auto moved = [&](double frame) {
        const double whole = std::floor(frame);
        return (std::round(map.toOutput(whole)) + (frame - whole)) * scale;
    };
    // Without a resampling places stay whole frames. With one, the length of a loop need not be, but a long
    // loop is not heard to change its pitch when it is rounded, and whole frames survive in more file types.
    const auto move = [&](double& start, double& end, bool mayBeFractional) {
        const double length = moved(end) - moved(start);
        start = scale == 1 ? moved(start) : std::round(moved(start));
        end = start + (scale == 1 || (mayBeFractional && length < 8192) ? length : std::round(length));
    };
    if (std::isfinite(waveform.loopStart) && std::isfinite(waveform.loopEnd)) {
        move(waveform.loopStart, waveform.loopEnd, true);
        // Rounding must not leave the sound.
        if (waveform.loopEnd > waveform.frames && waveform.loopEnd < waveform.frames + 2.0)
            waveform.loopEnd = waveform.frames;
    }
    const auto toFrame = [](double frame) {
        return static_cast<std::uint32_t>(std::clamp(frame, 0.0, 4294967295.0));
    };
    for (Region* region : collection.all<Region>()) {
        const Waveform* played = region->waveform();
        if (!played || played->id() != waveform.id())
            continue;
        RegionOverrides& own = region->overrides;
        double start = own.loopStart, end = own.loopEnd;
        if (own.has(RegionOverrides::LoopStart) && own.has(RegionOverrides::LoopEnd)) {
            move(start, end, false);
        } else {
            start = std::round(moved(start));
            end = std::round(moved(end));
        }
        if (own.has(RegionOverrides::LoopStart))
            own.loopStart = toFrame(start);
        if (own.has(RegionOverrides::LoopEnd))
            own.loopEnd = toFrame(end);
    }
}

}  // namespace velor
