// RIFF WAVE writer.
#pragma once

#include "formats/framework/file_image.h"
#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// The variant argument of the writer: what kind of WAVE image is wanted.
namespace wave_variant {
inline constexpr std::uint32_t kOrdinary = 0;
// WAVE_FORMAT_EXTENSIBLE; PCM and float only.
inline constexpr std::uint32_t kExtensible = 0xFFFE;
// For embedding in other files: no texts and no cue points, "smpl" before "data".
inline constexpr std::uint32_t kCompact = 0xFFFFFFFF;
// For samplers that keep tuning and loop flags in a "CWDT" block of the "smpl" chunk.
inline constexpr std::uint32_t kTuningBlock = fourCc("CWDT");
}  // namespace wave_variant

using WaveImage = FileImage;

// Builds a complete WAVE file of the waveform in memory: one allocation, filled by streaming the samples.
// options.encoding None takes the encoding of options.flags (0: any) that suits the waveform best,
// options.channels 0 what the flags say (0: as the waveform). False with LastErrorText.
bool buildWaveImage(Waveform& waveform, const SaveOptions& options, UserInterface& ui, WaveImage& image);

// Row operation. Takes waveforms only.
bool writeWave(Item& item, OpenFile& file, std::uint32_t variant);

// The bit rates (kbit/s) of the "Compressed" encoding, which is MPEG layer III.
float waveOptions(std::uint32_t index, std::uint32_t variant, std::string& text);

// Forgets the "fact" value that the writer carries from one file to the next, as a fresh start of the program
// does.
void resetWaveHeaderTemplate();

}  // namespace velor
