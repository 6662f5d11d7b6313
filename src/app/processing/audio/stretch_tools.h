// What time stretching and pitch scaling share.
#pragma once

#include <span>

#include "app/processing/process.h"

namespace velor::audio_processes {

inline constexpr const char* kStretchModeLabel = "Kind of sound:";
inline constexpr const char* kStretchModeWords = "auto|music|solo";
inline constexpr const char* kStretchModeHelp =
    "music suits everything (a phase vocoder); solo is better for speech, a single voice or instrument "
    "(pieces "
    "of the waveform are joined where they are alike). auto takes solo for waveforms of less than a quarter "
    "of a second without loop, else music.";

// Warns when the new samples go beyond full scale and the old ones did not. False when the user aborted.
bool warnOfOverload(ProcessJob& job, std::span<const float> before, const SampleBuffer& after);

// Gives the waveform new samples at its old rate, which a buffer may not hold exactly.
void installStretched(ProcessJob& job, const SampleBufferRef& buffer);

}  // namespace velor::audio_processes
