#include "formats/core/waves/avr.h"

#include "base/error.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

constexpr std::size_t kHeaderSize = 128;
constexpr std::size_t kNamePart = 8;     // the first part of the name
constexpr std::size_t kNameRestAt = 44;  // the rest, where the first part is full
constexpr std::size_t kNameRest = 20;
constexpr std::size_t kUserText = 64;
constexpr std::uint32_t kRateMask = 0xFFFFFF;  // some writers keep other things in the top byte

void readKey(Waveform& waveform, std::uint16_t keys) {
    // 0xFFFF: none; 0xFFkk: one key; else the lowest and the highest key of a range, which names no root.
    if (keys >> 8 == 0xFF && (keys & 0xFF) < 128)
        waveform.rootKey = static_cast<std::uint8_t>(keys & 0xFF);
}

bool fillFromAvr(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, kHeaderSize);
    ByteReader reader(head, ByteOrder::Big);
    if (reader.id() != fourCc("2BIT"))
        return fail("Not an Audio Visual Research file");
    const auto part = reader.bytes(kNamePart);
    const bool stereo = reader.u16() != 0;
    const std::uint16_t bits = reader.u16();
    const bool isSigned = reader.u16() != 0;
    const bool looped = reader.u16() != 0;
    const std::uint16_t keys = reader.u16();
    const std::uint32_t rate = reader.u32() & kRateMask;
    const std::uint32_t frames = reader.u32();
    const std::uint32_t loopStart = reader.u32();
    const std::uint32_t loopEnd = reader.u32();
    reader.skip(6);
    ByteReader rest(reader.bytes(kNameRest));
    const std::string userText = fieldText(reader, kUserText);
    if (!reader.ok())
        return fail("The Audio Visual Research header is too short");
    if (bits != 8 && bits != 16)
        return fail(kUnknownSampleFormat);
    ByteReader first(part);
    std::string name = fieldText(first, kNamePart);
    if (name.size() == kNamePart)
        name += fieldText(rest, kNameRest);
    if (!name.empty())
        waveform.setName(name);
    waveform.text(WaveText::Comment) = userText;
    readKey(waveform, keys);
    StoredWave stored;
    stored.layout = {bits == 8 ? SampleEncoding::Pcm8 : SampleEncoding::Pcm16, ByteOrder::Big, !isSigned};
    stored.channels = stereo ? 2 : 1;
    stored.rate = rate;
    stored.position = kHeaderSize;
    stored.frames = frames ? frames : kToFileEnd;
    if (!attachStoredWave(waveform, file, stored))
        return false;
    if (looped)
        waveform.setLoop(LoopMode::Forward, loopStart, loopEnd);
    return true;
}

}  // namespace

bool readAvr(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromAvr);
}

}  // namespace velor
