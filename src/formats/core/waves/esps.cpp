#include "formats/core/waves/esps.h"

#include <algorithm>
#include <string_view>

#include "base/error.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

constexpr std::uint32_t kMagic = 0x6A1A;
constexpr std::size_t kMagicAt = 16, kFixedSize = 333;
constexpr std::size_t kMostHeader = 1u << 20;
constexpr std::uint16_t kOldSampledData = 9, kFeatureFile = 13, kSampledData = 8;

// What a record can hold; the header counts each kind, and a record of sampled data has one kind only.
constexpr SampleEncoding kKinds[] = {SampleEncoding::Float64, SampleEncoding::Float32, SampleEncoding::Pcm32,
                                     SampleEncoding::Pcm16, SampleEncoding::Pcm8};

// The rate is a named item behind the fixed part: the name, a zero, the count, the type, a 64-bit float.
double recordFrequency(std::span<const Byte> header, ByteOrder order) {
    static constexpr std::string_view kName("record_freq\0", 12);
    const std::string_view text(reinterpret_cast<const char*>(header.data()), header.size());
    for (std::size_t at = text.find(kName); at != std::string_view::npos; at = text.find(kName, at + 1)) {
        for (std::size_t padding = 0; padding < 4; ++padding) {
            ByteReader item(header.subspan(at + kName.size()), order);
            item.skip(std::min(padding, item.remaining()));
            const std::uint32_t count = item.u32();
            const std::uint16_t type = item.u16();
            const double rate = item.f64();
            if (item.ok() && count == 1 && type == 1 && rate >= 1 && rate <= 1e7)
                return rate;
        }
    }
    return 0;
}

bool fillFromEsps(OpenFile& file, Waveform& waveform) {
    auto header = bytesAt(file, 0, kFixedSize);
    if (header.size() < kFixedSize)
        return fail("The ESPS header is too short");
    const bool big = loadBe<std::uint32_t>(header.data() + kMagicAt) == kMagic;
    if (!big && loadLe<std::uint32_t>(header.data() + kMagicAt) != kMagic)
        return fail("Not an ESPS file");
    const ByteOrder order = big ? ByteOrder::Big : ByteOrder::Little;
    ByteReader reader(header, order);
    reader.seek(8);
    const std::uint32_t dataOffset = reader.u32();
    const std::uint32_t recordSize = reader.u32();
    reader.seek(32);
    const std::uint16_t type = reader.u16();
    reader.seek(124);
    const std::uint32_t records = reader.u32();
    reader.seek(132);
    StoredWave stored;
    stored.layout.order = order;
    stored.channels = 0;
    for (const SampleEncoding kind : kKinds) {
        const std::uint32_t count = reader.u32();
        if (count == 0)
            continue;
        if (stored.channels != 0)
            return fail("The records of the ESPS file hold more than samples");
        stored.channels = count;
        stored.layout.encoding = kind;
    }
    reader.seek(188);
    if (type != kOldSampledData && (type != kFeatureFile || reader.u16() != kSampledData))
        return fail("The ESPS file holds no sampled data");
    if (recordSize != 0 && recordSize != storedSize(stored.layout.encoding, stored.channels))
        return fail(kUnknownSampleFormat);
    header = bytesAt(file, 0, std::min<std::size_t>(dataOffset, kMostHeader));
    stored.rate = recordFrequency(header, order);
    stored.position = dataOffset;
    stored.frames = records ? records : kToFileEnd;
    return attachStoredWave(waveform, file, stored);
}

}  // namespace

bool readEsps(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromEsps);
}

}  // namespace velor
