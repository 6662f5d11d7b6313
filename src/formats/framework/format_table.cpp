#include "formats/framework/format_table.h"

#include <algorithm>
#include <bit>

#include "base/error.h"
#include "base/text.h"
#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

int probeGeneric(std::span<const Byte>, std::uint32_t, std::uint64_t) {
    return 2;
}

bool readNotBuilt(Collection&, OpenFile& file, std::uint32_t) {
    return fail(formatText("Reading \"%s\" files is not supported in this build",
                           std::string(rowDescription(file.row)).c_str()));
}

bool writeNotBuilt(Item&, OpenFile& file, std::uint32_t) {
    return fail(formatText("Writing \"%s\" files is not supported in this build",
                           std::string(rowDescription(file.row)).c_str()));
}

const FormatEntry* formatRow(int index) {
    return index >= 0 && index < kFormatRows ? &FormatTable()[static_cast<std::size_t>(index)] : nullptr;
}

bool readerBuilt(int row) {
    const FormatEntry* entry = formatRow(row);
    return entry && entry->read && entry->read != readNotBuilt;
}

bool writerBuilt(int row) {
    const FormatEntry* entry = formatRow(row);
    return entry && entry->write && entry->write != writeNotBuilt;
}

bool usesGenericProbe(int row) {
    const FormatEntry* entry = formatRow(row);
    return entry && entry->probe == probeGeneric;
}

namespace {

template <typename Accept>
int firstRow(Accept accept) {
    const auto rows = FormatTable();
    const auto found = std::find_if(rows.begin(), rows.end(), accept);
    return found == rows.end() ? -1 : static_cast<int>(found - rows.begin());
}

}  // namespace

int findReaderByExtension(std::string_view fileName) {
    const std::string_view extension = extensionOf(fileName);
    return firstRow(
        [&](const FormatEntry& row) { return row.read && equalNoCase(row.extension, extension); });
}

int findWriterByExtension(std::string_view fileName) {
    const std::string_view extension = extensionOf(fileName);
    return firstRow(
        [&](const FormatEntry& row) { return row.write && equalNoCase(row.extension, extension); });
}

int findWriterForKinds(std::string_view extension, std::uint8_t kinds) {
    if (extension.starts_with('.'))
        extension.remove_prefix(1);
    return firstRow([&](const FormatEntry& row) {
        return row.write && (row.kinds & kinds) && equalNoCase(row.extension, extension);
    });
}

RowFlags rowFlags(int row) {
    const FormatEntry* first = formatRow(row);
    if (!first)
        return {};
    for (int next = row; next < kFormatRows; ++next) {
        const FormatEntry& entry = FormatTable()[static_cast<std::size_t>(next)];
        if (!equalNoCase(entry.extension, first->extension))
            break;
        if (entry.write)
            return {entry.flags, entry.variant};
    }
    return {};
}

std::string_view rowDescription(int row) {
    const FormatEntry* entry = formatRow(row);
    return entry ? entry->description : "<none>";
}

std::string_view rowExtension(int row) {
    const FormatEntry* entry = formatRow(row);
    return entry ? entry->extension : "";
}

int nextReader(int& cursor) {
    for (cursor = std::max(cursor, 0); cursor < kFormatRows; ++cursor) {
        if (FormatTable()[static_cast<std::size_t>(cursor)].read)
            return cursor++;
    }
    return -1;
}

int nextWriter(int& cursor) {
    for (cursor = std::max(cursor, 0); cursor < kFormatRows; ++cursor) {
        if (FormatTable()[static_cast<std::size_t>(cursor)].write)
            return cursor++;
    }
    return -1;
}

int outputChannels(std::uint32_t flags, int channels) {
    if (channels == 1)
        return flags & format_flags::kMono ? 1 : 2;
    return flags & (format_flags::kStereo | format_flags::kStereoCapable) ? 2 : 1;
}

int outputChannels(int row, const Item& item) {
    const std::uint32_t flags = rowFlags(row).flags;
    int agreed = 0;
    for (const Waveform* wave : item.owner().waveformsOf(item)) {
        const int channels = outputChannels(flags, wave->channels);
        if (agreed != 0 && agreed != channels)
            return 0;
        agreed = channels;
    }
    return agreed;
}

