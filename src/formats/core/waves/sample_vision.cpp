#include "formats/core/waves/sample_vision.h"

#include "base/error.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

constexpr std::size_t kHeaderSize = 116;
constexpr std::size_t kCommentSize = 60, kNameSize = 30;
constexpr int kLoops = 8, kMarkers = 8;
constexpr std::size_t kMarkerSize = 14;
constexpr std::size_t kTrailerSize = 2 + kLoops * 11 + kMarkers * kMarkerSize + 1 + 3 * 4;

// Behind the samples: loops, markers, key, rate.
void readTrailer(ByteReader trailer, OpenFile& file, Waveform& waveform) {
    trailer.skip(2);
    for (int i = 0; i < kLoops; ++i) {
        const std::uint32_t start = trailer.u32();
        const std::uint32_t end = trailer.u32();
        const std::uint8_t type = trailer.u8();
        trailer.skip(2);  // how often
        if (!waveform.looped && (type == 1 || type == 2) && start < end)
            waveform.setLoop(type == 1 ? LoopMode::Forward : LoopMode::Alternating, start, end);
    }
    trailer.skip(kMarkers * kMarkerSize);
    const std::int8_t key = trailer.s8();
    const std::uint32_t rate = trailer.u32();
    if (trailer.ok() && key >= 0)
        waveform.rootKey = static_cast<std::uint8_t>(key);
    setRate(waveform, file, trailer.ok() ? rate : 0);
}

bool fillFromSampleVision(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, kHeaderSize);
    ByteReader reader(head);
    if (reader.text(18) != "SOUND SAMPLE DATA ")
        return fail("Not a SampleVision file");
    reader.skip(4);  // version
    waveform.text(WaveText::Comment) = fieldText(reader, kCommentSize);
    if (const std::string name = fieldText(reader, kNameSize); !name.empty())
        waveform.setName(name);
    const std::uint32_t frames = reader.u32();
    if (!reader.ok())
        return fail("The SampleVision header is too short");
    StoredWave stored;
    stored.position = kHeaderSize;
    stored.frames = frames;
    if (!attachStoredWave(waveform, file, stored))
        return false;
    const auto trailer = bytesAt(file, kHeaderSize + std::uint64_t{frames} * 2, kTrailerSize);
    readTrailer(ByteReader(trailer), file, waveform);
    return true;
}

}  // namespace

bool readSampleVision(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromSampleVision);
}

}  // namespace velor
