// Two mono sample sources played as the channels of one stereo waveform.
#pragma once

#include <memory>

#include "items/waveform.h"

namespace velor {

// A source whose frames are those of `left` and `right` side by side, decoded when they are needed. Both are
// mono and of the same length; their own sources are shared, the waveforms themselves may go. nullptr when
// one of them is loaded already or cannot be decoded piece by piece.
std::shared_ptr<const WaveformSource> stereoPairSource(const Waveform& left, const Waveform& right);

}  // namespace velor
