// The samples of SoundFont 2 banks: 16 bits, 24 bits in two places, or a whole encoded stream each.
#pragma once

#include <memory>

#include "formats/sampler/soundfont_records.h"
#include "items/waveform.h"

namespace velor {

// Gives the waveform its frames, format and sample source: the points from `start` to `end` of the bank's
// sample chunk (bytes for compressed samples), as far as the file holds them. Nothing is decoded; of
// compressed samples the length is looked up.
void attachSoundFontSamples(Waveform& waveform, const std::shared_ptr<File>& file,
                            const SoundFontRecords& records, bool compressed, std::uint64_t start,
                            std::uint64_t end);

}  // namespace velor
