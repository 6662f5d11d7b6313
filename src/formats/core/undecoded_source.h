// Sample data in an encoding that this build cannot decode: everything about the waveform is known but its
// samples.
#pragma once

#include <memory>
#include <string_view>

#include "items/waveform.h"

namespace velor {

// A source whose decoding fails with "Decoding <codec> is not supported in this build". `codec` is a literal.
std::shared_ptr<const WaveformSource> undecodedSource(std::string_view codec);

}  // namespace velor
