// Time stretching in the time domain, for a single voice.
#pragma once

#include <cstdint>
#include <span>

#include "base/user_interface.h"
#include "dsp/phase_vocoder.h"
#include "dsp/stretch_map.h"

namespace velor {

StretchMap::Widths wsolaWidths(const StretchSource& source);

// Fills `output` (map.framesOut() interleaved frames). WSOLA (W. Verhelst and M. Roelands, An overlap-add
// technique based on waveform similarity, ICASSP 1993): pieces of 25 ms are laid over each other by halves,
// each taken from within 10 ms of where the map says, where it is most like the natural continuation of the
// one before, for all channels together. Within the map's zones pieces come from exactly where the map says.
// Speech, solo instruments and short sounds keep their waveform; chords warble.
// False when the user aborted, asked every few milliseconds.
bool stretchByWsola(const StretchSource& source, const StretchMap& map, std::span<float> output,
                    UserInterface& ui);

}  // namespace velor
