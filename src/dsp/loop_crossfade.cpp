#include "dsp/loop_crossfade.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "base/rounding.h"

namespace velor {

namespace {

constexpr std::size_t kBlock = 1 << 18;  // frames between two looks at the abort flag: some milliseconds

double gainOf(double w, bool exponential) {
    return exponential ? std::log10(9 * w + 1) : w;
}

// to = from × gain + to × (1 - gain) over `count` frames, the gain falling from nearly 1 to 0; with `rising`
// from × (1 - gain) + to × gain.
bool blend(float* to, const float* from, std::size_t count, unsigned channels, bool exponential, bool rising,
           UserInterface& ui) {
    for (std::size_t j = 0; j < count; ++j) {
        if (j % kBlock == 0 && ui.aborted())
            return false;
        const double g = gainOf(static_cast<double>(count - 1 - j) / static_cast<double>(count), exponential);
        const double ofFrom = rising ? 1 - g : g;
        for (unsigned c = 0; c < channels; ++c) {
            float& sample = to[j * channels + c];
            const double mixed = static_cast<double>(from[j * channels + c]) * ofFrom +
                                 static_cast<double>(sample) * (1 - ofFrom);
            // NaN is no sound; a fade is no place to let it spread.
            sample = std::isnan(mixed) ? 0 : static_cast<float>(std::clamp(mixed, -1.0, 1.0));
        }
    }
    return true;
}

}  // namespace

bool crossfadeSamples(std::span<float> samples, unsigned channels, const LoopCrossfade& fade,
                      UserInterface& ui) {
    const std::size_t start = fade.start;
    const std::size_t end = fade.end;
    const std::size_t frames = samples.size() / channels;
    std::size_t n = std::min(end - start, start);
    if (fade.length > 0)
        n = std::min<std::size_t>(n, fade.length);
    float* x = samples.data();
    if (fade.reverse && end < frames) {
        const std::size_t m = std::min(frames - end, n);
        if (!blend(x + end * channels, x + start * channels, m, channels, fade.exponential, false, ui))
            return false;
    }
    return blend(x + (end - n) * channels, x + (start - n) * channels, n, channels, fade.exponential, true,
                 ui);
}

bool crossfadeLoop(Waveform& waveform, const LoopCrossfade& fade, UserInterface& ui) {
    if (!waveform.looped || fade.start == 0 || fade.start >= fade.end || !waveform.loadSamples() ||
        fade.end > waveform.frames)
        return false;
    SampleBufferRef faded = editableCopy(waveform, waveform.frames, ui);
    if (!faded)
        return false;
    if (!crossfadeSamples(faded->samples(), waveform.channels, fade, ui))
        return fail(kProcessingCancelled);
    waveform.replaceSamples(std::move(faded));
    waveform.loopStart = fade.start;
    waveform.loopEnd = fade.end;
    return true;
}

std::uint32_t longestCrossfade(const Waveform& waveform) {
    if (!waveform.looped || !(waveform.loopStart > 0) || !(waveform.loopEnd <= waveform.frames))
        return 0;
    const std::int64_t start = roundForDialog(std::min<double>(waveform.loopStart, waveform.frames));
    const std::int64_t end = roundForDialog(std::max(waveform.loopEnd, 0.0));
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(end - start, 0, start));
}

std::string crossfadeTooLongText(std::uint32_t longest) {
    return formatText(
        "The maximum crossfade length is %d wavesamples (minimum of the loop length and the number of "
        "wavesamples "
        "before the loop start point",
        static_cast<int>(longest));
}

}  // namespace velor
