// Filtering whole waveforms so that their loops stay seamless.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/user_interface.h"
#include "dsp/biquad_cascade.h"
#include "items/waveform.h"

namespace velor {

struct WholeLoop {
    std::size_t start = 0;  // frames
    std::size_t end = 0;    // exclusive, above start
};

// The waveform's loop in whole frames, where its data hold it and it repeats in one direction. An alternating
// loop turns round at frames that follow each other in the data, so no filter tears it open.
std::optional<WholeLoop> periodicLoop(const Waveform& waveform);

struct WaveformFilter {
    std::vector<BiquadSection> sections = {};
    // Once from front to back and once from back to front: no phase shift, twice the gain in dB.
    bool zeroPhase = false;
    std::optional<WholeLoop> loop = {};
    // Frames before the loop over which the step into it is smoothed out.
    std::size_t blend = 0;
};

// Filters interleaved frames in place. What lies before the data is silence; with zeroPhase the filter rings
// out behind them before it turns round. The frames of a loop become what the filter gives after the loop has
// been played for ever: the state at its start and at its end is the same, so that going round does not
// click, and what follows the loop continues it. The first entry then comes from another state than the
// attack has left behind; the difference, which dies away like the filter's own ringing, is taken from the
// frames before the loop as a reflection that fades in. False when the user aborts, with the samples half
// done.
bool filterFrames(std::span<float> samples, unsigned channels, const WaveformFilter& filter,
                  UserInterface& ui, double progressFrom = 0);

}  // namespace velor
