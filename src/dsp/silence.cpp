#include "dsp/silence.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "dsp/editable_samples.h"

namespace velor {

namespace {

constexpr std::uint64_t kBlock = 1 << 17;  // frames between two looks at the abort flag

// Nobody wants more pieces: beyond, the threshold lies within the noise.
constexpr std::size_t kMostSounds = 1 << 20;

}  // namespace

bool findSounds(std::span<const float> samples, unsigned channels, const SilenceSearch& search,
                std::vector<FrameRange>& sounds, UserInterface& ui) {
    sounds.clear();
    const std::uint64_t frames = samples.size() / channels;
    const std::uint64_t shortestSilence = std::max<std::uint64_t>(search.shortestSilence, 1);
    std::uint64_t first = 0, end = 0;  // of the sound that may still go on; none when they are equal
    const auto finish = [&] {
        if (end - first >= std::max<std::uint64_t>(search.shortestSound, 1))
            sounds.push_back({static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(end - first)});
        first = end = 0;
    };
    for (std::uint64_t i = 0; i < frames; ++i) {
        if (i % kBlock == 0) {
            if (ui.aborted())
                return fail(kProcessingCancelled);
            ui.progress(static_cast<double>(i) / static_cast<double>(frames));
        }
        bool sounding = false;
        for (unsigned channel = 0; channel < channels; ++channel) {
            const float level = std::abs(samples[i * channels + channel]);
            sounding |= level > search.threshold && std::isfinite(level);
        }
        if (!sounding)
            continue;
        if (end > first && i - end >= shortestSilence)
            finish();
        if (sounds.size() >= kMostSounds)
            return fail("There are too many silent sections; choose a lower threshold or a longer silence");
        if (end == first)
            first = i;
        end = i + 1;
    }
    if (end > first)
        finish();
    return true;
}

}  // namespace velor
