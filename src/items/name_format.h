// Tidying up names: case, spaces, characters that files can not have, length, numbers for equal ones.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "items/item.h"

namespace velor {

enum class NameCase : std::uint8_t { Keep, Upper, Lower, Title };

struct NameFormat {
    NameCase letters = NameCase::Keep;
    bool trim = false;         // spaces at both ends, and several in a row
    bool underscores = false;  // become spaces
    bool fileSafe = false;     // without the characters that no file name may have
    std::size_t length = 0;    // most characters; 0 for any number
    bool unique = false;       // numbers all equal names, not only those that become equal
};

// One name formatted, equal ones aside. Names are UTF-8 or, where that fails, Windows-1252; letters are those
// of ASCII and Latin-1.
std::string formattedName(std::string_view name, const NameFormat& format);

// Formats the names of items of one kind. Names that differed (without regard to case) and would now be the
// same get a number at the end, within the length; empty names stay empty. Returns how many changed.
std::size_t formatItemNames(const std::vector<Item*>& items, const NameFormat& format);

}  // namespace velor
