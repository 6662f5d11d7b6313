// GSM 06.10 speech without a header, as telephone software and voice modems keep it, and the WAVE file of the
// modems' frames.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// The variant argument of the rows.
namespace gsm_variant {
inline constexpr std::uint32_t kRaw = 0;
inline constexpr std::uint32_t kByteAligned = 1;
inline constexpr std::uint32_t kModem = 2;
inline constexpr std::uint32_t kModemAlternative = 3;
inline constexpr std::uint32_t kModemWave = 4;
}  // namespace gsm_variant

// Row operations. The writer takes waveforms of 8000 Hz; their last frame is filled up with silence.
bool readRawGsm(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeRawGsm(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
