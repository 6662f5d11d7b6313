// Scores hostile bytes with every probe, under a name the bytes choose too, and checks what callers build on.
#include <algorithm>
#include <cstdlib>

#include "formats/framework/format_table.h"

using namespace velor;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return -1;
    const std::size_t nameLength = std::min<std::size_t>(data[0] % 16, size - 1);
    const std::string name = "file." + std::string(reinterpret_cast<const char*>(data) + 1, nameLength);
    const std::span<const Byte> bytes(data + 1 + nameLength, size - 1 - nameLength);
    const auto head = bytes.first(std::min(bytes.size(), kProbeBytes));

    const Identification found = identifyBytes(name, head, bytes.size());
    if (bytes.empty() != (found.row < 0) || found.confidence < 0 || found.confidence > 100)
        std::abort();
    int before = 1 << 30;
    for (const IdentificationCandidate& candidate : explainIdentification(name, head, bytes.size())) {
        const FormatEntry* row = formatRow(candidate.row);
        if (!row || !row->probe || candidate.score <= 0 || candidate.score > before)
            std::abort();
        before = candidate.score;
    }
    return 0;
}
