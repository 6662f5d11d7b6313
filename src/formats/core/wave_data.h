// The sample data of RIFF WAVE and Wave-64 files: who decodes them.
#pragma once

#include <memory>

#include "formats/core/wave_format.h"
#include "platform/file.h"

namespace velor {

// Gives the waveform its sample source: data of `byteSize` bytes at `position`. Plain data cut the frame
// count to what they hold; codec data are filled up with silence.
void attachWaveData(Waveform& waveform, const WaveFormat& format, std::shared_ptr<File> file,
                    std::uint64_t position, std::uint64_t byteSize);

}  // namespace velor
