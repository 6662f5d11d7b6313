// Changing the samples of a waveform that others may share.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/user_interface.h"
#include "items/waveform.h"

namespace velor {

// What operations that the user stopped leave in LastErrorText.
inline constexpr std::string_view kProcessingCancelled = "Processing was cancelled";

// A copy of a waveform's samples that may be changed without touching those that share them (copies of the
// waveform, states that can be undone), `frames` long: cut, or with silence added. Empty with "Out of memory"
// or, when the user aborts, kProcessingCancelled.
SampleBufferRef editableCopy(const Waveform& waveform, std::uint32_t frames, UserInterface& ui);

}  // namespace velor
