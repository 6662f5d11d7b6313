// The wave-sample chunk of DLS: how a wave, or a region that plays it, is tuned and looped.
#pragma once

#include <cstdint>
#include <span>

#include "base/byte_order.h"

namespace velor {

struct DlsWaveSample {
    std::uint8_t rootKey = 60;
    std::int16_t fineTune = 0;  // cents
    double gain = 0;            // dB
    bool looped = false;
    bool untilRelease = false;
    std::uint32_t loopStart = 0;  // frames
    std::uint32_t loopEnd = 0;    // frames, exclusive
};

// False when the chunk is too short.
bool parseDlsWaveSample(std::span<const Byte> chunk, DlsWaveSample& sample);

}  // namespace velor
