// Headerless G.721, G.723, G.726 and G.722 files. Nothing in them says how they are packed, nor mostly how
// wide their codes are, so the user is asked; the answers are kept for each family until the program ends.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// In a row's variant: the low byte is the width of a code in bits (0: a question, or the chosen encoding),
// and the first code lies in the high bits of the first byte.
namespace g72x_variant {
inline constexpr std::uint32_t kWidth = 0xFF;
inline constexpr std::uint32_t kBigEndian = 0x100;
}  // namespace g72x_variant

// Row operations. Mono only; G.722 at 16000 Hz, the others at 8000 Hz.
bool readRawG721(Collection& collection, OpenFile& file, std::uint32_t variant);
bool readRawG722(Collection& collection, OpenFile& file, std::uint32_t variant);
bool readRawG723(Collection& collection, OpenFile& file, std::uint32_t variant);
bool readRawG726(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeRawG72x(Item& item, OpenFile& file, std::uint32_t variant);
bool writeRawG722(Item& item, OpenFile& file, std::uint32_t variant);

// Forgets all answers: everything is asked again.
void resetG72xAnswers();

}  // namespace velor
