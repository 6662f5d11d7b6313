// What the processes that write new samples share.
#pragma once

#include <functional>
#include <span>

#include "app/processing/process.h"
#include "dsp/editable_samples.h"
#include "dsp/level.h"

namespace velor {

// The selected frames, or all when nothing or a mere position is selected. For processes that work on the
// selection; ask after the samples are loaded, which may change their number.
FrameSelection chosenFrames(const ProcessJob& job);

// Warns when an item's samples have been raised beyond full scale: they survive here and in float files, and
// are clipped in others. `before` and `after` are peaks of what was changed.
void warnAboveFullScale(ProcessJob& job, float before, float after);

// The peak of many samples. False when the user aborts.
bool findPeak(std::span<const float> samples, UserInterface& ui, float& peak);

// Calls work(interleaved frames, index of the first) for the range piece by piece, on a copy of the samples
// that then takes their place, with the warning above. For loaded waveforms; an empty range is Unchanged.
using SampleWork = std::function<void(std::span<float>, std::uint32_t)>;
ProcessOutcome editSamples(ProcessJob& job, FrameSelection range, const SampleWork& work,
                           double progressFrom = 0);

// A gain beyond this is asked for only by what is as good as silent, and stays undone.
inline constexpr double kLargestFactor = 1e30;

// The largest positive sample that the waveform's format can hold; 1 unless it is PCM of up to 24 bits.
float fullScaleOf(const Waveform& waveform);

}  // namespace velor
