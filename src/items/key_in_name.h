// Root keys as people write them into the names of samples.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace velor {

struct KeyInName {
    enum Prefer : std::uint8_t { Notes, Numbers, OnlyNotes, OnlyNumbers };
    Prefer prefer = Notes;
    int octaveOfMiddleC = 4;
    bool german = false;  // H is B, B is B flat, "is" and "es" are accidentals
};

// The key that a name says for certain: "Piano C#3", "pno_Db4_vel2", "A-1", "Violin-060", "key 48". A note
// name has a letter, perhaps an accidental (#, b, or s for sharp) and an octave, and stands apart from
// letters and digits around it, save that it may follow a lower-case letter or come before "v12" (a velocity)
// or a final L or R. As a number counts what follows "key", "note", "root" or "midi", and one of three digits
// from 021 to 099, as sample sets write keys. Where numbers are preferred any other number from 0 to 127 does
// too, unless a word says that it is something else ("vel 100", "take 2"). Empty where nothing says a key, or
// where two things of one kind say different ones.
std::optional<std::uint8_t> keyInName(std::string_view name, const KeyInName& options);

}  // namespace velor
