#include "formats/core/waves/au.h"

#include <algorithm>

#include "base/error.h"
#include "formats/core/codec_streams.h"
#include "formats/core/codec_writer.h"
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
    int width = 0;  // bits of a code of the ITU-T codecs
};

constexpr std::uint32_t kG722 = 24;

// The first row of an encoding is the one that the writer uses.
constexpr Coding kCodings[] = {
    {1, SampleEncoding::MuLaw},      {2, SampleEncoding::Pcm8},
    {3, SampleEncoding::Pcm16},      {4, SampleEncoding::Pcm24},
    {5, SampleEncoding::Pcm32},      {6, SampleEncoding::Float32},
    {7, SampleEncoding::Float64},    {27, SampleEncoding::ALaw},
    {10, SampleEncoding::Pcm8},  // 10..13: fixed-point data of a signal processor
    {11, SampleEncoding::Pcm16},     {12, SampleEncoding::Pcm24},
    {13, SampleEncoding::Pcm32},     {18, SampleEncoding::Pcm16},         // with emphasis
    {23, SampleEncoding::Adpcm4, 4},                                      // G.721
    {25, SampleEncoding::Adpcm3, 3},                                      // G.723
    {26, SampleEncoding::Adpcm5, 5}, {kG722, SampleEncoding::Adpcm4, 8},  // a code of 8 bits for two samples
};
constexpr std::uint32_t kWritable = encodingMask(
    {SampleEncoding::MuLaw, SampleEncoding::ALaw, SampleEncoding::Pcm8, SampleEncoding::Pcm16,
     SampleEncoding::Pcm24, SampleEncoding::Pcm32, SampleEncoding::Float32, SampleEncoding::Float64,
     SampleEncoding::Adpcm3, SampleEncoding::Adpcm4, SampleEncoding::Adpcm5});

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

// The codes of the ITU-T codecs are packed from the low bits up.
bool attachCodes(Waveform& waveform, OpenFile& file, const StoredWave& stored, const Coding& coding) {
    if (stored.channels > 2)
        return fail("Too many channels");
    if (!setChannels(waveform, file, stored.channels))
        return false;
    setRate(waveform, file, stored.rate);
    setEncoding(waveform, coding.encoding);
    waveform.bits = static_cast<std::uint8_t>(coding.width);
    CodecData data;
    data.position = stored.position;
    data.byteSize = availableBytes(file, stored.position, stored.byteSize);
    if (coding.code == kG722)
        setG722(data, coding.width, CodePacking::LowBitsFirst, waveform.channels);
    else
        setG72x(data, coding.width, CodePacking::LowBitsFirst, waveform.channels);
    waveform.frames = clampFrames(file, framesIn(data));
    attachCodecSamples(waveform, file.input, std::move(data));
    return true;
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
    return coding->width == 0 ? attachStoredWave(waveform, file, stored)
                              : attachCodes(waveform, file, stored, *coding);
}

}  // namespace

bool readAu(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromAu);
}

bool writeAu(Item& item, OpenFile& file, std::uint32_t) {
    WavePlan plan;
    Waveform* waveform = planWave(item, file, kWritable, ByteOrder::Big, plan);
    if (!waveform)
        return false;
    const Coding& coding = *std::ranges::find(kCodings, plan.target.layout.encoding, &Coding::encoding);
    const auto channels = static_cast<std::uint32_t>(plan.target.channels);
    if (coding.width != 0)
        plan.dataSize = packedSize(std::uint64_t{waveform->frames} * channels, coding.width);
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
    to.u32(coding.code);
    to.u32(waveform->sampleRate);
    to.u32(channels);
    to.text(info, infoSize);
    const std::span<Byte> data = to.block(to.remaining());
    const int codeChannels = plan.target.channels;
    const bool encoded = coding.width != 0
                             ? encodeCodes(*waveform, codeChannels, data, *file.ui,
                                           G72xEncoder(coding.width, CodePacking::LowBitsFirst, codeChannels))
                             : encodeWaveform(*waveform, plan.target, data, *file.ui);
    return encoded && file.write(image.bytes());
}

}  // namespace velor
