#include "formats/sampler/dls_wave_sample.h"

#include <algorithm>

#include "base/byte_reader.h"

namespace velor {

bool parseDlsWaveSample(std::span<const Byte> chunk, DlsWaveSample& sample) {
    constexpr double kGainUnitsPerDb = 655360;  // 16.16 centibels
    constexpr std::uint32_t kUntilRelease = 1;
    ByteReader reader(chunk);
    const std::uint32_t headerSize = reader.u32();
    const std::uint16_t key = reader.u16();
    const std::int16_t fineTune = reader.s16();
    const std::int32_t gain = reader.s32();
    reader.skip(4);  // options
    const std::uint32_t loops = reader.u32();
    if (!reader.ok())
        return false;
    sample = {};
    sample.rootKey = static_cast<std::uint8_t>(key <= 127 ? key : 60);
    sample.fineTune = fineTune;
    sample.gain = gain / kGainUnitsPerDb;
    if (loops == 0)
        return true;
    if (headerSize > reader.position())
        reader.seek(headerSize);
    reader.skip(4);  // size of the loop record
    const std::uint32_t type = reader.u32();
    const std::uint32_t start = reader.u32();
    const std::uint32_t length = reader.u32();
    if (!reader.ok() || length == 0)
        return true;
    sample.looped = true;
    sample.untilRelease = type == kUntilRelease;
    sample.loopStart = start;
    sample.loopEnd =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(std::uint64_t{start} + length, UINT32_MAX));
    return true;
}

}  // namespace velor
