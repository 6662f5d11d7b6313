#include "formats/core/waves/sound_designer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <optional>

#include "base/error.h"
#include "base/text.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

// ---- Sound Designer I ----

constexpr std::size_t kHeader1 = 1336;
constexpr std::size_t kSizeAt = 184, kCommentAt = 764, kRateAt = 1020, kTypeAt = 1030, kUserTextAt = 1064;
constexpr std::size_t kTextField = 256, kTypeField = 34;
constexpr std::string_view kLinear = "Linear";

// Text behind its length byte in a field of fixed width.
std::string pascalText(std::span<const Byte> header, std::size_t at, std::size_t width) {
    ByteReader reader(header.subspan(at, width));
    const std::size_t length = reader.u8();
    return fieldText(reader, std::min(length, width - 1));
}

void writePascalText(ByteWriter& to, std::string_view text, std::size_t width) {
    text = text.substr(0, std::min<std::size_t>(width - 1, 255));
    to.u8(static_cast<std::uint8_t>(text.size()));
    to.text(text, width - 1);
}

bool fillFromSoundDesigner1(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, kHeader1);
    if (head.size() < kHeader1 || loadBe<std::uint16_t>(head.data()) != kHeader1)
        return fail("Not a Sound Designer file");
    const auto bytes = loadBe<std::uint32_t>(head.data() + kSizeAt);
    ByteReader reader(head, ByteOrder::Big);
    reader.seek(kRateAt);
    StoredWave stored;
    stored.rate = reader.s32();
    reader.skip(4);  // the period of a frame in microseconds
    const std::uint16_t bits = reader.u16();
    stored.layout = {bits == 8 ? SampleEncoding::Pcm8 : SampleEncoding::Pcm16, ByteOrder::Big, false};
    stored.position = kHeader1;
    stored.byteSize = bytes ? bytes : kToFileEnd;
    std::string comment = pascalText(head, kCommentAt, kTextField);
    const std::string more = pascalText(head, kUserTextAt, kTextField);
    if (!comment.empty() && !more.empty())
        comment += "\n";
    waveform.text(WaveText::Comment) = comment + more;
    return attachStoredWave(waveform, file, stored);
}

// ---- Sound Designer II ----

constexpr std::uint32_t kWritable2 =
    encodingMask({SampleEncoding::Pcm8, SampleEncoding::Pcm16, SampleEncoding::Pcm24});
constexpr std::size_t kMostFork = 16u << 20;
constexpr std::uint32_t kAppleDouble = 0x00051607, kAppleDoubleVersion = 0x00020000;
constexpr std::uint32_t kResourceForkEntry = 2, kFinderInfoEntry = 9;
constexpr std::uint32_t kFinderInfoSize = 32;
constexpr std::uint16_t kSizeString = 1000, kRateString = 1001, kChannelsString = 1002;
constexpr std::size_t kMapHeader = 28, kReferenceSize = 12;

struct Sd2Format {
    std::uint32_t sampleBytes = 2;
    double rate = 44100;
    std::uint32_t channels = 2;
};

// The string resource `id` of a classic resource fork.
std::optional<std::string> stringResource(std::span<const Byte> fork, std::uint16_t id) {
    ByteReader reader(fork, ByteOrder::Big);
    const std::uint32_t data = reader.u32();
    const std::uint32_t map = reader.u32();
    if (!reader.ok() || map > fork.size() || fork.size() - map < kMapHeader)
        return std::nullopt;
    reader.seek(map + 24);
    const std::size_t typeList = std::size_t{map} + reader.u16();
    if (typeList > fork.size())
        return std::nullopt;
    reader.seek(typeList);
    const unsigned types = (reader.u16() + 1u) & 0xFFFF;
    for (unsigned i = 0; i < types && reader.ok(); ++i) {
        const std::uint32_t type = reader.id();
        const unsigned count = reader.u16() + 1u;
        const std::size_t references = typeList + reader.u16();
        if (type != fourCc("STR ") || references > fork.size())
            continue;
        ByteReader list(fork, ByteOrder::Big);
        list.seek(references);
        for (unsigned k = 0; k < count && list.remaining() >= kReferenceSize; ++k) {
            const std::uint16_t found = list.u16();
            list.skip(2);  // name
            const std::size_t at = std::size_t{data} + (list.u32() & 0xFFFFFF);
            list.skip(4);
            if (found != id || at > fork.size() || fork.size() - at < 5)
                continue;
            ByteReader value(fork.subspan(at + 4), ByteOrder::Big);  // behind the resource's size
            const std::size_t length = value.u8();
            return value.text(std::min(length, value.remaining()));
        }
    }
    return std::nullopt;
}

