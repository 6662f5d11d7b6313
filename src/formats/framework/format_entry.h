// One row of the format table: everything the program knows about a file type.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "base/byte_order.h"
#include "items/item_id.h"
#include "items/sample_encoding.h"

namespace velor {

class Collection;
class Item;
struct OpenFile;

// Adds what the file holds to the collection. False with LastErrorText.
using ReadOperation = bool (*)(Collection& collection, OpenFile& file, std::uint32_t variant);
// Writes the item (or the collection). False with LastErrorText.
using WriteOperation = bool (*)(Item& item, OpenFile& file, std::uint32_t variant);
// Scores the first bytes of a file (at most 32 KiB of them; fileSize is the whole): 0 not this format, 2
// weak, 4 likely, 6 a full signature. Reads nothing but its arguments, allocates nothing.
using FormatProbe = int (*)(std::span<const Byte> head, std::uint32_t variant, std::uint64_t fileSize);
// Enumerates a compressing writer's quality choices: index 0, 1, 2 … gives the value and its display text; a
// negative value ends the list.
using FormatOptions = float (*)(std::uint32_t index, std::uint32_t variant, std::string& text);

namespace format_flags {
inline constexpr std::uint32_t kEncodings = 0x000FFFFF;    // one bit per SampleEncoding
inline constexpr std::uint32_t kMono = 1u << 20;           // mono waveforms are stored as mono
inline constexpr std::uint32_t kStereo = 1u << 21;         // stereo waveforms are stored as stereo
inline constexpr std::uint32_t kStereoCapable = 1u << 25;  // keeps stereo samples though kStereo is clear
}  // namespace format_flags

struct FormatEntry {
    const char* extension;  // lower case, without the dot; '?' any character, '*' any rest
    const char* description;
    ReadOperation read = nullptr;
    WriteOperation write = nullptr;
    FormatProbe probe = nullptr;  // present on every row with a read operation
    std::uint8_t kinds = 0;       // item kinds read or written, one bit per ItemKind
    std::uint32_t flags = 0;      // format_flags; 0 on read-only rows
    std::uint32_t variant = 0;    // handed to read, write, probe and options
    FormatOptions options = nullptr;
};

inline constexpr int kFormatRows = 527;

// The score of a probe that accepts any content: the rows of headerless formats share it.
int probeGeneric(std::span<const Byte> head, std::uint32_t variant, std::uint64_t fileSize);

// What rows share whose reader or writer is not part of this build: fail with one sentence that names the
// format, for example `Reading "Korg Kronos bank" files is not supported in this build`.
bool readNotBuilt(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeNotBuilt(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
