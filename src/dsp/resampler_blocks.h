// The resampler's engine: whole waveforms, block by block, on all cores.
#pragma once

#include <cstdint>
#include <span>

#include "base/user_interface.h"
#include "items/sample_buffer.h"

namespace velor {

enum class ResampleOutcome { Done, Aborted, OutOfMemory };

struct ResampleInput {
    std::span<const float> frames;  // interleaved
    unsigned channels = 1;
    std::uint8_t method = 0;  // see ResampleMethod
    unsigned firLevel = 0;    // see firLevelOf()
    double ratio = 1;         // new frames for each frame; positive and finite
    bool limit = true;        // to full scale; otherwise what is or rings beyond it stays
};

// Fills `output` (interleaved frames of as many channels). Output k lies at the sum of k steps of 1 / ratio,
// added one by one in double precision; what is at or behind the last frame's end is silence. Every output is
// computed in the same way in whatever block and thread, so the result does not depend on their number
// (`threads`; 0: as many as there are cores, and only for waveforms that are worth it). Beside input and
// output it takes a few MiB and, for FIR filters, a table of at most 35 MiB; that bound holds down to ratios
// of 1/10000. `ui` may be null; it is asked, on the calling thread, at least every 50 ms.
ResampleOutcome resampleFrames(const ResampleInput& input, std::span<float> output, UserInterface* ui,
                               unsigned threads = 0);

// The same into a buffer of its own. Empty with LastErrorText: "Out of memory" or, when the user ends it,
// kResamplingAborted.
SampleBufferRef resampledCopy(const ResampleInput& input, std::uint32_t newLength, std::uint32_t newRate,
                              UserInterface* ui);

}  // namespace velor
