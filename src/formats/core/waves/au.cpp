#include "formats/core/waves/au.h"

#include <algorithm>

#include "base/error.h"
#include "formats/core/undecoded_source.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

constexpr std::size_t kHeaderSize = 24;  // six 32-bit numbers; the info text follows
constexpr std::size_t kLongestInfo = 4096;
constexpr std::uint32_t kUnknownSize = 0xFFFFFFFF;
constexpr std::string_view kKeyLines = "AFsp";  // info texts of one family of programs begin so

struct Coding {
    std::uint32_t code;
    SampleEncoding encoding;
    int codecBits = 0;         // bits per sample of a codec
    std::string_view codec{};  // its name for messages
};

// The first row of an encoding is the one that the writer uses.
constexpr Coding kCodings[] = {
    {1, SampleEncoding::MuLaw},
    {2, SampleEncoding::Pcm8},
    {3, SampleEncoding::Pcm16},
    {4, SampleEncoding::Pcm24},
    {5, SampleEncoding::Pcm32},
    {6, SampleEncoding::Float32},
    {7, SampleEncoding::Float64},
    {27, SampleEncoding::ALaw},
    {10, SampleEncoding::Pcm8},  // 10..13: fixed-point data of a signal processor
    {11, SampleEncoding::Pcm16},
    {12, SampleEncoding::Pcm24},
    {13, SampleEncoding::Pcm32},
    {18, SampleEncoding::Pcm16},  // with emphasis
    {23, SampleEncoding::Adpcm4, 4, "G.721 ADPCM"},
    {24, SampleEncoding::Adpcm4, 4, "G.722"},
    {25, SampleEncoding::Adpcm3, 3, "G.723 3-bit ADPCM"},
    {26, SampleEncoding::Adpcm5, 5, "G.723 5-bit ADPCM"},
};
constexpr std::uint32_t kWritable = encodingMask(
    {SampleEncoding::MuLaw, SampleEncoding::ALaw, SampleEncoding::Pcm8, SampleEncoding::Pcm16,
     SampleEncoding::Pcm24, SampleEncoding::Pcm32, SampleEncoding::Float32, SampleEncoding::Float64});

// The number ".snd" in the byte order of the machine, the last byte zero on DEC machines.
bool byteOrderOf(ByteReader reader, ByteOrder& order) {
    constexpr std::uint32_t kSun = fourCc(".snd"), kDec = fourCc(".sd\0");
    const std::uint32_t magic = reader.id();
    order = magic == kSun || magic == kDec ? ByteOrder::Big : ByteOrder::Little;
    return order == ByteOrder::Big || magic == byteSwap(kSun) || magic == byteSwap(kDec);
}

// The text between header and data: plain, or lines that end with zeros.
std::string infoText(const OpenFile& file, std::uint32_t dataOffset) {
    if (dataOffset <= kHeaderSize)
        return {};
    const auto bytes =
        bytesAt(file, kHeaderSize, std::min<std::size_t>(dataOffset - kHeaderSize, kLongestInfo));
    std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const bool lines = text.starts_with(kKeyLines);
    text.remove_prefix(lines ? kKeyLines.size() : 0);
    std::string info(lines ? text : text.substr(0, text.find('\0')));
    while (!info.empty() && static_cast<unsigned char>(info.back()) <= ' ')
        info.pop_back();
    std::ranges::replace(info, '\0', '\n');
    return info;
}

bool fillFromAu(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, kHeaderSize);
    ByteReader reader(head);
    ByteOrder order;
    if (!byteOrderOf(reader, order))
        return fail("Not a Sun, NeXT or DEC audio file");
    reader.skip(4);
    reader.setOrder(order);
    const std::uint32_t offset = reader.u32();
    const std::uint32_t size = reader.u32();
    const std::uint32_t code = reader.u32();
    const std::uint32_t rate = reader.u32();
    const std::uint32_t channels = reader.u32();
    if (!reader.ok())
        return fail("The audio file header is too short");
    const auto* coding = std::ranges::find(kCodings, code, &Coding::code);
    if (coding == std::end(kCodings))
        return fail(kUnknownSampleFormat);
    waveform.text(WaveText::Comment) = infoText(file, offset);
    StoredWave stored;
    stored.layout.encoding = coding->encoding;
    stored.layout.order = order;
    stored.channels = channels;
    stored.rate = rate;
    stored.position = std::max<std::uint32_t>(offset, kHeaderSize);
    stored.byteSize = size == kUnknownSize || size == 0 ? kToFileEnd : size;
    if (coding->codec.empty())
        return attachStoredWave(waveform, file, stored);
    if (!setChannels(waveform, file, channels))
        return false;
    setRate(waveform, file, rate);
    setEncoding(waveform, coding->encoding);
    waveform.bits = static_cast<std::uint8_t>(coding->codecBits);
    waveform.sourceOffset = stored.position;
    const std::uint64_t bytes = availableBytes(file, stored.position, stored.byteSize);
    waveform.frames = clampFrames(file, bytes * 8 / static_cast<unsigned>(coding->codecBits) / channels);
    waveform.setSource(undecodedSource(coding->codec));
    return true;
}

}  // namespace

bool readAu(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromAu);
}

bool writeAu(Item& item, OpenFile& file, std::uint32_t) {
    Waveform* waveform = waveformToWrite(item);
    WavePlan plan;
    if (!waveform || !planWave(*waveform, file.save, kWritable, ByteOrder::Big, plan))
        return false;
    const std::string_view info = waveform->text(WaveText::Comment);
    // Some readers expect at least four bytes of info, and the data at a multiple of 8.
    const std::size_t infoSize = (std::max<std::size_t>(info.size() + 1, 8) + 7) / 8 * 8;
    FileImage image;
    if (!image.allocate(kHeaderSize + infoSize + plan.dataSize))
        return false;
    ByteWriter to(image.bytes(), ByteOrder::Big);
    to.id(fourCc(".snd"));
    to.u32(static_cast<std::uint32_t>(kHeaderSize + infoSize));
    to.u32(plan.dataSize < kUnknownSize ? static_cast<std::uint32_t>(plan.dataSize) : kUnknownSize);
    to.u32(std::ranges::find(kCodings, plan.target.layout.encoding, &Coding::encoding)->code);
    to.u32(waveform->sampleRate);
    to.u32(static_cast<std::uint32_t>(plan.target.channels));
    to.text(info, infoSize);
    return encodeWaveform(*waveform, plan.target, to.block(to.remaining()), *file.ui) &&
           file.write(image.bytes());
}

}  // namespace velor