bool parseFork(std::span<const Byte> fork, Sd2Format& format) {
    const auto number = [&fork](std::uint16_t id) {
        double value = 0;
        const auto text = stringResource(fork, id);
        return text && parseNumber(trim(*text), value) ? value : 0.0;
    };
    const double size = number(kSizeString), rate = number(kRateString), channels = number(kChannelsString);
    if (size >= 1 && size <= 4)
        format.sampleBytes = static_cast<std::uint32_t>(size);
    if (rate > 0)
        format.rate = rate;
    if (channels >= 1 && channels <= 1024)
        format.channels = static_cast<std::uint32_t>(channels);
    return size > 0 || rate > 0 || channels > 0;
}

// The resource fork in an AppleDouble file, or in a file that is nothing else.
std::span<const Byte> forkIn(std::span<const Byte> bytes) {
    ByteReader reader(bytes, ByteOrder::Big);
    if (reader.u32() != kAppleDouble)
        return bytes;
    reader.skip(20);
    for (unsigned left = reader.u16(); left > 0 && reader.remaining() >= 12; --left) {
        const std::uint32_t id = reader.u32();
        const std::uint32_t offset = reader.u32();
        const std::uint32_t size = reader.u32();
        if (id == kResourceForkEntry && offset <= bytes.size())
            return bytes.subspan(offset, std::min<std::size_t>(size, bytes.size() - offset));
    }
    return {};
}

std::filesystem::path companionOf(const std::filesystem::path& path) {
    std::filesystem::path name = "._";
    name += path.filename();
    return path.parent_path() / name;
}

// Looks where other systems and their file servers leave resource forks.
bool readCompanion(const OpenFile& file, Sd2Format& format) {
    const std::string before = LastErrorText;
    bool found = false;
    const auto folder = file.path.parent_path();
    for (const auto& path : {companionOf(file.path), folder / ".AppleDouble" / file.path.filename()}) {
        const auto companion = found ? nullptr : File::open(path);
        if (!companion)
            continue;
        std::vector<Byte> bytes(
            static_cast<std::size_t>(std::min<std::uint64_t>(companion->size(), kMostFork)));
        bytes.resize(companion->readSome(0, bytes));
        found = parseFork(forkIn(bytes), format);
    }
    LastErrorText = before;
    return found;
}

bool attachSd2(OpenFile& file, Waveform& waveform, const Sd2Format& format, std::uint64_t position,
               std::uint64_t bytes) {
    StoredWave stored;
    stored.layout = {pcmEncoding(format.sampleBytes), ByteOrder::Big, false};
    stored.channels = format.channels;
    stored.rate = format.rate;
    stored.position = position;
    stored.byteSize = bytes;
    return attachStoredWave(waveform, file, stored);
}

bool fillFromSd2(OpenFile& file, Waveform& waveform) {
    Sd2Format format;
    if (!readCompanion(file, format))
        file.warn("There is no resource fork beside the file - taken as 16-bit stereo at 44100 Hz");
    return attachSd2(file, waveform, format, 0, kToFileEnd);
}

constexpr std::size_t kMacBinary = 128;

bool fillFromSd2Flat(OpenFile& file, Waveform& waveform) {
    const auto head = bytesAt(file, 0, kMacBinary);
    if (head.size() < kMacBinary || head[0] != 0 || loadLe<std::uint32_t>(head.data() + 65) != fourCc("Sd2f"))
        return fail("Not a Sound Designer II file");
    if (const std::string name = pascalText(head, 1, 64); !name.empty())
        waveform.setName(name);
    const std::uint64_t dataSize = loadBe<std::uint32_t>(head.data() + 83);
    const std::size_t forkSize = loadBe<std::uint32_t>(head.data() + 87);
    const std::uint64_t forkAt = kMacBinary + (dataSize + kMacBinary - 1) / kMacBinary * kMacBinary;
    Sd2Format format;
    if (!parseFork(bytesAt(file, forkAt, std::min(forkSize, kMostFork)), format))
        file.warn("The resource fork is missing - taken as 16-bit stereo at 44100 Hz");
    return attachSd2(file, waveform, format, kMacBinary, dataSize);
}

