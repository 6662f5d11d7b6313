// Time stretching in the frequency domain, for music of any kind.
#pragma once

#include <cstdint>
#include <span>

#include "base/user_interface.h"
#include "dsp/stretch_map.h"

namespace velor {

struct StretchSource {
    std::span<const float> frames;  // interleaved
    unsigned channels = 1;
    std::uint32_t rate = 44100;  // Hz; 0 counts as 44100

    double hertz() const { return rate > 0 ? rate : 44100; }
};

// The zones in which a map should leave attacks and loop ends as they are.
StretchMap::Widths vocoderWidths(const StretchSource& source);

// Formants, the resonances that make a voice or a body, are moved by this factor in frequency, the pitch
// stays. 1 leaves them alone.
struct VocoderOptions {
    double formantScale = 1;
};

// Fills `output` (map.framesOut() interleaved frames). A phase vocoder (Hann windows of about 90 ms, four to
// every moment) that carries the phase of each spectral peak on and turns the bins around it along with it
// (identity phase locking: J. Laroche and M. Dolson, Improved phase vocoder time-scale modification of audio,
// IEEE Trans. Speech and Audio Processing 7, 1999). How far a phase advances is measured between two windows
// exactly one hop apart in the source, so nothing has to be unwrapped, and a sound left at its speed comes
// out as it went in. All channels are turned by the same angles, which keeps the stereo image.
//
// The sound is cut at the attacks of the map; each piece is stretched alone and starts with its own phases,
// so that no attack is smeared ahead of itself. Towards the map's other anchors the phases glide back to
// those of the source: what surrounds the two ends of a loop sounds as it did, so the loop stays as seamless
// as it was.
//
// False when the user aborted, asked every few milliseconds. Memory beside input and output: less than a
// MiB at 44.1 kHz.
bool stretchByVocoder(const StretchSource& source, const StretchMap& map, const VocoderOptions& options,
                      std::span<float> output, UserInterface& ui);

}  // namespace velor
