#include "formats/core/waves/sndtool.h"

#include "base/error.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

constexpr std::size_t kHeaderSize = 124;
constexpr std::size_t kTextSize = 96;

bool fillFromSndtool(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, kHeaderSize);
    ByteReader reader(head);
    if (reader.text(6) != "SOUND\x1A")
        return fail("Not a Sndtool file");
    reader.skip(2);
    const std::uint32_t frames = reader.u32();
    reader.skip(8);
    const std::uint16_t rate = reader.u16();
    reader.skip(6);
    waveform.text(WaveText::Comment) = fieldText(reader, kTextSize);
    if (!reader.ok())
        return fail("The Sndtool header is too short");
    return attachUnsignedBytes(waveform, file, rate, kHeaderSize, frames ? frames : kToFileEnd);
}

}  // namespace

bool readSndtool(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromSndtool);
}

}  // namespace velor
