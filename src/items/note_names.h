// Keys as people write them.
#pragma once

#include <optional>
#include <string_view>

#include "items/item.h"

namespace velor {

// The key that a whole text names: "60", "C4", "F#3", "Bb-1", in either case. Octaves count from naming's
// octave of middle C. Empty for anything else and for keys outside 0..127.
std::optional<std::uint8_t> keyFromText(std::string_view text, const NoteNaming& naming);

}  // namespace velor
