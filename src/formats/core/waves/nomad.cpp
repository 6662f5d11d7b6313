#include "formats/core/waves/nomad.h"

#include <algorithm>

#include "base/error.h"
#include "formats/core/codec_streams.h"
#include "formats/core/codec_writer.h"
#include "formats/core/waves/wave_file.h"
#include "formats/framework/working_copy.h"

namespace velor {

namespace {

constexpr std::size_t kHeaderSize = 44;
constexpr std::uint32_t kRate = 8000;      // Hz
constexpr int kWidth = 4;                  // bits of a code
constexpr std::uint64_t kFrameBytes = 46;  // the device's own unit: 92 codes

bool fillFromNomad(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, kHeaderSize);
    ByteReader reader(head);
    if (head.size() < kHeaderSize || reader.id() != fourCc("NVF "))
        return fail("Not a Nomad recording");
    reader.skip(8);
    if (reader.id() != fourCc("VFMT"))
        return fail("Not a Nomad recording");
    reader.skip(16);
    const std::uint32_t rate = reader.u32();
    setRate(waveform, file, rate);
    setEncoding(waveform, SampleEncoding::Adpcm4);
    waveform.bits = kWidth;
    CodecData data;
    data.position = kHeaderSize;
    data.byteSize = availableBytes(file, kHeaderSize, kToFileEnd);
    setG72x(data, kWidth, CodePacking::HighBitsFirst, 1);
    waveform.frames = clampFrames(file, framesIn(data));
    attachCodecSamples(waveform, file.input, std::move(data));
    return true;
}

}  // namespace

bool readNomad(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromNomad);
}

bool writeNomad(Item& item, OpenFile& file, std::uint32_t) {
    WorkingCopy copy;
    Waveform* waveform = waveformToWrite(item);
    if (waveform)
        waveform = copy.atFixedRate(*waveform, kRate, *file.ui);
    if (!waveform || !settleFrameCount(*waveform))
        return false;
    const G72xEncoder encoder(kWidth, CodePacking::HighBitsFirst);
    const std::uint64_t codes = encoder.encodedSize(waveform->frames);
    FileImage image;
    if (!image.allocate(kHeaderSize + (codes + kFrameBytes - 1) / kFrameBytes * kFrameBytes))
        return false;
    ByteWriter to(image.bytes());
    to.id(fourCc("NVF "));
    to.u32(1);
    to.u32(32);
    to.id(fourCc("VFMT"));
    to.u32(1);
    to.u32(20);
    to.u32(kRate * kWidth);  // bit/s
    to.u16(1);               // channels
    to.u16(0);
    to.u32(kRate);
    to.u32(kRate * 2);  // bytes of plain samples in a second, in a frame, bits
    to.u16(2);
    to.u16(16);
    const std::span<Byte> data = to.block(static_cast<std::size_t>(codes));
    to.zeros(to.remaining());
    return encodeCodes(*waveform, 1, data, *file.ui, encoder) && file.write(image.bytes());
}

}  // namespace velor
