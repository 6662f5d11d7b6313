#include "app/processing/silence_settings.h"

#include <algorithm>
#include <cmath>

#include "dsp/frame_edit.h"
#include "dsp/level.h"

namespace velor {

bool findKeptSounds(const ProcessJob& job, const Waveform& waveform, std::vector<FrameRange>& sounds,
                    UserInterface& ui) {
    const auto frames = [&](const ProcessParameter& row) {
        return framesOfTime(job.settings.number(row.key), waveform.sampleRate);
    };
    const SilenceSearch search{
        .threshold = static_cast<float>(factorOfDecibels(job.settings.number(kSilenceThreshold.key))),
        .shortestSilence = frames(kSilenceMinimum),
        .shortestSound = frames(kShortestSound)};
    if (!findSounds(waveform.samples(), waveform.channels, search, sounds, ui))
        return false;
    const std::uint64_t keep = frames(kSilenceKeep);
    std::uint64_t before = 0;  // where the kept part before ends
    for (std::size_t i = 0; i < sounds.size(); ++i) {
        const std::uint64_t first = sounds[i].first, end = first + sounds[i].count;
        const std::uint64_t next = i + 1 < sounds.size() ? sounds[i + 1].first : waveform.frames;
        // The silence behind a sound that is too short for both margins is shared.
        const std::uint64_t behind = std::min(keep, i + 1 < sounds.size() ? (next - end) / 2 : next - end);
        const std::uint64_t from = std::max(before, first - std::min(first, keep));
        before = end + behind;
        sounds[i] = {static_cast<std::uint32_t>(from), static_cast<std::uint32_t>(before - from)};
    }
    return true;
}

}  // namespace velor
