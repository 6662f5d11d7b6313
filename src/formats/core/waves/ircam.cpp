#include "formats/core/waves/ircam.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

constexpr std::size_t kHeaderSize = 1024;
constexpr std::size_t kCodesAt = 16;
constexpr std::uint16_t kEndCode = 0, kCommentCode = 2;
constexpr std::uint32_t kMostChannels = 256;
constexpr std::size_t kBicsfHeaderAt = 28;  // behind an .au header

enum class Machine : std::uint8_t { Vax = 1, Sun = 2, Mips = 3, Next = 4 };

struct Coding {
    std::uint32_t code;
    SampleEncoding encoding;
};
constexpr Coding kCodings[] = {
    {1, SampleEncoding::Pcm8},        {2, SampleEncoding::Pcm16},       {3, SampleEncoding::Pcm24},
    {0x40004, SampleEncoding::Pcm32}, {4, SampleEncoding::Float32},     {8, SampleEncoding::Float64},
    {0x10001, SampleEncoding::ALaw},  {0x20001, SampleEncoding::MuLaw},
};
constexpr std::uint32_t kWritable = encodingMask(
    {SampleEncoding::Pcm8, SampleEncoding::Pcm16, SampleEncoding::Pcm24, SampleEncoding::Pcm32,
     SampleEncoding::Float32, SampleEncoding::Float64, SampleEncoding::ALaw, SampleEncoding::MuLaw});

// The machine whose number the first four bytes are, and its byte order: 64 A3 machine 00, or the same bytes
// swapped by a program that ran on the other kind.
bool machineOf(std::span<const Byte> head, Machine& machine, ByteOrder& order) {
    if (head.size() < 4)
        return false;
    const bool straight = head[0] == 0x64 && head[1] == 0xA3 && head[3] == 0;
    const bool swapped = head[0] == 0 && head[2] == 0xA3 && head[3] == 0x64;
    const unsigned number = straight ? head[2] : head[1];
    if ((!straight && !swapped) || number < 1 || number > 4)
        return false;
    machine = static_cast<Machine>(number);
    const bool little = machine == Machine::Vax || machine == Machine::Mips;
    order = little == straight ? ByteOrder::Little : ByteOrder::Big;
    return true;
}

// A 32-bit float of a VAX: its high half comes first, and its exponent is biased by two more.
float vaxFloat(const Byte* bytes) {
    const std::uint32_t bits =
        static_cast<std::uint32_t>(loadLe<std::uint16_t>(bytes)) << 16 | loadLe<std::uint16_t>(bytes + 2);
    return std::bit_cast<float>(bits) / 4;
}

bool isPlausibleRate(float rate) {
    return rate >= 100 && rate <= 1e6f;
}

std::string commentIn(ByteReader codes) {
    for (;;) {
        const std::uint16_t code = codes.u16();
        const std::uint16_t size = codes.u16();
        if (!codes.ok() || code == kEndCode || size > codes.remaining())
            return {};
        if (code == kCommentCode)
            return fieldText(codes, size);
        codes.skip(size);
    }
}

bool fillFromIrcam(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, kHeaderSize);
    std::span<const Byte> header(head);
    if (header.size() > kBicsfHeaderAt && loadLe<std::uint32_t>(header.data()) == fourCc(".snd"))
        header = header.subspan(kBicsfHeaderAt);
    Machine machine;
    ByteOrder order;
    if (!machineOf(header, machine, order) || header.size() < kCodesAt)
        return fail("Not an IRCAM sound file");
    // Some files carry the number of another machine than the one that wrote them.
    const auto channelsIn = [&header](ByteOrder as) { return loadAs<std::uint32_t>(header.data() + 8, as); };
    const auto areSane = [](std::uint32_t channels) { return channels >= 1 && channels <= kMostChannels; };
    const ByteOrder other = order == ByteOrder::Big ? ByteOrder::Little : ByteOrder::Big;
    if (!areSane(channelsIn(order)) && areSane(channelsIn(other)))
        order = other;
    ByteReader reader(header, order);
    reader.skip(4);
    float rate = reader.f32();
    if (!isPlausibleRate(rate) && machine == Machine::Vax && isPlausibleRate(vaxFloat(header.data() + 4)))
        rate = vaxFloat(header.data() + 4);
    const std::uint32_t channels = reader.u32();
    const auto* coding = std::ranges::find(kCodings, reader.u32(), &Coding::code);
    if (coding == std::end(kCodings))
        return fail(kUnknownSampleFormat);
    waveform.text(WaveText::Comment) = commentIn(reader);
    StoredWave stored;
    stored.layout.encoding = coding->encoding;
    stored.layout.order = order;
    stored.channels = channels;
    stored.rate = static_cast<double>(rate);
    stored.position = kHeaderSize;
    return attachStoredWave(waveform, file, stored);
}

}  // namespace

bool readIrcam(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromIrcam);
}

bool writeIrcam(Item& item, OpenFile& file, std::uint32_t) {
    WavePlan plan;
    Waveform* waveform = planWave(item, file, kWritable, ByteOrder::Big, plan);
    if (!waveform)
        return false;
    FileImage image;
    if (!image.allocate(kHeaderSize + plan.dataSize))
        return false;
    ByteWriter to(image.bytes(), ByteOrder::Big);
    to.bytes({{0x64, 0xA3, static_cast<Byte>(Machine::Sun), 0}});
    to.f32(static_cast<float>(waveform->sampleRate));
    to.u32(static_cast<std::uint32_t>(plan.target.channels));
    to.u32(std::ranges::find(kCodings, plan.target.layout.encoding, &Coding::encoding)->code);
    constexpr std::size_t kBlockHeads = 8;  // of the comment and of the end
    const std::string_view comment = std::string_view(waveform->text(WaveText::Comment))
                                         .substr(0, kHeaderSize - kCodesAt - kBlockHeads - 4);
    if (!comment.empty()) {
        const std::size_t size = (comment.size() + 4) / 4 * 4;  // with its zero, whole words
        to.u16(kCommentCode);
        to.u16(static_cast<std::uint16_t>(size));
        to.text(comment, size);
    }
    to.zeros(kHeaderSize - to.position());
    return finishWave(*waveform, plan, to, image, file);
}

}  // namespace velor
