// What the processes that change the number of channels share.
#pragma once

#include <functional>
#include <span>

#include "app/processing/process.h"

namespace velor {

// Makes new frames of another number of channels from the old ones, piece by piece: work(old frames, new
// frames). For loaded waveforms of up to two channels. Everything but the channels stays.
using ChannelWork = std::function<void(std::span<const float>, std::span<float>)>;
ProcessOutcome changeChannels(ProcessJob& job, std::uint8_t channels, const ChannelWork& work);

}  // namespace velor
