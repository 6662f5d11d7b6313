#include "formats/core/waves/matlab.h"

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "base/error.h"
#include "formats/core/waves/wave_file.h"

namespace velor {

namespace {

constexpr std::uint32_t kMostVariables = 4096;
constexpr std::uint32_t kLongestName = 256;
constexpr std::string_view kRateName = "samplerate", kDataName = "wavedata", kRateSuffix = "_samplerate";

// Numbers of a matrix, column by column, somewhere in `file`.
struct Variable {
    std::string name;
    std::shared_ptr<File> file;
    SampleLayout layout;
    bool plain = true;  // an element type that samples come in
    std::uint64_t rows = 0, columns = 0;
    std::uint64_t position = 0, bytes = 0;

    std::uint64_t elements() const { return rows * columns; }
};

// ---- Level 4: matrices one after the other, each with a header of its own ----

bool layoutOfLevel4(std::uint32_t type, SampleLayout& layout) {
    static constexpr SampleEncoding kPrecisions[] = {SampleEncoding::Float64, SampleEncoding::Float32,
                                                     SampleEncoding::Pcm32,   SampleEncoding::Pcm16,
                                                     SampleEncoding::Pcm16,   SampleEncoding::Pcm8};
    const std::uint32_t precision = type / 10 % 10;
    if (type >= 2000 || precision >= std::size(kPrecisions) || type % 10 != 0)
        return false;
    layout = {kPrecisions[precision], type >= 1000 ? ByteOrder::Big : ByteOrder::Little, precision >= 4};
    return true;
}

std::vector<Variable> variablesOfLevel4(const std::shared_ptr<File>& file) {
    constexpr std::size_t kHeader = 20;
    std::vector<Variable> variables;
    std::uint64_t position = 0;
    while (variables.size() < kMostVariables) {
        const auto head = bytesAt(*file, position, kHeader);
        if (head.size() < kHeader)
            break;
        ByteReader reader(head);
        if (loadLe<std::uint32_t>(head.data()) >= 10000)
            reader.setOrder(ByteOrder::Big);
        const std::uint32_t type = reader.u32();
        Variable variable;
        variable.file = file;
        variable.plain = layoutOfLevel4(type, variable.layout);
        variable.rows = reader.u32();
        variable.columns = reader.u32();
        const std::uint32_t parts = reader.u32() ? 2 : 1;  // an imaginary part follows the real one
        const std::uint32_t nameBytes = reader.u32();
        if (type >= 10000 || nameBytes > kLongestName)
            break;
        const auto name = bytesAt(*file, position + kHeader, nameBytes);
        variable.name = ByteReader(name).text(name.size());
        variable.position = position + kHeader + nameBytes;
        const auto width = static_cast<unsigned>(encodingBits(variable.layout.encoding)) / 8;
        if (variable.elements() > (std::uint64_t{1} << 40))
            break;
        variable.bytes = variable.elements() * width;
        position = variable.position + variable.bytes * parts;
        variables.push_back(std::move(variable));
        if (position >= file->size())
            break;
    }
    return variables;
}

// ---- Level 5: tagged elements, possibly packed ----

constexpr std::size_t kLevel5Header = 128;
constexpr std::uint32_t kMatrix = 14, kPacked = 15;

enum ElementType : std::uint32_t {
    kInt8 = 1,
    kUint8 = 2,
    kInt16 = 3,
    kUint16 = 4,
    kInt32 = 5,
    kUint32 = 6,
    kSingle = 7,
    kDouble = 9,
};

bool layoutOfLevel5(std::uint32_t type, ByteOrder order, SampleLayout& layout) {
    layout.order = order;
    layout.isUnsigned = type == kUint8 || type == kUint16 || type == kUint32;
    switch (type) {
        case kInt8:
        case kUint8:
            layout.encoding = SampleEncoding::Pcm8;
            return true;
        case kInt16:
        case kUint16:
            layout.encoding = SampleEncoding::Pcm16;
            return true;
        case kInt32:
        case kUint32:
            layout.encoding = SampleEncoding::Pcm32;
            return true;
        case kSingle:
            layout.encoding = SampleEncoding::Float32;
            return true;
        case kDouble:
            layout.encoding = SampleEncoding::Float64;
            return true;
        default:
            return false;
    }
}

struct Element {
    std::uint32_t type = 0, size = 0;
    std::uint64_t position = 0, next = 0;
};

bool readElement(const File& file, std::uint64_t position, ByteOrder order, Element& element) {
    const auto tag = bytesAt(file, position, 8);
    if (tag.size() < 8)
        return false;
    const auto first = loadAs<std::uint32_t>(tag.data(), order);
    if (first >> 16) {  // size and up to four bytes of data in the tag itself
        element = {first & 0xFFFF, std::min(first >> 16, 4u), position + 4, position + 8};
        return true;
    }
    element.type = first;
    element.size = loadAs<std::uint32_t>(tag.data() + 4, order);
    element.position = position + 8;
    const std::uint64_t padded =
        element.type == kPacked ? element.size : (std::uint64_t{element.size} + 7) / 8 * 8;
    element.next = element.position + padded;
    return true;
}

bool readMatrix(const std::shared_ptr<File>& file, const Element& matrix, ByteOrder order,
                Variable& variable) {
    Element part;
    std::uint64_t position = matrix.position;
    const auto next = [&] {
        const bool found = readElement(*file, position, order, part);
        position = part.next;
        return found;
    };
    if (!next() || !next() || part.type != kInt32 || part.size < 8)  // flags, sizes
        return false;
    const auto sizes = bytesAt(*file, part.position, 8);
    if (sizes.size() < 8 || part.size > 8)  // more than two dimensions
        return false;
    variable.rows = loadAs<std::uint32_t>(sizes.data(), order);
    variable.columns = loadAs<std::uint32_t>(sizes.data() + 4, order);
    if (!next() || part.type != kInt8)
        return false;
    const auto name = bytesAt(*file, part.position, std::min(part.size, kLongestName));
    variable.name = ByteReader(name).text(name.size());
    if (!next())
        return false;
    variable.plain = layoutOfLevel5(part.type, order, variable.layout);
    variable.file = file;
    variable.position = part.position;
    const std::uint64_t end = matrix.position + matrix.size;
    variable.bytes = std::min<std::uint64_t>(part.size, end > part.position ? end - part.position : 0);
    return true;
}

// A packed element becomes a file of its own in memory. Samples pack by less than this factor.
std::shared_ptr<File> unpackElement(const File& file, const Element& element) {
    constexpr std::uint64_t kMostFactor = 64, kSlack = 1u << 16;
    const auto packed = bytesAt(file, element.position, element.size);
    const std::uint64_t most = packed.size() * kMostFactor + kSlack;
    std::vector<Byte> bytes;
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK)
        return nullptr;
    stream.next_in = const_cast<Bytef*>(packed.data());  // zlib only reads it
    stream.avail_in = static_cast<uInt>(packed.size());
    int state = Z_OK;
    while (state == Z_OK && bytes.size() < most) {
        constexpr std::size_t kPiece = 1u << 16;
        const std::size_t before = bytes.size();
        bytes.resize(before + kPiece);
        stream.next_out = bytes.data() + before;
        stream.avail_out = kPiece;
        state = inflate(&stream, Z_NO_FLUSH);
        bytes.resize(bytes.size() - stream.avail_out);
    }
    inflateEnd(&stream);
    return bytes.empty() ? nullptr : File::fromBytes(std::move(bytes), file.path());
}

std::vector<Variable> variablesOfLevel5(const std::shared_ptr<File>& file, ByteOrder order) {
    std::vector<Variable> variables;
    Element element;
    for (std::uint64_t position = kLevel5Header;
         variables.size() < kMostVariables && readElement(*file, position, order, element);
         position = element.next) {
        Variable variable;
        if (element.type == kPacked) {
            Element inner;
            const auto unpacked = unpackElement(*file, element);
            if (unpacked && readElement(*unpacked, 0, order, inner) && inner.type == kMatrix &&
                readMatrix(unpacked, inner, order, variable))
                variables.push_back(std::move(variable));
        } else if (element.type == kMatrix && readMatrix(file, element, order, variable)) {
            variables.push_back(std::move(variable));
        }
        if (element.next <= position)
            break;
    }
    return variables;
}

// ---- Variables to waveforms ----

// A matrix of one number.
bool scalarOf(const Variable& variable, double& value) {
    if (variable.elements() != 1 || !variable.plain)
        return false;
    const auto width = static_cast<std::size_t>(encodingBits(variable.layout.encoding)) / 8;
    const auto bytes = bytesAt(*variable.file, variable.position, width);
    if (bytes.size() < width)
        return false;
    const ByteOrder order = variable.layout.order;
    const bool isUnsigned = variable.layout.isUnsigned;
    switch (variable.layout.encoding) {
        case SampleEncoding::Float64:
            value = loadAs<double>(bytes.data(), order);
            break;
        case SampleEncoding::Float32:
            value = static_cast<double>(loadAs<float>(bytes.data(), order));
            break;
        case SampleEncoding::Pcm32:
            value = isUnsigned ? static_cast<double>(loadAs<std::uint32_t>(bytes.data(), order))
                               : static_cast<double>(loadAs<std::int32_t>(bytes.data(), order));
            break;
        case SampleEncoding::Pcm16:
            value = isUnsigned ? loadAs<std::uint16_t>(bytes.data(), order)
                               : loadAs<std::int16_t>(bytes.data(), order);
            break;
        default:
            value = bytes[0];
            break;
    }
    return true;
}

bool isRateName(std::string_view name) {
    return name == kRateName || name == "fs" || name == "Fs" || name == "FS" || name == "sr" ||
           name == "rate";
}

bool attachVariable(Waveform& waveform, OpenFile& file, const Variable& variable, double rate) {
    OpenFile from = file;
    from.input = variable.file;
    StoredWave stored;
    stored.layout = variable.layout;
    stored.rate = rate;
    stored.position = variable.position;
    stored.byteSize = variable.bytes;
    // One column for each frame, or one for each channel.
    const bool columnsAreFrames = variable.rows <= variable.columns;
    const std::uint64_t channels = columnsAreFrames ? variable.rows : variable.columns;
    stored.channels = static_cast<std::uint32_t>(std::min<std::uint64_t>(channels, UINT32_MAX));
    stored.frames = columnsAreFrames ? variable.columns : variable.rows;
    if (!columnsAreFrames && channels > 1) {
        if (channels > 2 && !setChannels(waveform, file, stored.channels))  // warns
            return false;
        stored.channels = 2;
        stored.planar = true;
        stored.secondBlock =
            variable.position +
            stored.frames * static_cast<unsigned>(encodingBits(variable.layout.encoding)) / 8;
        stored.byteSize = std::min(stored.byteSize, 2 * (stored.secondBlock - variable.position));
    }
    return attachStoredWave(waveform, from, stored);
}

bool readVariables(Collection& collection, OpenFile& file, const std::vector<Variable>& variables) {
    double rate = 0;
    std::map<std::string, double, std::less<>> rates;  // of single waveforms
    for (const Variable& each : variables) {
        double value = 0;
        if (!scalarOf(each, value))
            continue;
        if (isRateName(each.name))
            rate = value;
        else if (each.name.ends_with(kRateSuffix))
            rates[each.name.substr(0, each.name.size() - kRateSuffix.size())] = value;
    }
    std::size_t found = 0;
    for (const Variable& each : variables) {
        if (!each.plain || each.elements() < 2)
            continue;
        Waveform* waveform = createWaveform(collection, file);
        if (!waveform)
            return false;
        const auto own = rates.find(each.name);
        if (!attachVariable(*waveform, file, each, own != rates.end() ? own->second : rate)) {
            collection.remove(waveform->id());
            continue;
        }
        if (each.name != kDataName && !each.name.empty())
            waveform->setName(each.name);
        ++found;
    }
    return found > 0 || fail("The MATLAB file holds no waveform");
}

// ---- Writing level 5 ----

constexpr std::uint32_t kWritable =
    encodingMask({SampleEncoding::Pcm8, SampleEncoding::Pcm16, SampleEncoding::Pcm32, SampleEncoding::Float32,
                  SampleEncoding::Float64});

struct StoredType {
    SampleEncoding encoding;
    ElementType element;
    std::uint32_t arrayClass;
};
constexpr StoredType kStoredTypes[] = {
    {SampleEncoding::Pcm8, kUint8, 9},     {SampleEncoding::Pcm16, kInt16, 10},
    {SampleEncoding::Pcm32, kInt32, 12},   {SampleEncoding::Float32, kSingle, 7},
    {SampleEncoding::Float64, kDouble, 6},
};

std::uint64_t padded(std::uint64_t size) {
    return (size + 7) / 8 * 8;
}

std::uint64_t matrixSize(std::string_view name, std::uint64_t dataBytes) {
    return 16 + 16 + 8 + padded(name.size()) + 8 + padded(dataBytes);
}

// Everything up to the data of a matrix.
void writeMatrixHead(ByteWriter& to, std::string_view name, const StoredType& type, std::uint32_t rows,
                     std::uint32_t columns, std::uint64_t dataBytes) {
    to.u32(kMatrix);
    to.u32(static_cast<std::uint32_t>(matrixSize(name, dataBytes)));
    to.u32(kUint32);
    to.u32(8);
    to.u32(type.arrayClass);
    to.u32(0);
    to.u32(kInt32);
    to.u32(8);
    to.u32(rows);
    to.u32(columns);
    to.u32(kInt8);
    to.u32(static_cast<std::uint32_t>(name.size()));
    to.text(name, static_cast<std::size_t>(padded(name.size())));
    to.u32(type.element);
    to.u32(static_cast<std::uint32_t>(dataBytes));
}

std::vector<Byte> rateMatrix(std::string_view name, std::uint32_t rate) {
    std::vector<Byte> bytes(static_cast<std::size_t>(8 + matrixSize(name, 8)));
    ByteWriter to(bytes);
    writeMatrixHead(to, name, kStoredTypes[4], 1, 1, 8);
    to.write(static_cast<double>(rate));
    return bytes;
}

bool writeVariable(Waveform& waveform, OpenFile& file, const std::string& name, const std::string& rateName) {
    WavePlan plan;
    if (!planWave(waveform, file.save, kWritable, ByteOrder::Little, plan))
        return false;
    const StoredType& type =
        *std::ranges::find(kStoredTypes, plan.target.layout.encoding, &StoredType::encoding);
    plan.target.layout.isUnsigned = type.element == kUint8;
    const std::uint64_t size = matrixSize(name, plan.dataSize);
    if (size > UINT32_MAX)
        return fail("The waveform is too long for a MATLAB file, which can hold 4 GiB at most");
    FileImage image;
    if (!file.write(rateMatrix(rateName, waveform.sampleRate)) || !image.allocate(8 + size))
        return false;
    ByteWriter to(image.bytes());
    writeMatrixHead(to, name, type, static_cast<std::uint32_t>(plan.target.channels), waveform.frames,
                    plan.dataSize);
    const std::span<Byte> data = to.block(static_cast<std::size_t>(plan.dataSize));
    to.zeros(to.remaining());
    return encodeWaveform(waveform, plan.target, data, *file.ui) && file.write(image.bytes());
}

// A name as the language allows it, and none twice.
std::string variableName(std::string_view name, std::set<std::string>& used) {
    constexpr std::size_t kLongest = 48;
    std::string legal;
    for (const char c : name.substr(0, kLongest)) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        legal += letter || (c >= '0' && c <= '9') ? c : '_';
    }
    if (legal.empty() || legal[0] == '_' || (legal[0] >= '0' && legal[0] <= '9'))
        legal = "w" + legal;
    std::string unique = legal;
    for (int i = 2; !used.insert(unique).second; ++i)
        unique = legal + "_" + std::to_string(i);
    return unique;
}

}  // namespace

