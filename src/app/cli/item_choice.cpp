#include "app/cli/item_choice.h"

#include <algorithm>

#include "app/cli/arguments.h"
#include "base/error.h"
#include "base/text.h"
#include "formats/framework/format_table.h"

namespace velor::cli {

namespace {

// Items that could be written, with the kind that a row must take for it.
struct Candidate {
    ItemKind kind;
    std::vector<Item*> items;
};

std::vector<Item*> itemsOf(const Collection& collection, ItemKind kind) {
    std::vector<Item*> items;
    for (const ItemId id : collection.list(kind)) {
        if (Item* item = collection.find(id))
            items.push_back(item);
    }
    return items;
}

// In order of preference: a lone waveform as itself; otherwise as much as the row takes in one file.
std::vector<Candidate> candidatesOf(Collection& collection, bool single, bool songsOnly) {
    const std::vector<Item*> instruments = itemsOf(collection, ItemKind::Instrument);
    const std::vector<Item*> songs = itemsOf(collection, ItemKind::MidiSong);
    const std::vector<Item*> waveforms = itemsOf(collection, ItemKind::Waveform);
    const bool loneWaveform = waveforms.size() == 1 && instruments.empty() && songs.empty();
    std::vector<Candidate> candidates;
    const auto add = [&](ItemKind kind, const std::vector<Item*>& items) {
        if (!items.empty())
            candidates.push_back({kind, items});
    };
    if (songsOnly) {
        add(ItemKind::Waveform, songs);
        return candidates;
    }
    if (loneWaveform)
        add(ItemKind::Waveform, waveforms);
    if (!single)
        add(ItemKind::Collection, {&collection});
    add(ItemKind::Instrument, instruments);
    add(ItemKind::MidiSong, songs);
    // A song is rendered by the pipeline; sounds beside it are those of its instruments.
    add(ItemKind::Waveform, songs);
    if (!loneWaveform)
        add(ItemKind::Waveform, waveforms);
    return candidates;
}

bool rowTakes(int row, ItemKind kind) {
    return formatRow(row)->kinds & kindBit(kind);
}

// Cuts a candidate down to the item that --item asks for; false when it has no such item.
bool pickItem(std::string_view wanted, Candidate& candidate) {
    Item* found = nullptr;
    long long number = 0;
    if (wanted.starts_with('#') && parseInteger(wanted.substr(1), number)) {
        if (number >= 1 && static_cast<std::size_t>(number) <= candidate.items.size())
            found = candidate.items[static_cast<std::size_t>(number) - 1];
    } else {
        for (Item* item : candidate.items) {
            if (displayText(item->name()) == wanted) {
                found = item;
                break;
            }
            if (!found && equalNoCase(displayText(item->name()), wanted))
                found = item;
        }
    }
    if (found)
        candidate.items = {found};
    return found != nullptr;
}

std::string kindsText(std::uint8_t kinds) {
    std::string text;
    const auto add = [&](ItemKind kind, const char* name) {
        if (kinds & kindBit(kind))
            text += (text.empty() ? "" : ", ") + std::string(name);
    };
    add(ItemKind::Collection, "banks");
    add(ItemKind::Instrument, "instruments");
    add(ItemKind::Waveform, "waveforms");
    add(ItemKind::MidiSong, "songs");
    return text;
}

bool failNoItem(const std::string& wanted, const std::vector<Candidate>& candidates) {
    std::vector<std::string> names;
    for (const Candidate& candidate : candidates) {
        for (const Item* item : candidate.items)
            names.push_back(displayText(item->name()));
    }
    return fail(unknownName("item", wanted, names));
}

}  // namespace

int findWriterByDescription(std::string_view description, std::string_view extension) {
    int first = -1;
    for (int cursor = 0, row = 0; (row = nextWriter(cursor)) >= 0;) {
        if (!equalNoCase(rowDescription(row), description))
            continue;
        if (matchExtension(rowExtension(row), extension))
            return row;
        if (first < 0)
            first = row;
    }
    return first;
}

std::string encodingList(std::uint32_t flags) {
    std::string list;
    for (int code = 0; code < kSampleEncodings; ++code) {
        if (flags >> code & 1u)
            list += (list.empty() ? "" : ", ") + std::string(encodingName(static_cast<SampleEncoding>(code)));
    }
    return list;
}

bool chooseItems(Collection& collection, const ConvertRequest& request, std::string_view extension,
                 ItemChoice& choice) {
    const bool single = !request.item.empty();
    std::vector<Candidate> candidates = candidatesOf(collection, single, request.songsOnly);
    if (collection.empty())
        return fail("Empty item - nothing to save");
    if (request.songsOnly && candidates.empty())
        return fail("holds no MIDI song to render");
    bool rowFits = false;
    for (Candidate& candidate : candidates) {
        const int row =
            request.row >= 0 ? request.row : findWriterForKinds(extension, kindBit(candidate.kind));
        if (row < 0 || !rowTakes(row, candidate.kind))
            continue;
        rowFits = true;
        if (single && !pickItem(request.item, candidate))
            continue;
        choice.row = row;
        choice.items = std::move(candidate.items);
        return true;
    }
    if (rowFits)
        return failNoItem(request.item, candidates);
    const int row = request.row >= 0 ? request.row : findWriterByExtension("x." + std::string(extension));
    if (row < 0)
        return fail("No file type with the extension \"" + std::string(extension) + "\" can be written");
    return fail("\"" + std::string(rowDescription(row)) + "\" files hold " +
                kindsText(formatRow(row)->kinds) + "; this file has none");
}

}  // namespace velor::cli
