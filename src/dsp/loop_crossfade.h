// Blending the samples around a loop so that the jump back is not heard.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "base/user_interface.h"
#include "dsp/editable_samples.h"
#include "items/waveform.h"

namespace velor {

// The texts of the page.
inline constexpr const char* kCrossfadePageText =
    "Cross-fade loop (i.e. fade out the wavesamples prior to the loop end point while simultaneously fading "
    "in "
    "wavesamples from just prior to the loop start point).";
inline constexpr const char* kCrossfadeReverseText =
    "Also reverse-crossfade any wavesamples after the loop end point (keeps interpolation algorithms happy "
    "and "
    "prevents pops).";
inline constexpr const char* kCrossfadeExponentialText =
    "Use exp. fading (fades linearly in 'log-space', which is how the ear perceive loudness).";

struct LoopCrossfade {
    std::uint32_t start = 0;   // frames
    std::uint32_t end = 0;     // frames, exclusive
    std::uint32_t length = 0;  // frames; 0 for the longest possible
    bool reverse = false;      // also fade what follows the loop
    bool exponential = false;  // by log10(9 w + 1) instead of w
};

// Cross-fades the frames before the loop's end with those before its start, and makes start and end the loop
// points. Results are limited to full scale. False, with nothing changed, when the waveform is not looped,
// the loop is empty, begins at 0 or leaves the data, when samples or memory are missing (LastErrorText), or
// when the user aborts (kProcessingCancelled).
bool crossfadeLoop(Waveform& waveform, const LoopCrossfade& fade, UserInterface& ui);

// The same on interleaved samples alone, in place, for valid loops of start > 0. False when aborted, the
// samples then half done.
bool crossfadeSamples(std::span<float> samples, unsigned channels, const LoopCrossfade& fade,
                      UserInterface& ui);

// What the page offers for one waveform: the shorter of the loop and of what precedes it, in frames; 0 when
// there is no loop.
std::uint32_t longestCrossfade(const Waveform& waveform);
// What it says to a typed length above that.
std::string crossfadeTooLongText(std::uint32_t longest);

}  // namespace velor
