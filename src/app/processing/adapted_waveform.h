// The frames of another waveform made to fit the one that takes them in.
#pragma once

#include "app/processing/process.h"

namespace velor {

enum class AdaptedLevel {
    Played,  // multiplied by what the two gains differ, so that it sounds as loud as before
    AsIs,
};

// Frames of `source`, whose samples are loaded, at the rate of `target` and with `channels` channels:
// resampled when both rates are known and differ, without limiting it to full scale; mono on both sides of a
// stereo result, and the mean of both sides for a mono one. A copy, also of the target itself. Empty with
// LastErrorText when that fails or the user aborts.
SampleBufferRef adaptFrames(const Waveform& source, const Waveform& target, std::uint8_t channels,
                            UserInterface& ui, AdaptedLevel level = AdaptedLevel::Played);

}  // namespace velor