namespace {

// How much an encoding can hold, for choosing the one that loses nothing or least: the bits of integer
// samples it carries exactly, and whether it carries samples beyond full scale and fractions of a step.
int resolution(SampleEncoding encoding) {
    switch (encoding) {
        case SampleEncoding::Pcm8:
        case SampleEncoding::DeltaPcm8:
            return 8;
        case SampleEncoding::Pcm12:
            return 12;
        case SampleEncoding::MuLaw:
            return 13;
        case SampleEncoding::ALaw:
            return 12;
        case SampleEncoding::Pcm16:
        case SampleEncoding::DeltaPcm16:
            return 16;
        case SampleEncoding::Pcm20:
            return 20;
        case SampleEncoding::Pcm24:
        case SampleEncoding::Float32:
            return 24;
        case SampleEncoding::Pcm32:
            return 32;
        case SampleEncoding::Float64:
            return 53;
        default:
            return 0;
    }
}

// What an undecoded waveform needs to be kept whole, in bits of linear samples. Lossy codecs decode to 16
// bits.
int neededBits(SampleEncoding stored, int bits) {
    switch (stored) {
        case SampleEncoding::MuLaw:
            return 14;
        case SampleEncoding::ALaw:
            return 13;
        case SampleEncoding::Float32:
            return 24;
        case SampleEncoding::Float64:
            return 53;
        case SampleEncoding::Pcm8:
        case SampleEncoding::Pcm12:
        case SampleEncoding::Pcm16:
        case SampleEncoding::Pcm20:
        case SampleEncoding::Pcm24:
        case SampleEncoding::Pcm32:
            return bits > 0 && bits <= 32 ? std::max(bits, 1) : resolution(stored);
        default:
            return 16;
    }
}

}  // namespace

SampleEncoding chooseEncoding(std::uint32_t allowed, SampleEncoding stored, int bits) {
    allowed &= format_flags::kEncodings;
    if (allowed == 0)
        return SampleEncoding::None;
    // Its own encoding, where that means the same bits again. ADPCM and streams name families of codecs.
    const bool exact = resolution(stored) > 0;
    if (exact && (allowed & encodingBit(stored)))
        return stored;
    const int needed = neededBits(stored, bits);
    const bool isFloat = stored == SampleEncoding::Float32 || stored == SampleEncoding::Float64;
    // Plain encodings first: a float target for float data (no clipping), else the narrowest that holds all.
    static constexpr SampleEncoding kIntegerOrder[] = {
        SampleEncoding::Pcm8,       SampleEncoding::DeltaPcm8, SampleEncoding::Pcm12, SampleEncoding::Pcm16,
        SampleEncoding::DeltaPcm16, SampleEncoding::Pcm20,     SampleEncoding::Pcm24, SampleEncoding::Pcm32,
        SampleEncoding::Float32,    SampleEncoding::Float64};
    static constexpr SampleEncoding kFloatOrder[] = {SampleEncoding::Float32, SampleEncoding::Float64};
    if (isFloat) {
        for (const SampleEncoding each : kFloatOrder) {
            if (allowed & encodingBit(each))
                return each;
        }
    }
    for (const SampleEncoding each : kIntegerOrder) {
        if ((allowed & encodingBit(each)) && resolution(each) >= needed)
            return each;
    }
    // Nothing holds all of it: the widest plain encoding, then the laws, then whatever else there is.
    for (const SampleEncoding each :
         {SampleEncoding::Float64,    SampleEncoding::Pcm32,      SampleEncoding::Float32,
          SampleEncoding::Pcm24,      SampleEncoding::Pcm20,      SampleEncoding::Pcm16,
          SampleEncoding::DeltaPcm16, SampleEncoding::MuLaw,      SampleEncoding::ALaw,
          SampleEncoding::Pcm12,      SampleEncoding::Compressed, SampleEncoding::Pcm8,
          SampleEncoding::DeltaPcm8,  SampleEncoding::Adpcm5,     SampleEncoding::Adpcm4,
          SampleEncoding::Adpcm3,     SampleEncoding::Adpcm2,     SampleEncoding::Gsm,
          SampleEncoding::AsciiText,  SampleEncoding::Midi}) {
        if (allowed & encodingBit(each))
            return each;
    }
    return SampleEncoding::None;
}

SampleEncoding outputEncoding(int row, const Item& item, std::string& text, double quality) {
    const auto [flags, variant] = rowFlags(row);
    const std::uint32_t allowed = flags & format_flags::kEncodings;
    SampleEncoding agreed = SampleEncoding::None;
    if (std::has_single_bit(allowed)) {
        agreed = static_cast<SampleEncoding>(std::countr_zero(allowed));
    } else {
        bool first = true;
        for (const Waveform* wave : item.owner().waveformsOf(item)) {
            const SampleEncoding chosen = chooseEncoding(allowed, wave->sourceEncoding(), wave->bits);
            if (!first && chosen != agreed) {
                agreed = SampleEncoding::None;
                break;
            }
            agreed = chosen;
            first = false;
        }
    }
    text = encodingName(agreed);
    if (agreed == SampleEncoding::Compressed) {
        const FormatEntry* entry = formatRow(row);
        std::string choice;
        for (std::uint32_t index = 0; entry->options; ++index) {
            const float value = entry->options(index, variant, choice);
            if (value < 0)
                break;
            if (static_cast<double>(value) == quality) {
                text = choice;
                break;
            }
        }
    }
    return agreed;
}

}  // namespace velor
