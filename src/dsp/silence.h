// Where a waveform sounds and where it is silent.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/user_interface.h"
#include "dsp/level.h"

namespace velor {

struct SilenceSearch {
    float threshold = 0.001f;           // linear; frames whose channels are all at or below it are silent
    std::uint64_t shortestSilence = 1;  // frames; less is part of the sound around it
    std::uint64_t shortestSound = 1;    // frames; less, a click, is part of the silence around it
};

// The sounds in interleaved frames, in order, with at least `shortestSilence` silent frames between any two.
// Samples that are not finite count as 0. False when aborted (kProcessingCancelled) or when memory is
// missing; tells the progress from 0 to 1.
bool findSounds(std::span<const float> samples, unsigned channels, const SilenceSearch& search,
                std::vector<FrameRange>& sounds, UserInterface& ui);

}  // namespace velor
