// Which patch numbers are free, renumbering, and moving instruments between banks.
#pragma once

#include <optional>
#include <unordered_set>
#include <vector>

#include "items/collection.h"

namespace velor {

// Hands out patch numbers that nothing has. Drum kits and melodic instruments have numbers of their own.
class FreePatches {
  public:
    explicit FreePatches(const Collection& collection);
    // The first free number at or behind the wanted one: the following programs of its bank, then those of
    // the banks behind (bank MSB, the LSB stays), at last those before it. Empty when all of them are taken.
    std::optional<PatchNumber> take(PatchNumber wanted);

  private:
    // Where the search for a bank's LSB and kind goes on, so that thousands of instruments stay fast.
    std::unordered_set<std::uint32_t> taken_;
    std::unordered_map<std::uint32_t, std::uint32_t> next_;
};

struct Renumbering {
    std::uint8_t start = 0;  // first program
    bool keepDrums = false;  // drum kits stay as they are
    bool bankInLsb = false;  // counts the banks in the LSB; the MSB is 0
};

// Programs in list order from `start` on, 127 being followed by 0 of the next bank; drum kits are counted
// apart. Returns how many instruments got another number, or -1 with LastErrorText when there are more than
// numbers.
int renumberInstruments(Collection& collection, const Renumbering& how);

struct BankMove {
    enum class Kind : std::uint8_t { Any, Melodic, Drums };
    enum class Conflict : std::uint8_t { Refuse, NextFree, Replace };
    // -1: any bank, and the same bank as before.
    int fromMsb = -1, fromLsb = -1;
    int toMsb = -1, toLsb = -1;
    Kind from = Kind::Any;
    Kind to = Kind::Any;  // Any: what it was
    Conflict conflict = Conflict::Refuse;
};

// Gives the instruments of some banks the same programs in another bank. Where another instrument has a
// number already it is refused, gets the bank's next free program, or the other instrument goes, with the
// layers and regions that nothing else holds. Two moved instruments never replace each other. Returns how
// many were moved, or -1 with LastErrorText and nothing changed.
int moveBetweenBanks(Collection& collection, const BankMove& how);

}  // namespace velor