// A resource fork with the three strings, as large as it needs to be.
std::vector<Byte> makeFork(const Waveform& waveform, const WavePlan& plan) {
    constexpr std::size_t kDataAt = 256;  // where system software puts it
    const std::array<std::pair<std::uint16_t, std::string>, 3> strings{{
        {kSizeString, std::to_string(plan.bytesPerSample())},
        {kRateString, formatText("%u.0000", unsigned{waveform.sampleRate})},
        {kChannelsString, std::to_string(plan.target.channels)},
    }};
    std::size_t dataSize = 0;
    for (const auto& each : strings)
        dataSize += 4 + 1 + each.second.size();
    const std::size_t mapSize = kMapHeader + 2 + 8 + strings.size() * kReferenceSize;
    std::vector<Byte> fork(kDataAt + dataSize + mapSize);
    ByteWriter to(fork, ByteOrder::Big);
    const auto sizes = [&] {
        to.u32(kDataAt);
        to.u32(static_cast<std::uint32_t>(kDataAt + dataSize));
        to.u32(static_cast<std::uint32_t>(dataSize));
        to.u32(static_cast<std::uint32_t>(mapSize));
    };
    sizes();
    to.zeros(kDataAt - to.position());
    for (const auto& each : strings) {
        to.u32(static_cast<std::uint32_t>(each.second.size() + 1));
        writePascalText(to, each.second, each.second.size() + 1);
    }
    sizes();  // the map begins with a copy
    to.zeros(8);
    to.u16(kMapHeader);                           // type list
    to.u16(static_cast<std::uint16_t>(mapSize));  // names: none
    to.u16(0);                                    // one type
    to.id(fourCc("STR "));
    to.u16(static_cast<std::uint16_t>(strings.size() - 1));
    to.u16(2 + 8);
    std::uint32_t at = 0;
    for (const auto& each : strings) {
        to.u16(each.first);
        to.u16(0xFFFF);  // no name
        to.u32(at);
        to.u32(0);
        at += static_cast<std::uint32_t>(4 + 1 + each.second.size());
    }
    return fork;
}

// The CRC that ends a MacBinary II header: polynomial x^16 + x^12 + x^5 + 1, from 0, top bit first.
std::uint16_t macBinaryCrc(std::span<const Byte> bytes) {
    unsigned crc = 0;
    for (const Byte byte : bytes) {
        crc ^= unsigned{byte} << 8;
        for (int bit = 0; bit < 8; ++bit)
            crc = crc & 0x8000 ? crc << 1 ^ 0x1021 : crc << 1;
    }
    return static_cast<std::uint16_t>(crc);
}

bool writeCompanion(const Waveform& waveform, const WavePlan& plan, const OpenFile& file) {
    constexpr std::uint32_t kEntriesEnd = 26 + 2 * 12;
    constexpr std::uint32_t kForkAt = kEntriesEnd + kFinderInfoSize;
    const std::vector<Byte> fork = makeFork(waveform, plan);
    std::vector<Byte> bytes(kForkAt + fork.size());
    ByteWriter to(bytes, ByteOrder::Big);
    to.u32(kAppleDouble);
    to.u32(kAppleDoubleVersion);
    to.zeros(16);
    to.u16(2);
    to.u32(kFinderInfoEntry);
    to.u32(kEntriesEnd);
    to.u32(kFinderInfoSize);
    to.u32(kResourceForkEntry);
    to.u32(kForkAt);
    to.u32(static_cast<std::uint32_t>(fork.size()));
    to.id(fourCc("Sd2f"));
    to.id(fourCc("Sd2a"));
    to.zeros(kFinderInfoSize - 8);
    to.bytes(fork);
    const auto output = OutputFile::create(companionOf(file.path));
    return output && output->write(bytes) && output->commit();
}

}  // namespace

