#include "formats/core/waves/diamond_ware.h"

#include <algorithm>
#include <cstring>

#include "base/error.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

constexpr std::string_view kSignature("DiamondWare Digitized\n\0\x1A", 24);
constexpr std::size_t kTextAt = 56;  // "KEY = value" lines up to the data
constexpr std::size_t kLongestText = 4096;
constexpr std::uint16_t kVersion = 1;  // major 1, minor 0
constexpr std::uint16_t kFullPeak = 0x7FFF;
constexpr std::uint32_t kWritable = encodingMask({SampleEncoding::Pcm8, SampleEncoding::Pcm16});

std::string textBefore(const OpenFile& file, std::uint32_t dataOffset) {
    if (dataOffset <= kTextAt)
        return {};
    const auto bytes = bytesAt(file, kTextAt, std::min<std::size_t>(dataOffset - kTextAt, kLongestText));
    std::string text(bytes.begin(), bytes.end());
    while (!text.empty() && static_cast<unsigned char>(text.back()) <= ' ')
        text.pop_back();
    std::ranges::replace(text, '\0', '\n');
    return text;
}

bool fillFromDiamondWare(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, kTextAt);
    if (head.size() < kTextAt || std::memcmp(head.data(), kSignature.data(), kSignature.size()) != 0)
        return fail("Not a DiamondWare file");
    ByteReader reader(head);
    reader.seek(kSignature.size() + 7);  // version, a random number, reserved
    const std::uint8_t compression = reader.u8();
    StoredWave stored;
    stored.rate = reader.u16();
    stored.channels = reader.u8();
    const std::uint8_t bits = reader.u8();
    reader.skip(2);  // peak
    const std::uint32_t bytes = reader.u32();
    reader.skip(4);  // frames: what the bytes say as well
    const std::uint32_t offset = reader.u32();
    if (compression != 0 || (bits != 8 && bits != 16))
        return fail(kUnknownSampleFormat);
    stored.layout.encoding = bits == 8 ? SampleEncoding::Pcm8 : SampleEncoding::Pcm16;
    stored.position = offset;
    stored.byteSize = bytes ? bytes : kToFileEnd;
    waveform.text(WaveText::Comment) = textBefore(file, offset);
    return attachStoredWave(waveform, file, stored);
}

}  // namespace

bool readDiamondWare(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromDiamondWare);
}

bool writeDiamondWare(Item& item, OpenFile& file, std::uint32_t) {
    WavePlan plan;
    Waveform* waveform = planWave(item, file, kWritable, ByteOrder::Little, plan);
    if (!waveform)
        return false;
    if (waveform->sampleRate > UINT16_MAX)
        return fail("A DiamondWare file can not store rates above 65535 Hz");
    if (plan.dataSize > UINT32_MAX)
        return fail("The waveform is too long for a DiamondWare file, which can hold 4 GiB at most");
    const std::string_view comment =
        std::string_view(waveform->text(WaveText::Comment)).substr(0, kLongestText);
    const std::size_t dataOffset = kTextAt + comment.size() + 1;
    FileImage image;
    if (!image.allocate(dataOffset + plan.dataSize))
        return false;
    ByteWriter to(image.bytes());
    to.text(kSignature, kSignature.size());
    to.u16(kVersion);
    to.u32(0);
    to.u16(0);  // reserved, no compression
    to.u16(static_cast<std::uint16_t>(waveform->sampleRate));
    to.u8(static_cast<std::uint8_t>(plan.target.channels));
    to.u8(static_cast<std::uint8_t>(plan.bytesPerSample() * 8));
    to.u16(kFullPeak);
    to.u32(static_cast<std::uint32_t>(plan.dataSize));
    to.u32(waveform->frames);
    to.u32(static_cast<std::uint32_t>(dataOffset));
    to.zeros(kTextAt - to.position());
    to.text(comment, comment.size() + 1);
    return finishWave(*waveform, plan, to, image, file);
}

}  // namespace velor
