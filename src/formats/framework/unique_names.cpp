// Unique names: how items of one kind that carry the same name are told apart.
#include <charconv>
#include <unordered_map>

#include "base/text.h"
#include "formats/framework/fix_ups.h"

namespace velor {

namespace {

// Names hold 127 characters in the files and lists they go to; the counter starts at 126 at the latest.
constexpr std::size_t kLatestCounter = 126;

// A name taken apart into what stays and the number that is counted up.
struct CountedName {
    std::string prefix;
    std::uint64_t number = 0;

    std::string text() const { return prefix + std::to_string(number); }
};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// The name's next candidate: a trailing number plus one, unless the name ends like a note name (C#4, G3).
CountedName nextName(const std::string& name) {
    std::size_t digits = name.size();
    while (digits > 0 && isDigit(name[digits - 1]))
        --digits;
    const char before = digits > 0 ? name[digits - 1] : '\0';
    const bool note = before == '#' || (before >= 'A' && before <= 'G');
    CountedName next;
    if (digits < name.size() && !note) {
        // Digits beyond 18 do not fit a number and belong to the part that stays.
        const std::size_t start = std::max(digits, name.size() - std::min<std::size_t>(name.size(), 18));
        std::from_chars(name.data() + start, name.data() + name.size(), next.number);
        ++next.number;
        next.prefix = name.substr(0, std::min(start, kLatestCounter));
    } else {
        next.prefix = name.substr(0, kLatestCounter - 1) + ' ';
        next.number = 1;
    }
    return next;
}

}  // namespace

void makeNameUnique(Item& item) {
    const auto isTaken = [&item](const std::string& name) {
        for (const ItemId id : item.owner().list(item.kind())) {
            if (id != item.id() && equalNoCase(item.owner().find(id)->name(), name))
                return true;
        }
        return false;
    };
    while (isTaken(item.name()))
        item.setName(nextName(item.name()).text());
}

void makeNamesUnique(Collection& collection, ItemKind kind) {
    std::unordered_map<std::string, std::uint32_t> holders;  // how many items have a name now
    for (const ItemId id : collection.list(kind))
        ++holders[lowerAscii(collection.find(id)->name())];
    std::unordered_map<std::string, std::uint32_t> seen;  // among the items passed so far
    std::unordered_map<std::string, std::uint64_t>
        lastTried;  // by prefix, so that many equal names stay fast
    for (const ItemId id : collection.list(kind)) {
        Item& item = *collection.find(id);
        const std::string original = lowerAscii(item.name());
        if (seen[original]++ == 0)
            continue;  // the first of a name keeps it
        CountedName next = nextName(item.name());
        for (;;) {
            std::uint64_t& tried = lastTried[lowerAscii(next.prefix)];
            next.number = std::max(next.number, tried + 1);
            tried = next.number;
            if (!holders.contains(lowerAscii(next.text())))
                break;
            next = nextName(next.text());
        }
        --holders[original];
        item.setName(next.text());
        ++holders[lowerAscii(item.name())];
        ++seen[lowerAscii(item.name())];
    }
}

}  // namespace velor
