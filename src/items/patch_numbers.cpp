#include "items/patch_numbers.h"

#include <utility>

#include "base/error.h"
#include "base/text.h"
#include "items/instrument_copies.h"

namespace velor {

namespace {

constexpr std::uint32_t kPrograms = 128;
constexpr std::uint32_t kBankNumbers = 128 * kPrograms;  // programs of all bank MSBs under one LSB

// A patch as its place among those of its LSB and kind, and back.
std::uint32_t placeOf(PatchNumber patch) {
    return patch.bankMsb() * kPrograms + patch.program();
}
PatchNumber atPlace(PatchNumber like, std::uint32_t place) {
    return {place % kPrograms, like.bankLsb(), place / kPrograms, like.drum()};
}

std::string patchText(PatchNumber patch) {
    return formatText("%s%u in bank %u:%u", patch.drum() ? "drum kit " : "program ", patch.program(),
                      patch.bankMsb(), patch.bankLsb());
}

}  // namespace

FreePatches::FreePatches(const Collection& collection) {
    for (const Instrument* instrument : collection.all<Instrument>())
        taken_.insert(instrument->patch.value);
}

std::optional<PatchNumber> FreePatches::take(PatchNumber wanted) {
    const std::uint32_t first = placeOf(wanted);
    // What was found taken once stays so: a later search from the same number starts where that one ended.
    std::uint32_t& skipped = next_[wanted.value];
    for (; skipped < kBankNumbers; ++skipped) {
        const PatchNumber patch = atPlace(wanted, (first + skipped) % kBankNumbers);
        if (taken_.insert(patch.value).second)
            return patch;
    }
    return {};
}

int renumberInstruments(Collection& collection, const Renumbering& how) {
    const std::vector<Instrument*> instruments = collection.all<Instrument>();
    std::uint32_t next[2] = {how.start, how.start};
    std::vector<PatchNumber> numbers;
    numbers.reserve(instruments.size());
    for (const Instrument* instrument : instruments) {
        const bool drum = instrument->patch.drum();
        if (drum && how.keepDrums) {
            numbers.push_back(instrument->patch);
            continue;
        }
        const std::uint32_t number = next[drum ? 1 : 0]++;
        if (number >= kBankNumbers) {
            fail("There are more instruments than patch numbers");
            return -1;
        }
        const std::uint32_t bank = number / kPrograms;
        numbers.emplace_back(number % kPrograms, how.bankInLsb ? bank : 0, how.bankInLsb ? 0 : bank, drum);
    }
    int changed = 0;
    for (std::size_t i = 0; i < instruments.size(); ++i) {
        changed += instruments[i]->patch != numbers[i];
        instruments[i]->patch = numbers[i];
    }
    return changed;
}

int moveBetweenBanks(Collection& collection, const BankMove& how) {
    using Kind = BankMove::Kind;
    struct Move {
        Instrument* instrument;
        PatchNumber to;
    };
    std::vector<Move> moves;
    std::unordered_map<std::uint32_t, std::vector<Instrument*>> staying;
    for (Instrument* instrument : collection.all<Instrument>()) {
        const PatchNumber patch = instrument->patch;
        const auto is = [](int wanted, unsigned value) {
            return wanted < 0 || static_cast<unsigned>(wanted) == value;
        };
        const auto become = [](int wanted, unsigned value) {
            return wanted < 0 ? value : static_cast<unsigned>(wanted);
        };
        const PatchNumber to(patch.program(), become(how.toLsb, patch.bankLsb()),
                             become(how.toMsb, patch.bankMsb()),
                             how.to == Kind::Any ? patch.drum() : how.to == Kind::Drums);
        const bool meant = is(how.fromMsb, patch.bankMsb()) && is(how.fromLsb, patch.bankLsb()) &&
                           (how.from == Kind::Any || patch.drum() == (how.from == Kind::Drums));
        if (meant && to != patch)
            moves.push_back({instrument, to});
        else
            staying[patch.value].push_back(instrument);
    }
    std::unordered_set<std::uint32_t> moved;
    std::vector<ItemId> replaced;
    // Those that find their number free come first, so that a search for the next one does not take it.
    std::vector<Move*> searching;
    for (Move& move : moves) {
        const auto found = staying.find(move.to.value);
        const bool met = moved.contains(move.to.value);
        if (!met && (found == staying.end() || how.conflict == BankMove::Conflict::Replace)) {
            moved.insert(move.to.value);
            if (found != staying.end()) {
                for (const Instrument* instrument : found->second)
                    replaced.push_back(instrument->id());
            }
        } else if (how.conflict == BankMove::Conflict::NextFree) {
            searching.push_back(&move);
        } else {
            fail("\"" + displayText(move.instrument->name()) + "\" can not become " + patchText(move.to) +
                 (met ? ": another moved instrument does already"
                      : ": \"" + displayText(found->second.front()->name()) + "\" is that already"));
            return -1;
        }
    }
    for (Move* move : searching) {
        std::uint32_t tried = 0;
        PatchNumber to = move->to;
        for (; tried < kPrograms; ++tried) {
            to = PatchNumber((move->to.program() + tried) % kPrograms, move->to.bankLsb(), move->to.bankMsb(),
                             move->to.drum());
            if (!staying.contains(to.value) && !moved.contains(to.value))
                break;
        }
        if (tried == kPrograms) {
            fail(formatText("Bank %u:%u has no free program left", move->to.bankMsb(), move->to.bankLsb()));
            return -1;
        }
        move->to = to;
        moved.insert(to.value);
    }
    if (!replaced.empty()) {
        const HeldItems held(collection);
        collection.removeAll(ItemKind::Instrument, replaced);
        held.removeReleased(collection);
    }
    for (const Move& move : moves)
        move.instrument->patch = move.to;
    return static_cast<int>(moves.size());
}

}  // namespace velor
