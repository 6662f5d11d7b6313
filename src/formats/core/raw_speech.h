// What the headerless speech formats share: one channel at one rate, which the file does not tell.
#pragma once

#include "formats/framework/codec_source.h"
#include "formats/framework/open_file.h"
#include "formats/framework/working_copy.h"
#include "items/collection.h"

namespace velor {

inline constexpr std::uint32_t kTelephoneRate = 8000;  // Hz

// Adds a mono waveform, named after the file, with the `frames` frames that `data` hold. False with "Zero
// length" when there are none, or "Out of memory".
bool addSpeechWaveform(Collection& collection, OpenFile& file, std::uint64_t frames, CodecData data,
                       SampleEncoding encoding, int bits, std::uint32_t rate = kTelephoneRate);

// The item as a waveform of this rate; one that has another rate is resampled into `copy`, with a warning.
// nullptr with LastErrorText when it is something else or that fails.
Waveform* speechWaveform(Item& item, const OpenFile& file, WorkingCopy& copy,
                         std::uint32_t rate = kTelephoneRate);

}  // namespace velor
