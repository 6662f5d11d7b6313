// Queries over the format table.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "formats/framework/format_entry.h"
#include "platform/file.h"

namespace velor {

class Collection;
class Item;
struct OpenFile;

// All rows in declaration order. A row's index is its identity everywhere.
std::span<const FormatEntry> FormatTable();

// The row, or nullptr for an index outside the table.
const FormatEntry* formatRow(int index);

// True when the row's operation is part of this build (it exists and is not the shared "not built" one).
bool readerBuilt(int row);
bool writerBuilt(int row);
// True when the row uses the probe that accepts any content.
bool usesGenericProbe(int row);

// Matches an extension (no dot, any case) against a row's pattern: '?' takes any character and also the end
// of the extension, '*' matches any rest.
bool matchExtension(std::string_view pattern, std::string_view extension);

// Result of looking at a file's name and first bytes.
struct Identification {
    int row = -1;        // -1: no row; 0: "Unrecognized"
    int confidence = 0;  // percent, 0 when not sure
};
// One row's score for a file, best first (see explainIdentification).
struct IdentificationCandidate {
    int row = 0;
    int score = 0;
    bool extensionMatches = false;
};

// Names the format of a file from its name and the first 32 KiB. Size 0 gives row -1.
Identification IdentifyFile(const std::filesystem::path& name, const File& file);
// The same from bytes in memory: `head` holds the first min(fileSize, 32768) bytes.
Identification identifyBytes(std::string_view fileName, std::span<const Byte> head, std::uint64_t fileSize);
// All rows that score above 0, highest score first, earlier rows first among equals.
std::vector<IdentificationCandidate> explainIdentification(std::string_view fileName,
                                                           std::span<const Byte> head,
                                                           std::uint64_t fileSize);
inline constexpr std::size_t kProbeBytes = 32768;

// The first row with a read (write) operation whose extension equals the file name's; -1 when none.
int findReaderByExtension(std::string_view fileName);
int findWriterByExtension(std::string_view fileName);
// The first row with a write operation, a kind in common with `kinds`, and this extension (a leading dot is
// skipped); -1 when none.
int findWriterForKinds(std::string_view extension, std::uint8_t kinds);

struct RowFlags {
    std::uint32_t flags = 0;
    std::uint32_t variant = 0;
};
// Flags and variant of a row; for a row without a writer those of the first row with one among the rows
// directly after it that have the same extension; 0 when there is none.
RowFlags rowFlags(int row);

// "<none>" and "" for an index outside the table.
std::string_view rowDescription(int row);
std::string_view rowExtension(int row);

// 1 or 2: how many channels the waveforms of `item` would be written with; 0 when they differ.
int outputChannels(int row, const Item& item);
int outputChannels(std::uint32_t flags, int channels);
// The encoding the waveforms of `item` would be written with, and its display name. None and "Mixed" when
// they differ. `quality` is the chosen compression value for rows that compress.
SampleEncoding outputEncoding(int row, const Item& item, std::string& text, double quality = -1);
// The encoding chosen for one waveform out of a set of allowed ones: its own when allowed, else the narrowest
// that loses nothing, else the one that loses least. None when the set is empty.
SampleEncoding chooseEncoding(std::uint32_t allowed, SampleEncoding stored, int bits);

// The next row at or after `cursor` with a read (write) operation, moving the cursor behind it; -1 at the
// end.
int nextReader(int& cursor);
int nextWriter(int& cursor);

// The description of the identified row; "Unknown file type" when there is none. When the identification is
// not sure, the system's own name for the extension when it has one.
std::string fileTypeText(const std::filesystem::path& name);

}  // namespace velor
