#include "formats/core/waves/psion.h"

#include <algorithm>

#include "base/error.h"
#include "formats/core/undecoded_source.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

constexpr double kRate = 8000;

// Series 3: a header of 32 bytes.
bool fillFromSeries3(OpenFile& file, Waveform& waveform) {
    constexpr std::size_t kHeaderSize = 32, kFramesAt = 18;
    const auto head = bytesAt(file, 0, kHeaderSize);
    if (head.size() < kHeaderSize)
        return fail("The sound file header is too short");
    const std::uint64_t there = file.size() - kHeaderSize;
    const auto big = loadBe<std::uint32_t>(head.data() + kFramesAt);
    const auto little = loadLe<std::uint32_t>(head.data() + kFramesAt);
    StoredWave stored;
    stored.layout.encoding = SampleEncoding::ALaw;
    stored.rate = kRate;
    stored.position = kHeaderSize;
    // Some programs wrote the count in the other byte order.
    stored.frames = big > there && little != 0 && little <= there ? little : big;
    if (stored.frames == 0)
        stored.frames = kToFileEnd;
    return attachStoredWave(waveform, file, stored);
}

// Series 5: four identifiers, then a table that says where the sections of the file are.
bool fillFromSeries5(OpenFile& file, Waveform& waveform) {
    constexpr std::size_t kTableAt = 16, kRecordHead = 20;
    constexpr std::uint32_t kRecordSection = 0x10000052, kImaFrames = 0x100001A1;
    const auto tableOffset = bytesAt(file, kTableAt, 4);
    if (tableOffset.size() < 4)
        return fail("The sound file header is too short");
    const auto table = bytesAt(file, loadLe<std::uint32_t>(tableOffset.data()), 1 + 255 * 4);
    ByteReader sections(table);
    std::uint32_t record = 0;
    for (int words = sections.u8(); words >= 2 && record == 0; words -= 2) {
        const std::uint32_t id = sections.u32();
        const std::uint32_t offset = sections.u32();
        if (sections.ok() && id == kRecordSection)
            record = offset;
    }
    const auto head = bytesAt(file, record, kRecordHead);
    if (record == 0 || head.size() < kRecordHead)
        return fail("The sound file has no recording");
    ByteReader reader(head);
    const std::uint32_t frames = reader.u32();
    const std::uint32_t codec = reader.u32();
    reader.skip(8);  // repeats, volume, gap
    const std::uint32_t bytes = reader.u32();
    const std::uint64_t position = std::uint64_t{record} + kRecordHead;
    if (codec == kImaFrames) {
        setRate(waveform, file, kRate);
        setEncoding(waveform, SampleEncoding::Adpcm4);
        waveform.bits = 4;
        waveform.sourceOffset = position;
        waveform.frames = static_cast<std::uint32_t>(
            std::min<std::uint64_t>(frames, availableBytes(file, position, bytes) * 2));
        waveform.setSource(undecodedSource("IMA ADPCM"));
        return true;
    }
    if (codec != 0)
        return fail(kUnknownSampleFormat);
    StoredWave stored;
    stored.layout.encoding = SampleEncoding::ALaw;
    stored.rate = kRate;
    stored.position = position;
    stored.byteSize = bytes ? bytes : kToFileEnd;
    return attachStoredWave(waveform, file, stored);
}

bool fillFromPsion(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, 16);
    ByteReader reader(head);
    if (reader.text(16) == "ALawSoundFile**")
        return fillFromSeries3(file, waveform);
    constexpr std::uint32_t kDirectStore = 0x10000037;
    if (head.size() == 16 && loadLe<std::uint32_t>(head.data()) == kDirectStore)
        return fillFromSeries5(file, waveform);
    return fail("Not a Psion sound file");
}

}  // namespace

bool readPsion(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromPsion);
}

}  // namespace velor
