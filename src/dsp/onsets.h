// Finding the attacks of a sound.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/user_interface.h"

namespace velor {

struct Onset {
    std::int64_t frame = 0;  // where the level begins to rise
    float strength = 0;      // 0..1: the share of the spectrum that is new
};

// The clear attacks of interleaved samples, in order, at least 45 ms apart: struck, plucked and spoken
// onsets, not swells, vibrato or chords that glide. Spectral flux of square-root magnitudes against its
// median in the neighbourhood finds them (S. Dixon, Onset detection revisited, DAFx 2006), the rise of the
// level of the differentiated samples within a millisecond places them. Takes about 2 s for 10 minutes of
// stereo at 44.1 kHz. False when the user aborted, asked every few milliseconds.
bool findOnsets(std::span<const float> frames, unsigned channels, std::uint32_t rate, UserInterface& ui,
                std::vector<Onset>& onsets);

}  // namespace velor
