#include "formats/core/waves/sounder.h"

#include "base/error.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

constexpr std::size_t kHeaderSize = 8;  // type 0, rate, volume and shift for playing, 16 bits each

bool fillFromSounder(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, kHeaderSize);
    ByteReader reader(head);
    const std::uint16_t type = reader.u16();
    const std::uint16_t rate = reader.u16();
    reader.skip(4);
    if (!reader.ok() || type != 0)
        return fail("Not a Sounder file");
    return attachUnsignedBytes(waveform, file, rate, kHeaderSize);
}

}  // namespace

bool readSounder(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromSounder);
}

}  // namespace velor