bool readMatlab(Collection& collection, OpenFile& file, std::uint32_t) {
    const auto head = bytesAt(file, 0, kLevel5Header);
    if (head.size() == kLevel5Header) {
        const std::string_view text(reinterpret_cast<const char*>(head.data()), head.size());
        const std::string_view order = text.substr(126, 2);
        if (text.starts_with("MATLAB") && (order == "IM" || order == "MI"))
            return readVariables(
                collection, file,
                variablesOfLevel5(file.input, order == "IM" ? ByteOrder::Little : ByteOrder::Big));
    }
    return readVariables(collection, file, variablesOfLevel4(file.input));
}

bool writeMatlab(Item& item, OpenFile& file, std::uint32_t) {
    static constexpr std::string_view kText = "MATLAB 5.0 MAT-file, written by Velor Studio";
    std::vector<Byte> head(kLevel5Header);
    ByteWriter to(head);
    to.text(kText, kText.size());
    while (to.position() < 116)
        to.u8(' ');
    to.zeros(8);  // no data of subsystems
    to.u16(0x0100);
    to.text("IM", 2);
    if (!file.write(head))
        return false;
    const std::vector<Waveform*> waveforms = item.owner().waveformsOf(item);
    if (waveforms.size() == 1)
        return writeVariable(*waveforms.front(), file, std::string(kDataName), std::string(kRateName));
    std::set<std::string> used;
    for (Waveform* each : waveforms) {
        const std::string name = variableName(each->name(), used);
        if (!writeVariable(*each, file, name, name + std::string(kRateSuffix)))
            return false;
    }
    return true;
}

}  // namespace velor