bool readSoundDesigner1(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromSoundDesigner1);
}

bool writeSoundDesigner1(Item& item, OpenFile& file, std::uint32_t) {
    constexpr std::uint32_t kWritable1 = encodingMask({SampleEncoding::Pcm8, SampleEncoding::Pcm16});
    WavePlan plan;
    Waveform* waveform = planWave(item, file, kWritable1, ByteOrder::Big, plan);
    if (!waveform)
        return false;
    if (plan.dataSize > INT32_MAX)
        return fail("The waveform is too long for a Sound Designer file, which can hold 2 GiB at most");
    FileImage image;
    if (!image.allocate(kHeader1 + plan.dataSize))
        return false;
    ByteWriter to(image.bytes(), ByteOrder::Big);
    to.u16(kHeader1);
    to.zeros(kSizeAt - to.position());
    to.u32(static_cast<std::uint32_t>(plan.dataSize));
    to.zeros(kCommentAt - to.position());
    writePascalText(to, waveform->text(WaveText::Comment), kTextField);
    to.u32(waveform->sampleRate);
    to.u32(waveform->sampleRate ? 1000000 / waveform->sampleRate : 0);
    to.u16(static_cast<std::uint16_t>(plan.bytesPerSample() * 8));
    to.zeros(kTypeAt - to.position());
    writePascalText(to, kLinear, kTypeField);
    to.zeros(kHeader1 - to.position());
    return finishWave(*waveform, plan, to, image, file);
}

bool readSoundDesigner2(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromSd2);
}

bool writeSoundDesigner2(Item& item, OpenFile& file, std::uint32_t) {
    WavePlan plan;
    Waveform* waveform = planWave(item, file, kWritable2, ByteOrder::Big, plan);
    FileImage image;
    if (!waveform || !image.allocate(plan.dataSize) ||
        !encodeWaveform(*waveform, plan.target, image.bytes(), *file.ui) || !file.write(image.bytes()))
        return false;
    if (!file.output->path().empty())
        return writeCompanion(*waveform, plan, file);
    file.warn(
        "The resource fork, which names rate, channels and bits, is not written to the standard output");
    return true;
}

bool readSoundDesigner2Flat(Collection& collection, OpenFile& file, std::uint32_t) {
    return readWaveform(collection, file, fillFromSd2Flat);
}

bool writeSoundDesigner2Flat(Item& item, OpenFile& file, std::uint32_t) {
    WavePlan plan;
    Waveform* waveform = planWave(item, file, kWritable2, ByteOrder::Big, plan);
    if (!waveform)
        return false;
    if (plan.dataSize > INT32_MAX)
        return fail("The waveform is too long for a MacBinary file, which can hold 2 GiB at most");
    const auto padded = [](std::uint64_t size) { return (size + kMacBinary - 1) / kMacBinary * kMacBinary; };
    const std::vector<Byte> fork = makeFork(*waveform, plan);
    FileImage image;
    if (!image.allocate(kMacBinary + padded(plan.dataSize) + padded(fork.size())))
        return false;
    ByteWriter to(image.bytes(), ByteOrder::Big);
    to.u8(0);
    writePascalText(to, waveform->name().empty() ? std::string_view("Untitled") : waveform->name(), 64);
    to.id(fourCc("Sd2f"));
    to.id(fourCc("Sd2a"));
    to.zeros(83 - to.position());
    to.u32(static_cast<std::uint32_t>(plan.dataSize));
    to.u32(static_cast<std::uint32_t>(fork.size()));
    to.zeros(122 - to.position());
    to.u8(129);  // MacBinary II, which readers of the first version understand too
    to.u8(129);
    to.u16(macBinaryCrc(image.bytes().first(124)));
    to.zeros(2);
    const std::span<Byte> data = to.block(static_cast<std::size_t>(plan.dataSize));
    to.zeros(static_cast<std::size_t>(padded(plan.dataSize) - plan.dataSize));
    to.bytes(fork);
    to.zeros(to.remaining());
    return encodeWaveform(*waveform, plan.target, data, *file.ui) && file.write(image.bytes());
}

}  // namespace velor
